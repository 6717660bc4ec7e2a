#pragma once

#include <filesystem>
#include <iosfwd>

#include <quillon/nimbo/PrettyPrinter.h>
#include <tarn/kern/Model.h>

namespace debian_packages {

/// A printer that knows this meta-model: wherever an element is mentioned, its name stands beside its class; a relation
/// shows its kind, and an alternative the package that it names.
class DebianPrinter : public quillon::nimbo::PrettyPrinter {
 public:
  void emitElementEntry(std::ostream& os, const ModelElement& element, bool composite) override;
};

/// Write the whole model as text, and as a page to browse it in. They replace what was there.
/// Throw RoundTripError when the file cannot be written to its end.
void writeText(const tarn::kern::Model& model, const std::filesystem::path& file);
void writePage(const tarn::kern::Model& model, const std::filesystem::path& file);

}  // namespace debian_packages
