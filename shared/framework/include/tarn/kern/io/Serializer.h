#pragma once

#include <string>
#include <vector>

#include <tarn/export.h>
#include <tarn/kern/Model.h>

namespace tarn::kern::io {

/// What can be chosen about writing. Belongs to one Serializer.
class TARN_EXPORT SerializeCustomizer {
 public:
  /// Leaves out what a new element shows anyway. Off in the start state: then every property is written.
  void setShouldSkipDefaultValues(bool on) noexcept { fShouldSkipDefaultValues = on; }
  [[nodiscard]] bool getShouldSkipDefaultValues() const noexcept { return fShouldSkipDefaultValues; }

 private:
  bool fShouldSkipDefaultValues = false;
};

/// Where a serializer's text goes. It names the string, it does not own it.
class TARN_EXPORT SerializationOutput {
 public:
  /// Text in UTF-8 is appended to that string, which must outlive the output. The string is complete when the output
  /// has been destroyed; a serializer that throws has appended nothing.
  [[nodiscard]] static SerializationOutput forUTF8String(std::string& text);

  SerializationOutput(const SerializationOutput&) = delete;
  SerializationOutput& operator=(const SerializationOutput&) = delete;
  ~SerializationOutput();

  /// For serializers.
  [[nodiscard]] std::string& text() const noexcept { return fText; }

 private:
  explicit SerializationOutput(std::string& text) noexcept : fText(text) {}
  std::string& fText;
};

/// Writes elements as text. Each format derives from it.
///
/// The same content gives the same text, byte for byte. Omitted properties and the way back to the container are not
/// written; what an element contains stands inside it. Threads: one at a time; the model's own rules apply.
class TARN_EXPORT Serializer {
 public:
  Serializer(const Serializer&) = delete;
  Serializer& operator=(const Serializer&) = delete;
  virtual ~Serializer();

  /// Owned by the serializer.
  [[nodiscard]] SerializeCustomizer* getCustomizer() noexcept { return &fCustomizer; }

  /// The whole model: its top-level elements. @throws KernelError for a null model.
  void serialize(const Model& model, const SerializationOutput& output);
  /// These elements and what they contain, in this order.
  void serialize(const std::vector<ModelElement>& elements, const SerializationOutput& output);

 protected:
  Serializer();

  [[nodiscard]] const SerializeCustomizer& customizer() const noexcept { return fCustomizer; }
  /// Appends the whole text to `text`. The caller takes care of what is appended before an exception.
  virtual void write(const std::vector<ModelElement>& elements, std::string& text) = 0;

 private:
  SerializeCustomizer fCustomizer;
};

}  // namespace tarn::kern::io
