#pragma once

#include <cstdint>
#include <ostream>
#include <string>

#include <boost/date_time/posix_time/posix_time_types.hpp>
#include <boost/uuid/uuid.hpp>

/// The rows of an element's description, as stream manipulators. Each is one "div": a name, and at its right what the
/// name stands for. On a plain stream the two come out with nothing between them.
/// A row refers to what it shows and is meant for one statement.
namespace quillon::nimbo::html {

/// A value; `cls` says of what kind it is and gives its colour.
template <class T>
struct descItem {
  std::string name;
  std::string cls;
  const T& value;
};
template <class T>
descItem(std::string, std::string, const T&) -> descItem<T>;

/// A link, such as the one to where the tree shows a collection.
struct descLink {
  std::string name;
  std::string text;
  std::string link;
  std::string target = {};
};

/// An element: as live as its entry in the tree, and bearing the same id.
struct descEntry {
  std::string name;
  std::string text;
  std::string id;
};

/// How a value reaches the stream. 8-bit numbers are characters; the rest is text or the stream's own number format.
void putRowValue(std::ostream& os, const char* value);
void putRowValue(std::ostream& os, std::int8_t value);
void putRowValue(std::ostream& os, std::uint8_t value);
void putRowValue(std::ostream& os, std::int16_t value);
void putRowValue(std::ostream& os, std::uint16_t value);
void putRowValue(std::ostream& os, std::int32_t value);
void putRowValue(std::ostream& os, std::uint32_t value);
void putRowValue(std::ostream& os, std::int64_t value);
void putRowValue(std::ostream& os, double value);
void putRowValue(std::ostream& os, const std::string& value);
void putRowValue(std::ostream& os, const std::u16string& value);
void putRowValue(std::ostream& os, const boost::uuids::uuid& value);
void putRowValue(std::ostream& os, const boost::posix_time::ptime& value);

void openItem(std::ostream& os, const std::string& name, const std::string& cls);
void closeItem(std::ostream& os);

template <class T>
std::ostream& operator<<(std::ostream& os, const descItem<T>& x) {
  openItem(os, x.name, x.cls);
  putRowValue(os, x.value);
  closeItem(os);
  return os;
}

std::ostream& operator<<(std::ostream& os, const descLink& x);
std::ostream& operator<<(std::ostream& os, const descEntry& x);

}  // namespace quillon::nimbo::html
