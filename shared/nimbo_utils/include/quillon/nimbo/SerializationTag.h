#pragma once

#include <cstdint>
#include <iosfwd>

#include "quillon/nimbo/export.h"

namespace quillon::nimbo {

/// Says what comes next on a binary model stream. A tag's value is an ASCII letter and is what stands on the stream, so
/// that a hex dump can be read. The letters are unrelated to those of BinFormat, although some are the same.
///
/// The underlying type is signed: a byte that is no tag is named the way `char` holds it on the platforms we support,
/// and the result of a failed `get` on a stream converts to the same value as the byte 0xFF.
enum class SerializationTag : std::int8_t {
  MODEL_ELEMENT = 'm',
  DATA_TYPE = 'r',
  COLLECTION = '[',
  ENUM = 'e',
  NONE = 'n',  ///< an optional value that is absent; at the place of a root, the end of the stream
  USTRING = 'S',
  STRING = 's',
  INT = 'i',
  INT8 = 'c',
  INT16 = 'j',
  INT64 = 'l',
  DOUBLE = 'd',
  BOOL = 'b',
  UINT = 'I',
  UINT8 = 'C',
  UINT16 = 'J',
  UINT64 = 'L',
  UUID = 'U',
  NATIVE = 'N',  ///< bytes of a custom serializer
  DATETIME = 'D',
  STRINGTOSTRINGMAP = 'M',
};

/// Prints the enumerator's name. Any other value prints as "<unknown ", the value as a signed decimal number, ">";
/// number formatting set on the stream plays no part in it.
NIMBO_EXPORT std::ostream& operator<<(std::ostream& stream, SerializationTag tag);

}  // namespace quillon::nimbo
