#include "Uuids.h"

#include <cctype>

#include <boost/uuid/string_generator.hpp>

#include "ToolError.h"

namespace nimbo_tool {

bool isUuid(const std::string& text) {
  std::string_view inner = text;
  if (inner.starts_with('{') && inner.ends_with('}')) inner = inner.substr(1, inner.size() - 2);
  if (inner.size() != 36) return false;
  for (std::size_t i = 0; i < inner.size(); ++i) {
    const bool isDash = i == 8 || i == 13 || i == 18 || i == 23;
    if (isDash ? inner[i] != '-' : std::isxdigit(static_cast<unsigned char>(inner[i])) == 0) return false;
  }
  return true;
}

boost::uuids::uuid parseUuid(const std::string& text) {
  if (!isUuid(text)) {
    throw ToolError(kWrongUsage, "\"" + text +
                                     "\" is no uuid: expected 8-4-4-4-12 hexadecimal digits, such as "
                                     "3f2504e0-4f89-41d3-9a0c-0305e82c3301");
  }
  return boost::uuids::string_generator()(text);
}

}  // namespace nimbo_tool
