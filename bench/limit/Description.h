#pragma once

// The benchmark model as neutral records.
//
// Every side of a comparison (the plain structs of the limit program, the framework's model) is built from the same
// description, so that their contents, and therefore the bytes they save, can be compared. The meta-model is:
//
//   package bench, URI "urn:bench"
//
//   enum Visibility { public = 0, protected = 1, private = 2, package = 3 }      literals in this order
//
//   abstract class Named
//     documentation : String           [0..1]
//     name          : String           [1]
//
//   class Item : Named
//     abstract      : Boolean          [1]      default false
//     base          : Item             [0..1]   plain reference
//     marks         : Integer          [0..*]   ordered, not unique
//     modified      : DateTime         [0..1]
//     multiplicity  : Integer          [1]      default 1
//     parent        : Folder           [0..1]   opposite of Folder.children (the way back to the container: never
//     saved) related       : Item             [0..*]   plain references, ordered, unique revision      : Integer64 [1]
//     tags          : String           [0..*]   ordered, not unique
//     visibility    : Visibility       [1]
//     weight        : Real             [1]
//
//   class Folder : Item
//     children      : Item             [0..*]   composite, ordered, unique, opposite of Item.parent
//
// The uuid is the element's own identity, not a property. There is one root, a Folder; it is record 0.
// Each class lists its attributes by name, which is the order in which the stream holds them.

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

namespace bench {

using Uuid = std::array<std::uint8_t, 16>;

/// Index of a record in a Description; kNoRecord where there is none.
using RecordIndex = std::uint32_t;
inline constexpr RecordIndex kNoRecord = std::numeric_limits<RecordIndex>::max();

/// Microseconds since 1970-01-01T00:00:00; kNoTime stands for an absent time.
using Microseconds = std::int64_t;
inline constexpr Microseconds kNoTime = std::numeric_limits<Microseconds>::min();

enum class Visibility : std::uint8_t { kPublic = 0, kProtected = 1, kPrivate = 2, kPackage = 3 };

/// No folder holds more children than this.
inline constexpr std::size_t kMaxFanOut = 1000;

/// One element. The absent values are kNoRecord, kNoTime and, for the documentation, hasDocumentation == false.
struct Record {
  Uuid uuid{};
  bool isFolder = false;
  RecordIndex parent = kNoRecord;

  std::u16string name;
  bool hasDocumentation = false;
  std::u16string documentation;
  bool abstract = false;
  std::int32_t multiplicity = 1;
  std::int64_t revision = 0;
  double weight = 0;
  Visibility visibility = Visibility::kPublic;
  Microseconds modified = kNoTime;
  std::vector<std::u16string> tags;
  std::vector<std::int32_t> marks;
  RecordIndex base = kNoRecord;
  std::vector<RecordIndex> related;
};

/// The records in the order in which a depth-first walk through the containment meets them, so a parent comes before
/// its children and the children of a folder come in their order. References point forward and backward alike.
using Description = std::vector<Record>;

/// A model of `count` elements (at least one). The same count and seed give the same model on every machine.
Description describe(std::size_t count, std::uint64_t seed = 1);

}  // namespace bench
