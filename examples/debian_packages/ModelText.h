#pragma once

#include <string>
#include <string_view>

#include <bedrock/i18n.h>

/// Text on its way from the package files into a model.
///
/// The files are UTF-8 unless a package broke that rule, and dpkg does not mind. A model must be: JSON and XML have no
/// place for anything else, and a model that can only be saved in some of its forms is of little use. So each part that
/// is no UTF-8 becomes one U+FFFD, and the rest of the text stays readable. Uuids and fingerprints are made from the
/// bytes, so two texts that look alike afterwards are still told apart.
namespace debian_packages {

/// For a String: the bytes as UTF-16.
bedrock::i18n::ustring modelText(std::string_view bytes);

/// For a StdString: the bytes as they are where they are UTF-8, else with the same replacements.
std::string modelBytes(std::string_view bytes);

}  // namespace debian_packages
