#pragma once

#include <cstdint>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include "TestMetaModel.h"
#include "quillon/nimbo/Compression.h"
#include "quillon/nimbo/StreamOArchive.h"

namespace testsupport {

/// Writes a binary model stream record by record, right or wrong: for tests of readers that must not depend on what a
/// writer would do. Begins with no package URIs; each call appends.
///
///   HandmadeStream().root().newElement(1, 1, u"sample.Box", 7).full().noMore().end().container()
class HandmadeStream {
 public:
  HandmadeStream() : HandmadeStream(std::vector<std::u16string>()) {}
  explicit HandmadeStream(const std::vector<std::u16string>& packageUris) { append(packageUris); }

  /// Any value that an archive writes.
  template <class T>
  HandmadeStream& append(const T& value) {
    std::ostringstream stream;
    quillon::nimbo::StreamOArchive(stream) << value;
    return raw(stream.str());
  }
  HandmadeStream& raw(const std::string& bytes) {
    fBytes += bytes;
    return *this;
  }
  HandmadeStream& tag(char letter) { return raw(std::string(1, letter)); }
  HandmadeStream& id(std::int64_t number) { return append(number); }
  HandmadeStream& count(std::uint64_t number) { return append(number); }
  HandmadeStream& text(const std::u16string& text) { return append(text); }

  HandmadeStream& root() { return tag('m'); }
  HandmadeStream& newType(std::int64_t typeId, const std::u16string& name) { return id(typeId).text(name); }
  HandmadeStream& newProperty(std::int64_t propertyId, const std::u16string& name) { return id(propertyId).text(name); }
  /// An element's first mention, up to its flag; without a name, of a type that is known already.
  HandmadeStream& newElement(std::int64_t elementId, std::int64_t typeId, const std::u16string& name,
                             std::uint8_t lastOfUuid) {
    return id(elementId).newType(typeId, name).append(uuidEndingIn(lastOfUuid));
  }
  HandmadeStream& newElement(std::int64_t elementId, std::int64_t typeId, std::uint8_t lastOfUuid) {
    return id(elementId).id(typeId).append(uuidEndingIn(lastOfUuid));
  }
  HandmadeStream& full() { return tag('T'); }
  HandmadeStream& reference() { return tag('F'); }
  /// The end of a list of properties.
  HandmadeStream& noMore() { return id(0); }
  /// The end of the stream.
  HandmadeStream& end() { return tag('n'); }

  /// The stream alone.
  [[nodiscard]] const std::string& payload() const { return fBytes; }
  /// Letter "B" and the stream, without the eight bytes that a writer puts behind it.
  [[nodiscard]] std::string container() const { return "B" + fBytes; }

 private:
  std::string fBytes;
};

/// A container of a compressing letter around a payload.
inline std::string zlibContainer(char letter, const std::string& payload) {
  std::vector<std::uint8_t> compressed;
  quillon::nimbo::compress(compressed, payload);
  std::ostringstream stream;
  quillon::nimbo::StreamOArchive(stream).put(letter) << compressed;
  return stream.str();
}

inline std::string zstdContainer(char letter, const std::string& payload) {
  std::vector<std::uint8_t> compressed;
  quillon::nimbo::compressZSTD(compressed, payload, 1);
  std::ostringstream stream;
  quillon::nimbo::StreamOArchive(stream).put(letter) << compressed;
  return stream.str();
}

}  // namespace testsupport
