#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

#include <tarn/kern/ModelElement.h>

#include "XmiPlans.h"

/// Text of a document as values of the model.
namespace tarn::kern::io::xml {

/// A text that is no value of the property's type. It says what was expected and found, and names no place.
class ValueTextError : public std::runtime_error {
 public:
  ValueTextError(const std::string& itsExpected, const std::string& itsFound);
  ValueTextError(const ValueTextError&) = default;
  ValueTextError& operator=(const ValueTextError&) = default;
  ~ValueTextError() override;
  std::string expected;
  std::string found;
};

/// One value, or one entry of a collection. Not for references, maps and data values. @throws ValueTextError
[[nodiscard]] Value valueFromText(const Feature& feature, std::string_view text);

/// Sets a single-valued property. @throws ValueTextError
void setFromText(ModelElement::Impl& element, const Feature& feature, std::string_view text);

/// The text for messages, shortened.
[[nodiscard]] std::string quotedText(std::string_view text);

}  // namespace tarn::kern::io::xml
