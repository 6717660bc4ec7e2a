#include "JsonText.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <string_view>
#include <utility>

#include <nlohmann/json.hpp>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>

namespace quillon::nimbo {

using nlohmann::json;

namespace {

/// What stands in a JSON string as it is: everything but control characters, the quotation mark, the backslash, and
/// bytes of which only their neighbours tell whether they are text.
constexpr std::array<bool, 256> kIsPlain = [] {
  std::array<bool, 256> isPlain{};
  for (std::size_t byte = 0x20; byte < 0x80; ++byte) isPlain[byte] = byte != '"' && byte != '\\';
  return isPlain;
}();

class JsonTextWriter {
 public:
  explicit JsonTextWriter(std::string& out) : fOut(out) {}

  void write(json& value);

 private:
  void writeObject(json::object_t& object);
  void writeArray(json::array_t& array);
  void writeString(const std::string& text);
  void writeEscaped(const std::string& text, std::size_t plainBytes);
  void writeEscape(unsigned char byte);
  template <class Number>
  void writeInteger(Number number);
  void writeFloat(double number);

  std::string& fOut;
};

void JsonTextWriter::write(json& value) {
  switch (value.type()) {
    case json::value_t::object:
      return bedrock::stack::callDeep([&] { writeObject(value.get_ref<json::object_t&>()); });
    case json::value_t::array:
      return bedrock::stack::callDeep([&] { writeArray(value.get_ref<json::array_t&>()); });
    case json::value_t::string:
      return writeString(value.get_ref<const std::string&>());
    case json::value_t::boolean:
      fOut += value.get<bool>() ? "true" : "false";
      return;
    case json::value_t::number_integer:
      return writeInteger(value.get<std::int64_t>());
    case json::value_t::number_unsigned:
      return writeInteger(value.get<std::uint64_t>());
    case json::value_t::number_float:
      return writeFloat(value.get<double>());
    case json::value_t::null:
      fOut += "null";
      return;
    case json::value_t::binary:
    case json::value_t::discarded:
      break;
  }
  fOut += value.dump();  // nothing that we build
}

/// The members are given up once they are written, so that what is left to destroy is never deep.
void JsonTextWriter::writeObject(json::object_t& object) {
  char separator = '{';
  for (auto& [key, value] : object) {
    fOut += separator;
    separator = ',';
    writeString(key);
    fOut += ':';
    write(value);
  }
  if (separator == '{') fOut += separator;
  fOut += '}';
  object.clear();
}

void JsonTextWriter::writeArray(json::array_t& array) {
  char separator = '[';
  for (json& value : array) {
    fOut += separator;
    separator = ',';
    write(value);
  }
  if (separator == '[') fOut += separator;
  fOut += ']';
  array = json::array_t();  // with its memory, which clear() would keep
}

void JsonTextWriter::writeString(const std::string& text) {
  std::size_t plainBytes = 0;
  while (plainBytes < text.size() && kIsPlain[static_cast<unsigned char>(text[plainBytes])]) ++plainBytes;
  fOut += '"';
  if (plainBytes == text.size()) [[likely]] {
    fOut += text;
  } else {
    writeEscaped(text, plainBytes);
  }
  fOut += '"';
}

void JsonTextWriter::writeEscaped(const std::string& text, std::size_t plainBytes) {
  if (!bedrock::i18n::isValidUtf8(text)) {
    // The library throws, and its exception tells the byte; should it ever come to another view of a text, its own
    // text counts.
    const std::string quoted = json(text).dump(-1, ' ', false, json::error_handler_t::strict);
    fOut.append(quoted, 1, quoted.size() - 2);
    return;
  }
  std::size_t begin = 0;
  for (std::size_t i = plainBytes; i < text.size(); ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if (byte >= 0x80 || kIsPlain[byte]) continue;
    fOut.append(text, begin, i - begin);
    writeEscape(byte);
    begin = i + 1;
  }
  fOut.append(text, begin, std::string::npos);
}

void JsonTextWriter::writeEscape(unsigned char byte) {
  constexpr std::string_view kNamed = "\b\t\n\f\r\"\\";
  constexpr std::string_view kNames = "btnfr\"\\";
  constexpr std::string_view kDigits = "0123456789abcdef";
  fOut += '\\';
  if (const std::size_t named = kNamed.find(static_cast<char>(byte)); named != std::string_view::npos) {
    fOut += kNames[named];
    return;
  }
  fOut += "u00";
  fOut += kDigits[byte >> 4U];
  fOut += kDigits[byte & 15U];
}

template <class Number>
void JsonTextWriter::writeInteger(Number number) {
  std::array<char, 24> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  fOut.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
}

/// The library's digits are not always the shortest that std::to_chars would find, nor in its form, so they are the
/// library's own. They have no public name of their own; json(number).dump() is ten times as slow.
void JsonTextWriter::writeFloat(double number) {
  if (!std::isfinite(number)) {
    fOut += "null";
    return;
  }
  std::array<char, 64> digits;
  const char* const end = nlohmann::detail::to_chars(digits.data(), digits.data() + digits.size(), number);
  fOut.append(digits.data(), static_cast<std::size_t>(end - digits.data()));
}

}  // namespace

std::string jsonText(json&& document) {
  json taken = std::move(document);
  std::string text;
  JsonTextWriter(text).write(taken);
  return text;
}

}  // namespace quillon::nimbo
