#pragma once

#include <string>

#include <tarn/export.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/io/ParseError.h>

namespace tarn::kern::io {

/// What can be chosen about reading. Belongs to one Parser.
class TARN_EXPORT ParseCustomizer {
 public:
  /// Content of an older package version is adapted while it is read (the start state), or read as it stands: then what
  /// no longer fits is an error that names this switch.
  void setEvolveIfNeeded(bool on) noexcept { fEvolveIfNeeded = on; }
  [[nodiscard]] bool getEvolveIfNeeded() const noexcept { return fEvolveIfNeeded; }

  /// What errors call the text: its file's name. Without one they say which kind of text it is.
  void setSourceName(std::string name) { fSourceName = std::move(name); }
  [[nodiscard]] const std::string& getSourceName() const noexcept { return fSourceName; }

 private:
  bool fEvolveIfNeeded = true;
  std::string fSourceName;
};

/// Reads a text into a model. Each format derives from it.
///
/// The content comes in a transaction of its own, inside those that are open: a text that is refused leaves the model
/// as it was. One parser can read several texts into one model, one after the other.
///
/// What the text says of elements that the model may already hold is the same in all formats:
/// - a reference to one of them is fine, and noted in the log;
/// - one of another class than the text says, or one whose contents the text brings although they are there already, is
///   an error;
/// - an element that is referred to, but whose contents never come, is destroyed after the reading, with a warning in
///   the log.
///
/// Threads: one at a time; the model's own rules apply.
class TARN_EXPORT Parser {
 public:
  Parser(const Parser&) = delete;
  Parser& operator=(const Parser&) = delete;
  virtual ~Parser();

  /// Owned by the parser.
  [[nodiscard]] ParseCustomizer* getCustomizer() noexcept { return &fCustomizer; }

  /// The model that receives the content.
  void setModel(const Model& model) { fModel = model; }
  [[nodiscard]] const Model& getModel() const noexcept { return fModel; }

  /// Fills the model from a text in UTF-8. @throws ParseError for a text that is refused; KernelError when no model was
  /// set.
  virtual void parseString(const std::string& text) = 0;

 protected:
  Parser();

  [[nodiscard]] const ParseCustomizer& customizer() const noexcept { return fCustomizer; }
  /// The model that was set. @throws KernelError that names setModel when there is none.
  [[nodiscard]] const Model& target() const;

 private:
  ParseCustomizer fCustomizer;
  Model fModel;
};

}  // namespace tarn::kern::io
