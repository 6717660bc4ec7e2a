#pragma once

#include <string>
#include <string_view>

#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

/// What readers of text formats say about names that the meta-model does not know: "; did you mean "x"?", or nothing.
namespace tarn::kern::io {

[[nodiscard]] std::string nearestClass(std::u16string_view qualifiedName);
[[nodiscard]] std::string nearestProperty(const meta::StructuredType& type, std::u16string_view name);
[[nodiscard]] std::string nearestLiteral(const meta::Enum& type, std::u16string_view name);

/// "from -128 to 127": what a whole number of that type may be. Empty for other types.
[[nodiscard]] std::string rangeOf(StorageType storage);

}  // namespace tarn::kern::io
