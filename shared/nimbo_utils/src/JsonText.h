#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include <bedrock/deep_call.h>

namespace quillon::nimbo {

/// The pieces of which the JSON library makes a text, byte for byte the same.
void appendJsonInteger(std::string& out, std::int64_t number);
void appendJsonInteger(std::string& out, std::uint64_t number);
void appendJsonReal(std::string& out, double number);
/// With its quotation marks. @throws nlohmann::json::type_error for a text that is no valid UTF-8.
void appendJsonString(std::string& out, std::string_view text);

/// Appends the text that `value.dump(-1, ' ', false, strict)` gives, byte for byte, and throws the same exceptions. It
/// is there for documents of any depth, where the library's own writer ends with the stack, and for speed. `Json` is
/// any nlohmann::basic_json of 8-bit strings.
template <class Json>
void appendJsonText(std::string& out, const Json& value) {
  using Kind = nlohmann::detail::value_t;
  switch (value.type()) {
    case Kind::object:
      return bedrock::stack::callDeep([&] {
        char separator = '{';
        for (const auto& [key, member] : value.template get_ref<const typename Json::object_t&>()) {
          out += separator;
          separator = ',';
          appendJsonString(out, key);
          out += ':';
          appendJsonText(out, member);
        }
        out.append(separator == '{' ? "{}" : "}");
      });
    case Kind::array:
      return bedrock::stack::callDeep([&] {
        char separator = '[';
        for (const Json& entry : value.template get_ref<const typename Json::array_t&>()) {
          out += separator;
          separator = ',';
          appendJsonText(out, entry);
        }
        out.append(separator == '[' ? "[]" : "]");
      });
    case Kind::string:
      return appendJsonString(out, value.template get_ref<const typename Json::string_t&>());
    case Kind::boolean:
      out.append(value.template get<bool>() ? "true" : "false");
      return;
    case Kind::number_integer:
      return appendJsonInteger(out, value.template get<std::int64_t>());
    case Kind::number_unsigned:
      return appendJsonInteger(out, value.template get<std::uint64_t>());
    case Kind::number_float:
      return appendJsonReal(out, value.template get<double>());
    case Kind::null:
    case Kind::binary:     // nothing that we build
    case Kind::discarded:  // likewise
      out.append("null");
  }
}

}  // namespace quillon::nimbo
