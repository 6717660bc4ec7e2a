#pragma once

#include <cstdint>
#include <string>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/MetaRegistry.h>

/// A meta-model for the tests of printing, and their ways to make and look at models.
namespace testsupport {

/// "printed", URI "urn:printed", registered at first use. Properties in the order of their definition, which is not
/// that of their names.
///
/// Package:  name (String), parts (Part, composite, many), owner (Team)
/// Part:     size (Integer, default 1)
/// Team:     nothing
/// Quiet:    count (Integer, default 5), sizes (Integer, many), parts (Part, composite, many), owner (Team): a new one
///           has nothing to show
/// Safe:     before (Integer), code (Integer, guarded), keys (Part, many, guarded), codes (Integer, many, guarded),
///           after (Integer)
/// Shelf:    links (Part, many), packages (Package, composite, many), numbers (Integer, required, many)
/// Zero:     part (Part, upper bound 0), size (Integer, upper bound 0)
/// Papers:   blank (Blank, required), nest (Nest, required), holder (Holder, required)
/// Data types  Blank: nothing.  Nest: depth (Integer, required), inner (Nest, many)
///             Holder: team (Team), teams (Team, many), count (Integer, default 5), sizes (Integer, many)
tarn::kern::meta::Package printingMetaModel();

[[nodiscard]] tarn::kern::meta::Class printedClass(const std::u16string& name);
[[nodiscard]] tarn::kern::meta::DataType printedDataType(const std::u16string& name);

/// A new top-level element of that class of "printed"; its uuid ends in `last`, or is random for 0.
tarn::kern::ModelElement newPrinted(const tarn::kern::Model& model, const std::u16string& className,
                                    std::uint8_t last = 0);

/// Appends to a collection of elements.
void addElement(const tarn::kern::ModelElement& owner, const std::u16string& collection,
                const tarn::kern::ModelElement& member);
/// Appends to a collection of values.
void addValue(const tarn::kern::ModelElement& owner, const std::u16string& collection, const tarn::kern::Value& value);

/// The text with "@" for each address: addresses differ from run to run.
[[nodiscard]] std::string withoutAddresses(const std::string& text);

}  // namespace testsupport
