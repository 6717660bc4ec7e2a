#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>

#include <tarn/kern/Model.h>

/// One section's packages as a model of their own, to hand on.
namespace debian_packages {

/// A section that no installed package names, or a copy that is not what it should be: one line for the user.
class SectionError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

struct SectionCopy {
  tarn::kern::Model model;
  std::size_t packages = 0;     ///< how many are in the section
  std::size_t maintainers = 0;  ///< how many of the original were replaced
};

/// The name of the section to show when none is asked for: the largest of at most 40 installed packages, else the
/// smallest one; of several, the first by name. Empty when no installed package names a section.
std::string sectionToShow(const tarn::kern::Model& model);

/// Clones the installed packages of that section with all that they refer to: their relations and the names in them,
/// section and sources. Maintainers stay behind: in place of each one stands the same one, who has neither name nor
/// address. Throws SectionError when there is no such package.
SectionCopy copySection(const tarn::kern::Model& model, const std::string& section);

/// Throws SectionError unless the copy holds exactly those packages, with the same stanzas, and no maintainer's
/// address.
void requireCopied(const tarn::kern::Model& model, const std::string& section, const SectionCopy& copy);

/// Another copy of such a model, as it may look some days later: one package has another version, the next one is gone,
/// a new one came, and the relations of one changed their order. (The fewer packages, the fewer changes.)
tarn::kern::Model editedCopy(const tarn::kern::Model& section);

}  // namespace debian_packages
