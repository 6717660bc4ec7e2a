#include "NameUuids.h"

#include <array>
#include <charconv>

#include <boost/uuid/name_generator_sha1.hpp>

namespace debian_packages {
namespace {

// Drawn once at random; changing it changes every uuid.
constexpr Uuid kNamespace = {
    {0x8e, 0x1f, 0x5c, 0x0b, 0x3a, 0x74, 0x4d, 0x92, 0xb6, 0x1d, 0x2e, 0x97, 0xc4, 0x50, 0x6f, 0xa8}};

/// One byte per kind of element. Uniqueness within a namespace rests on these being different.
enum class Role : char {
  kDatabase = 'D',
  kSection = 's',
  kMaintainer = 'm',
  kSource = 'o',
  kPackageName = 'n',
  kInstalledPackage = 'p',
  kArchive = 'A',
  kArchivePackage = 'a',
  kRelation = 'r',
  kAlternative = 'l',
  kDirectory = 'd',
  kFile = 'f',
  kContent = 'c'
};

Uuid nameBased(const Uuid& parent, Role role, std::string_view key) {
  constexpr std::size_t kShort = 256;
  std::array<char, kShort> small;  // most keys fit: no allocation per element
  small[0] = static_cast<char>(role);
  if (key.size() < kShort) {
    key.copy(small.data() + 1, key.size());
    return boost::uuids::name_generator_sha1(parent)(small.data(), key.size() + 1);
  }
  const std::string large = std::string(1, small[0]).append(key);
  return boost::uuids::name_generator_sha1(parent)(large.data(), large.size());
}

Uuid nameBased(const Uuid& parent, Role role, char prefix, std::size_t index) {
  std::array<char, 24> text;
  text[0] = prefix;
  const auto end = std::to_chars(text.data() + 1, text.data() + text.size(), index).ptr;
  return nameBased(parent, role, std::string_view(text.data(), static_cast<std::size_t>(end - text.data())));
}

}  // namespace

Uuid databaseUuid() { return nameBased(kNamespace, Role::kDatabase, ""); }
Uuid sectionUuid(std::string_view name) { return nameBased(kNamespace, Role::kSection, name); }
Uuid maintainerUuid(std::string_view nameAndAddress) {
  return nameBased(kNamespace, Role::kMaintainer, nameAndAddress);
}
Uuid sourceUuid(std::string_view name) { return nameBased(kNamespace, Role::kSource, name); }
Uuid packageNameUuid(std::string_view name) { return nameBased(kNamespace, Role::kPackageName, name); }
Uuid installedPackageUuid(std::string_view key) { return nameBased(kNamespace, Role::kInstalledPackage, key); }
Uuid archiveUuid(std::string_view name) { return nameBased(kNamespace, Role::kArchive, name); }

Uuid archivePackageUuid(const Uuid& archive, std::string_view key) {
  return nameBased(archive, Role::kArchivePackage, key);
}

Uuid relationUuid(const Uuid& package, RelationKind kind, std::size_t index) {
  return nameBased(package, Role::kRelation, static_cast<char>('0' + static_cast<int>(kind)), index);
}

Uuid alternativeUuid(const Uuid& relation, std::size_t index) {
  return nameBased(relation, Role::kAlternative, '#', index);
}

Uuid rootDirectoryUuid() { return nameBased(kNamespace, Role::kDirectory, ""); }
Uuid directoryUuid(const Uuid& parent, std::string_view name) { return nameBased(parent, Role::kDirectory, name); }
Uuid fileUuid(const Uuid& directory, std::string_view name) { return nameBased(directory, Role::kFile, name); }

Uuid fingerprint(const Stanza& stanza) {
  std::string content;
  for (const ControlField& field : stanza.fields) {
    // A name has no colon and a value no line that begins otherwise than with a blank, so no two contents look alike.
    content.append(field.name).append(1, ':').append(field.value).append(1, '\n');
  }
  return nameBased(kNamespace, Role::kContent, content);
}

}  // namespace debian_packages
