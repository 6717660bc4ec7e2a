#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Property.h>

#include "quillon/nimbo/SerializationTag.h"

namespace quillon::nimbo::detail {

/// How one property shows in the text of a tree. Everything that depends on the property alone is worked out once per
/// print, so that per element only the value is looked at.
struct TreeLine {
  enum class Look : std::uint8_t {
    Reference,    ///< a single element
    Elements,     ///< a collection of them
    Object,       ///< a single plain value
    Literal,      ///< a single enum value
    FindStorage,  ///< a collection of plain values; how it is stored shows at the first one
    Contiguous,   ///< a collection of plain values in one typed vector
    ByPrinter,    ///< all else: the printer's own walk is right for every property
  };

  tarn::kern::meta::Property property;
  std::string start;                       ///< the name, as UTF-8, and what stands behind it whatever the value is
  const tarn::kern::Value* hiddenDefault;  ///< what does not show, for the looks Object and Literal; nullptr: none
  std::vector<std::pair<std::int64_t, std::string>> literals;  ///< of an enum: the names, as UTF-8, sorted by number
  SerializationTag tag;                                        ///< of the declared type
  Look look;
  bool isComposite;
  bool isOptional;
};

/// What the text of a tree shows of an element.
struct TreePlan {
  std::string name;             ///< of the class, as UTF-8
  std::vector<TreeLine> lines;  ///< in the order of getAllProperties; without those that the public cannot read
};

[[nodiscard]] TreePlan makeTreePlan(const tarn::kern::meta::Class& type, bool showsDefaults);

}  // namespace quillon::nimbo::detail
