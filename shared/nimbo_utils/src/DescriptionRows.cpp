#include "DescriptionRows.h"

#include <boost/lexical_cast.hpp>
#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/DateTimeUtils.h>

#include "PlainText.h"
#include "quillon/nimbo/html/Manipulators.h"

namespace quillon::nimbo::html {
namespace {

void openRow(std::ostream& os, const std::string& name) {
  os << tag{"div", "descItem"} << tag2{"span", name, "attrName"};
}

}  // namespace

void putRowValue(std::ostream& os, const char* value) { detail::putText(os, value); }
void putRowValue(std::ostream& os, std::int8_t value) { os << static_cast<char>(value); }
void putRowValue(std::ostream& os, std::uint8_t value) { os << static_cast<char>(value); }
void putRowValue(std::ostream& os, std::int16_t value) { os << value; }
void putRowValue(std::ostream& os, std::uint16_t value) { os << value; }
void putRowValue(std::ostream& os, std::int32_t value) { os << value; }
void putRowValue(std::ostream& os, std::uint32_t value) { os << value; }
void putRowValue(std::ostream& os, std::int64_t value) { os << value; }
void putRowValue(std::ostream& os, double value) { detail::putReal(os, value); }
void putRowValue(std::ostream& os, const std::string& value) { detail::putText(os, value); }
void putRowValue(std::ostream& os, const std::u16string& value) {
  detail::putText(os, bedrock::i18n::ustring_to_utf8(value));
}
void putRowValue(std::ostream& os, const boost::uuids::uuid& value) { os << boost::lexical_cast<std::string>(value); }
void putRowValue(std::ostream& os, const boost::posix_time::ptime& value) {
  putRowValue(os, tarn::kern::DateTimeUtils::Conversion::toUstring(value));
}

void openItem(std::ostream& os, const std::string& name, const std::string& cls) {
  openRow(os, name);
  os << tag{"span", cls};
}

void closeItem(std::ostream& os) { os << etag{"span"} << etag{"div"}; }

std::ostream& operator<<(std::ostream& os, const descLink& x) {
  openRow(os, x.name);
  return os << href{x.link, x.text, x.target, "attrId"} << etag{"div"};
}

std::ostream& operator<<(std::ostream& os, const descEntry& x) {
  openRow(os, x.name);
  return os << tag2{"span", x.text, "entry", x.id} << etag{"div"};
}

}  // namespace quillon::nimbo::html
