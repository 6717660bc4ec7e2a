#pragma once

#include <string>

#include "ControlFile.h"
#include "PlainDatabase.h"

namespace debian_packages {

/// Turns one stanza into a package. Names go to the tables of `database`; the package itself is not added to it.
/// What dpkg refuses (no name, a Status with an unknown word, a relation that cannot be parsed, no version in a package
/// that needs one) throws ReadError with `file` and the line of the field.
PlainInstalledPackage readInstalledPackage(const Stanza& stanza, const std::string& file, PlainDatabase& database);
PlainArchivePackage readArchivePackage(const Stanza& stanza, const std::string& file, PlainDatabase& database);

}  // namespace debian_packages
