#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include <boost/uuid/uuid.hpp>

#include "ControlFile.h"
#include "PackageEnums.h"

/// Uuids made from names, so that what is the same thing on two days or two machines has the same uuid in both models
/// and the models can be compared.
///
/// Each uuid is a name-based one of version 5 (SHA-1). Its namespace is the uuid of what contains the element, up to
/// one namespace of our own; its name is one byte for the kind of element, then the key that is unique within the
/// container. The short names keep it at one SHA-1 block, well under a microsecond: a million elements cost
/// less than a second. No file's place takes part, so the database read from a copy has the same uuids.
namespace debian_packages {

using Uuid = boost::uuids::uuid;

Uuid databaseUuid();
Uuid sectionUuid(std::string_view name);
Uuid maintainerUuid(std::string_view nameAndAddress);
Uuid sourceUuid(std::string_view name);
Uuid packageNameUuid(std::string_view name);

/// `key` is "name:architecture".
Uuid installedPackageUuid(std::string_view key);

Uuid archiveUuid(std::string_view name);
/// `key` is "name:architecture=version": an archive may offer several versions.
Uuid archivePackageUuid(const Uuid& archive, std::string_view key);

/// The index counts within the field of that kind.
Uuid relationUuid(const Uuid& package, RelationKind kind, std::size_t index);
Uuid alternativeUuid(const Uuid& relation, std::size_t index);

Uuid rootDirectoryUuid();
Uuid directoryUuid(const Uuid& parent, std::string_view name);
Uuid fileUuid(const Uuid& directory, std::string_view name);

/// A uuid of a stanza's content, names and values of all fields in order: equal exactly when nothing in it has changed.
Uuid fingerprint(const Stanza& stanza);

}  // namespace debian_packages
