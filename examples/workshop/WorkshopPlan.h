#pragma once

#include <functional>
#include <iosfwd>
#include <string>
#include <vector>

#include <quillon/nimbo/internal/NimboModelWrapperBase.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Property.h>

#include "WorkshopMetaModel.h"

namespace workshop {

/// The plan of a workshop: its tools, and the jobs that they are needed for.
///
/// A plan lies in a file of any form or in a store, and is opened by `open` in either case. In a store every change is
/// saved when it is made; a file is saved by `save`. Each change happens as a whole or not at all.
///
/// A job may name a tool that nobody has entered yet: then a ToolByCode stands for it. Once there is a tool of that
/// code, `complete` puts it in the place of its stand-in.
class WorkshopPlan : public quillon::nimbo::internal::NimboModelWrapperBase {
 public:
  WorkshopPlan();

  /// A plan that is open already is let go first, without loading what was never touched of it.
  void open(const ustring& path) override;

  /// Whether the plan is bound to a store, so that its changes are saved already.
  [[nodiscard]] bool isInStore() const { return !strataFilePath().empty(); }

  /// Saves the plan as a file: as JSON or XML if the name ends so, otherwise in the binary form.
  /// @throws quillon::nimbo::SafeFileError; the file is what it was then
  void save(const ustring& path) const;

  void rename(const ustring& name);
  /// @throws std::invalid_argument when there is a tool of that code
  void addTool(const ustring& code, const ustring& name);
  /// @throws std::invalid_argument when there is a job of that title; likewise below when there is none
  void addJob(const ustring& title, double hours, const std::vector<ustring>& toolCodes);
  void addStep(const ustring& jobTitle, const ustring& text);
  /// Ends the job and all its steps.
  void finishJob(const ustring& title);

  /// Replaces what stands for tools that are entered by now. `close` does the same, but it has no way to report that
  /// the store could not be written: whoever closes a plan completes it first.
  void complete();

  /// Prints the plan, a line per tool, job and step.
  void list(std::ostream& out) const;

 protected:
  using NimboModelWrapperBase::resolveProxies;
  /// At the workshop itself, which comes first: its tools are followed as this leaves them.
  void resolveProxies(const ModelElement& element) override;

 private:
  /// Does the work in a transaction, which is rolled back when anything fails, the saving to a store included.
  void edit(const std::function<void()>& work);

  [[nodiscard]] ModelElement make(const Class& type, const Property& titleProperty, const ustring& title) const;
  [[nodiscard]] ModelElement findTool(const Class& type, const ustring& code) const;
  [[nodiscard]] ModelElement findJob(const ustring& title) const;
  [[nodiscard]] ModelElement jobNamed(const ustring& title) const;
  [[nodiscard]] ModelElement toolOrStandIn(const ustring& code) const;
  void replaceInJobs(const ModelElement& standIn, const ModelElement& tool) const;
};

}  // namespace workshop
