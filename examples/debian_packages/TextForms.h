#pragma once

#include <filesystem>
#include <iosfwd>

#include <tarn/kern/Model.h>

#include "PlainDatabase.h"

namespace debian_packages {

/// Saves the database as a program of yesterday would have: debian-0.9.z, in version 0.9 of the meta-model.
/// Throws RoundTripError for a file that cannot be written.
void saveOlderVersion(const PlainDatabase& database, const std::filesystem::path& outDirectory);

/// The model by way of JSON: writes it as debian.json, dumps debian.z to debian.dump.json without asking the
/// meta-model, reads both back, reads debian-0.9.z, which brings it up to date, and prints a line about each. All three
/// must give the model again.
/// @pre debian.z holds the model, debian-0.9.z the same database in the older version
/// Throws RoundTripError where one does not, and for a file that cannot be read or written.
void showTextForms(const tarn::kern::Model& model, const std::filesystem::path& outDirectory, std::ostream& out);

}  // namespace debian_packages
