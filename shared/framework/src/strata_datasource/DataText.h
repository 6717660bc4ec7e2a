#pragma once

#include <functional>
#include <string>
#include <string_view>

#include <boost/uuid/uuid.hpp>

#include <tarn/kern/ModelElement.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/Value.h>

/// Structured values as JSON text, exactly.
///
/// A data value is an object of its present attributes: {"x": 1, "label": "north", "tags": ["a", "b"]}. Numbers are
/// numbers; infinities and NaNs are texts ("inf", "-inf", "NaN"); enums are literals' names, or numbers without
/// literal; bytes that are not UTF-8 are {"hex": "00ff"}; maps are arrays of pairs, as their order counts; elements are
/// their uuids. A lone surrogate is its escape.
namespace strata_datasource::data_text {

using FindElement = std::function<tarn::kern::ModelElement(const boost::uuids::uuid&)>;

[[nodiscard]] std::string write(const tarn::kern::ReflectiveDataType& data);
[[nodiscard]] std::string write(const tarn::kern::StringToStringMap& map);

/// @throws std::runtime_error (ParseError among them) saying what is wrong.
[[nodiscard]] tarn::kern::ReflectiveDataType readData(std::string_view text, const tarn::kern::meta::DataType& type,
                                                      const FindElement& find);
[[nodiscard]] tarn::kern::StringToStringMap readMap(std::string_view text);

/// A double as text that gives the same bits again; "NaN:" and sixteen hex digits for a NaN that is not the usual one.
[[nodiscard]] std::string textOfReal(double value);
/// The same for what is no finite number. @return false when the text is none of them.
[[nodiscard]] bool realOfText(std::string_view text, double& value);

}  // namespace strata_datasource::data_text
