#pragma once

#include <string>
#include <string_view>

/// Names of the meta-model as names of XML, and the namespaces of XMI.
namespace tarn::kern::io::xml {

inline constexpr const char* kXmiUri = "http://www.omg.org/XMI";
inline constexpr const char* kXsiUri = "http://www.w3.org/2001/XMLSchema-instance";

/// True for the namespace of any version of XMI: tools write several.
[[nodiscard]] bool isXmiUri(std::string_view uri) noexcept;

/// The name as XML can spell it, in UTF-8: what an XML name cannot hold becomes `_xHHHH_`, and so does the beginning of
/// what would be read as such. A name that is fine stays as it is. No two names have one spelling.
[[nodiscard]] std::string xmlName(std::u16string_view name);

}  // namespace tarn::kern::io::xml
