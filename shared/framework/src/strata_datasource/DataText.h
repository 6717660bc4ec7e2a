#pragma once

#include <functional>
#include <string>
#include <string_view>

#include <boost/uuid/uuid.hpp>

#include <tarn/kern/ModelElement.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/io/RawElement.h>

/// Structured values as JSON text, exactly.
///
/// A data value is an object of its present attributes: {"x": 1, "label": "north", "tags": ["a", "b"]}. Numbers are
/// numbers; infinities and NaNs are texts ("inf", "-inf", "NaN"); enums are literals' names, or numbers without
/// literal. What JSON has no form of is an object of one member whose name begins with "$": {"$ref": uuid} an element,
/// {"$map": pairs} a map, whose order counts, {"$hex": "00ff"} bytes that are not UTF-8. An attribute whose name begins
/// with "$" gets another one in front. A lone surrogate is its escape.
namespace strata_datasource::data_text {

using FindElement = std::function<tarn::kern::ModelElement(const boost::uuids::uuid&)>;

[[nodiscard]] std::string write(const tarn::kern::ReflectiveDataType& data);
[[nodiscard]] std::string write(const tarn::kern::StringToStringMap& map);

/// @throws std::runtime_error (ParseError among them) saying what is wrong.
[[nodiscard]] tarn::kern::ReflectiveDataType readData(std::string_view text, const tarn::kern::meta::DataType& type,
                                                      const FindElement& find);
[[nodiscard]] tarn::kern::StringToStringMap readMap(std::string_view text);

/// The same without a meta-model: data values are RawData, and so on. Throws as above.
[[nodiscard]] tarn::kern::io::RawValue readRaw(std::string_view text);
/// Bytes as raw content holds them: a byte that is part of no well-formed UTF-8 is the low surrogate U+DC00 plus the
/// byte.
[[nodiscard]] tarn::kern::ustring textOfBytes(std::string_view bytes);

}  // namespace strata_datasource::data_text
