#pragma once

#include <filesystem>
#include <iosfwd>

#include <tarn/kern/Model.h>

namespace debian_packages {

/// The model in a store that is read as it is touched: binds it to debian.sqlite, which is made anew, opens that again
/// as another program would, asks for the installed packages, changes one of them, commits, opens the store a third
/// time, and tells what differs from the model. The model itself is unbound and as it was in the end. Throws
/// RoundTripError where something else differs, and for a file that cannot be read or written.
void takeStoreTour(const tarn::kern::Model& model, const std::filesystem::path& outDirectory, std::ostream& out);

}  // namespace debian_packages
