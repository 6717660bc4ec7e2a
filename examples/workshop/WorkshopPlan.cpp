#include "WorkshopPlan.h"

#include <algorithm>
#include <ostream>
#include <stdexcept>
#include <string_view>

#include <bedrock/i18n.h>
#include <quillon/nimbo/SafeSave.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/Model.h>

namespace workshop {

namespace {

using bedrock::i18n::ustring_to_utf8;
using quillon::nimbo::SavedForm;
using tarn::kern::ModelElement;
using tarn::kern::ReflectionPrivateTag;
using tarn::kern::ustring;
using tarn::kern::Value;
using tarn::kern::meta::Property;

const WorkshopMetaModel& meta() { return workshopMetaModel(); }

/// The live collection of a property: changing it changes the element.
Value collectionOf(const ModelElement& element, const Property& property) {
  return element->getPropertyValue(property, ReflectionPrivateTag::PUBLIC_ACCESS);
}

std::vector<ModelElement> membersOf(const ModelElement& element, const Property& property) {
  return collectionOf(element, property).toElementCollection().getAllElements();
}

void add(const ModelElement& element, const Property& property, const ModelElement& member) {
  collectionOf(element, property).toElementCollection().addElement(member);
}

std::string textOf(const ModelElement& element, const Property& property) {
  return ustring_to_utf8(element->get<ustring>(property));
}

ModelElement findByText(const std::vector<ModelElement>& elements, const Property& property, const ustring& text) {
  for (const ModelElement& element : elements) {
    if (element->get<ustring>(property) == text) return element;
  }
  return nullptr;
}

bool isStandIn(const ModelElement& tool) { return tool->getMetaClass() == meta().toolByCode; }

SavedForm formOf(std::u16string_view path) {
  if (path.ends_with(u".json")) return SavedForm::JSON;
  if (path.ends_with(u".xml")) return SavedForm::XML;
  return SavedForm::Binary;
}

void listJob(std::ostream& out, const ModelElement& job) {
  constexpr const char* kMarks[] = {"[ ]", "[>]", "[x]"};
  out << "  " << kMarks[job->get<std::int64_t>(meta().ofJob.state)] << ' ' << textOf(job, meta().ofJob.title) << ", "
      << job->get<double>(meta().ofJob.hours) << " h";
  const char* separator = ": ";
  for (const ModelElement& tool : membersOf(job, meta().ofJob.tools)) {
    out << separator << textOf(tool, meta().ofTool.code) << (isStandIn(tool) ? "?" : "");
    separator = ", ";
  }
  out << '\n';
  for (const ModelElement& step : membersOf(job, meta().ofJob.steps)) {
    out << (step->get<bool>(meta().ofStep.done) ? "      [x] " : "      [ ] ") << textOf(step, meta().ofStep.text)
        << '\n';
  }
}

}  // namespace

// The bytes of a binary file are kept: a plan that is only copied from file to file is never parsed. The price is that
// each change must be declared, which `edit` does.
WorkshopPlan::WorkshopPlan()
    : NimboModelWrapperBase(meta().workshop, "workshop plan 1\n", /*keepBytes=*/true, /*destroyOnRelease=*/true) {}

void WorkshopPlan::open(const ustring& path) {
  const ustring wanted = path;     // which may be our own strataFilePath, and that is about to be cleared
  if (isInStore()) detachModel();  // not `close`, which would load all of it
  NimboModelWrapperBase::open(wanted);
}

void WorkshopPlan::save(const ustring& path) const { quillon::nimbo::safeSave(*this, path, formOf(path)); }

// --- Changes.

void WorkshopPlan::edit(const std::function<void()>& work) {
  setDirty();
  beginTransaction();
  try {
    work();
    commitTransaction();  // writes the store, if there is one
  } catch (...) {
    rollbackTransaction();
    throw;
  }
}

void WorkshopPlan::rename(const ustring& name) {
  edit([&] { getRoot()->set(meta().ofWorkshop.name, name); });
}

void WorkshopPlan::addTool(const ustring& code, const ustring& name) {
  edit([&] {
    if (findTool(meta().tool, code)) {
      throw std::invalid_argument("there is a tool " + ustring_to_utf8(code) + " already");
    }
    const ModelElement tool = make(meta().tool, meta().ofTool.code, code);
    tool->set(meta().ofTool.name, name);
    add(getRoot(), meta().ofWorkshop.tools, tool);
  });
}

void WorkshopPlan::addJob(const ustring& title, double hours, const std::vector<ustring>& toolCodes) {
  edit([&] {
    if (findJob(title)) throw std::invalid_argument("there is a job \"" + ustring_to_utf8(title) + "\" already");
    const ModelElement job = make(meta().job, meta().ofJob.title, title);
    job->set(meta().ofJob.hours, hours);
    add(getRoot(), meta().ofWorkshop.jobs, job);
    for (const ustring& code : toolCodes) add(job, meta().ofJob.tools, toolOrStandIn(code));
  });
}

void WorkshopPlan::addStep(const ustring& jobTitle, const ustring& text) {
  edit([&] { add(jobNamed(jobTitle), meta().ofJob.steps, make(meta().step, meta().ofStep.text, text)); });
}

void WorkshopPlan::finishJob(const ustring& title) {
  edit([&] {
    const ModelElement job = jobNamed(title);
    job->set(meta().ofJob.state, static_cast<std::int64_t>(JobState::Done));
    for (const ModelElement& step : membersOf(job, meta().ofJob.steps)) step->set(meta().ofStep.done, true);
  });
}

// --- Tools that are known by code only.

void WorkshopPlan::complete() {
  edit([&] { resolveProxies(); });
}

void WorkshopPlan::resolveProxies(const ModelElement& element) {
  if (element != getRoot()) return;
  for (const ModelElement& standIn : membersOf(element, meta().ofWorkshop.tools)) {
    if (!isStandIn(standIn)) continue;
    const ModelElement tool = findTool(meta().tool, standIn->get<ustring>(meta().ofTool.code));
    if (!tool) continue;
    replaceInJobs(standIn, tool);
    standIn->destroy();
  }
}

void WorkshopPlan::replaceInJobs(const ModelElement& standIn, const ModelElement& tool) const {
  for (const ModelElement& job : membersOf(getRoot(), meta().ofWorkshop.jobs)) {
    std::vector<ModelElement> tools = membersOf(job, meta().ofJob.tools);
    const auto place = std::find(tools.begin(), tools.end(), standIn);
    if (place == tools.end()) continue;
    *place = tool;
    collectionOf(job, meta().ofJob.tools).toElementCollection().assign(tools);
  }
}

ModelElement WorkshopPlan::toolOrStandIn(const ustring& code) const {
  for (const Class& type : {meta().tool, meta().toolByCode}) {
    if (const ModelElement known = findTool(type, code)) return known;
  }
  const ModelElement standIn = make(meta().toolByCode, meta().ofTool.code, code);
  add(getRoot(), meta().ofWorkshop.tools, standIn);
  return standIn;
}

// --- Finding and making.

/// The tool of that code and of exactly that class.
ModelElement WorkshopPlan::findTool(const Class& type, const ustring& code) const {
  for (const ModelElement& tool : membersOf(getRoot(), meta().ofWorkshop.tools)) {
    if (tool->getMetaClass() == type && tool->get<ustring>(meta().ofTool.code) == code) return tool;
  }
  return nullptr;
}

ModelElement WorkshopPlan::findJob(const ustring& title) const {
  return findByText(membersOf(getRoot(), meta().ofWorkshop.jobs), meta().ofJob.title, title);
}

ModelElement WorkshopPlan::jobNamed(const ustring& title) const {
  if (const ModelElement job = findJob(title)) return job;
  throw std::invalid_argument("there is no job \"" + ustring_to_utf8(title) + "\"");
}

ModelElement WorkshopPlan::make(const Class& type, const Property& titleProperty, const ustring& title) const {
  const ModelElement element = type->instantiate(getModelRef(), {});  // the nil uuid: a fresh one is made
  element->set(titleProperty, title);
  return element;
}

// --- Printing.

void WorkshopPlan::list(std::ostream& out) const {
  out << textOf(getRoot(), meta().ofWorkshop.name) << '\n';
  for (const ModelElement& tool : membersOf(getRoot(), meta().ofWorkshop.tools)) {
    out << "  " << textOf(tool, meta().ofTool.code) << ": "
        << (isStandIn(tool) ? "known by its code only" : textOf(tool, meta().ofTool.name)) << '\n';
  }
  for (const ModelElement& job : membersOf(getRoot(), meta().ofWorkshop.jobs)) listJob(out, job);
}

}  // namespace workshop
