#pragma once

#include <optional>
#include <string>
#include <string_view>

#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Property.h>

/// Which type of the kernel stands for which data type of Ecore, in both directions.
namespace tarn::kern::ecore {

inline constexpr std::string_view kEcoreNamespace = "http://www.eclipse.org/emf/2002/Ecore";
inline constexpr std::string_view kXmlTypeNamespace = "http://www.eclipse.org/emf/2003/XMLType";

/// The standard type for a data type of Ecore's own package; String for those that have no counterpart.
[[nodiscard]] meta::PrimitiveType typeOfEcoreName(std::string_view name);
/// The same for the data types of XML Schema.
[[nodiscard]] meta::PrimitiveType typeOfXmlName(std::string_view name);
/// The same for a data type that says which Java class holds it.
[[nodiscard]] meta::PrimitiveType typeOfInstanceClass(std::string_view name);

/// What an attribute of a standard type is written with: `ecore:EDataType http://...#//EInt`. An optional single value
/// gets the form that can be absent.
[[nodiscard]] std::string dataTypeFor(const meta::Type& type, bool canBeAbsent);
/// True when that data type alone leads back to the type; a note must tell otherwise.
[[nodiscard]] bool isToldByDataType(const meta::Type& type);
/// The standard type of that name, or null.
[[nodiscard]] meta::PrimitiveType standardTypeNamed(const ustring& name);

/// A default as text, and back; none when the text is no value of the type. Not for enums.
[[nodiscard]] std::string textOfDefault(const Value& value);
[[nodiscard]] std::optional<Value> defaultFromText(const meta::PrimitiveType& type, std::string_view text);

}  // namespace tarn::kern::ecore
