#pragma once

#include <memory>
#include <type_traits>
#include <vector>

#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/Property.h>

#include "IdTable.h"
#include "StoredTypes.h"
#include "TypeTags.h"
#include "quillon/nimbo/SerializationTag.h"

namespace quillon::nimbo {

/// An element that the stream has named.
struct ParsedElement {
  tarn::kern::ModelElement element;
  /// Nothing more must arrive: it was in the model before, or its contents have been met. False at the end of the
  /// stream makes the element dangling.
  bool defined = false;
};

/// Types whose entries are handed to a contiguous collection as one range. Packed booleans are none, as they are not
/// read into what the collection holds.
template <class T>
inline constexpr bool kHasRangeForm = tarn::kern::ContiguousValueType<T> && !std::is_same_v<T, bool>;

inline bool hasRangeForm(SerializationTag entryTag) {
  bool has = false;
  detail::visitStoredType(entryTag, [&has]<class T>(std::type_identity<T>) { has = kHasRangeForm<T>; });
  return has;
}

/// A property that the stream has named, and what is the same for all its values.
struct ParsedProperty {
  explicit ParsedProperty(const tarn::kern::meta::Property& named)
      : property(named),
        typeTag(tagOfType(named->getType())),
        hasRangeForm(nimbo::hasRangeForm(typeTag)),
        isOptional(named->lower == 0),
        isCollection(named->isCollection()),
        isPlainReference(typeTag == SerializationTag::MODEL_ELEMENT && !named->isComposite && !named->getOpposite()) {}

  tarn::kern::meta::Property property;
  SerializationTag typeTag;  ///< of the declared type
  bool hasRangeForm;         ///< of that type's entries
  bool isOptional;
  bool isCollection;
  bool isPlainReference;  ///< setting it changes no other property
};

/// What the ids of one payload stand for.
struct BinParserTables {
  IdTable<ParsedElement> elements;
  IdTable<tarn::kern::meta::Type> types;
  IdTable<std::shared_ptr<const ParsedProperty>> properties;
  /// Properties whose id was defined again: the value of one may still be being read, further up the stack.
  std::vector<std::shared_ptr<const ParsedProperty>> formerProperties;
  IdTable<tarn::kern::meta::EnumLiteral> enumLiterals;

  void clear() noexcept {
    elements.clear();
    types.clear();
    properties.clear();
    formerProperties.clear();
    enumLiterals.clear();
  }
};

}  // namespace quillon::nimbo
