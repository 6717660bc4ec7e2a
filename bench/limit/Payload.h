#pragma once

// The binary model stream of the benchmark model, and nothing but it: the names, the tags and the order of the
// properties are written out here by hand. What the framework derives from its meta-model stands in these tables as
// constants.

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string_view>

#include "ByteBuffer.h"
#include "LimitModel.h"

namespace bench::limit {

inline constexpr std::u16string_view kPackageUri = u"urn:bench";

inline constexpr std::array<std::u16string_view, 2> kTypeNames{u"bench.Item", u"bench.Folder"};

/// In the order of the stream: the class's own attributes by name, then those of its superclass.
enum class Property : std::uint8_t {
  kChildren,
  kAbstract,
  kBase,
  kMarks,
  kModified,
  kMultiplicity,
  kRelated,
  kRevision,
  kTags,
  kVisibility,
  kWeight,
  kDocumentation,
  kName
};
inline constexpr std::size_t kPropertyCount = 13;
inline constexpr std::array<std::u16string_view, kPropertyCount> kPropertyNames{
    u"children", u"abstract", u"base",       u"marks",  u"modified",      u"multiplicity", u"related",
    u"revision", u"tags",     u"visibility", u"weight", u"documentation", u"name"};

inline constexpr std::array<std::u16string_view, 4> kLiteralNames{u"public", u"protected", u"private", u"package"};

/// Appends the stream of the model to the bytes.
void writePayload(const Model& model, ByteBuffer& bytes);

/// Reads one stream. What follows its end is left alone.
/// @throws std::runtime_error when the bytes are not such a stream.
[[nodiscard]] std::unique_ptr<Model> readPayload(std::string_view bytes);

}  // namespace bench::limit
