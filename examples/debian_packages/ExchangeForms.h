#pragma once

#include <filesystem>
#include <iosfwd>

#include <tarn/kern/Model.h>

namespace debian_packages {

/// The model in the forms that other modelling tools open: writes the meta-model as debian.ecore and the model as
/// debian.xmi, which tells where the meta-model lies, reads the latter back, and prints a line about each.
/// Throws RoundTripError where the model does not come back equal, and for a file that cannot be read or written.
void showExchangeForms(const tarn::kern::Model& model, const std::filesystem::path& outDirectory, std::ostream& out);

}  // namespace debian_packages
