#pragma once

#include <filesystem>
#include <iosfwd>
#include <string>

#include <tarn/kern/Model.h>

namespace debian_packages {

/// Shows what else can be done with the model: clones a section's packages with a replacement, prints the copy into
/// debian.txt, tells what an edit of it changed, and writes debian.html, a page to browse the model in (the copy where
/// the model is too large for a browser). `section` may be empty: then sectionToShow chooses.
/// Throws SectionError, and RoundTripError for a file that cannot be written.
void takeTour(const tarn::kern::Model& model, const std::string& section, const std::filesystem::path& outDirectory,
              std::ostream& out);

}  // namespace debian_packages
