#pragma once

#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/Property.h>

#include "IdTable.h"
#include "quillon/nimbo/SerializationTag.h"

namespace quillon::nimbo {

/// An element that the stream has named.
struct ParsedElement {
  tarn::kern::ModelElement element;
  /// Nothing more must arrive: it was in the model before, or its contents have been met. False at the end of the
  /// stream makes the element dangling.
  bool defined = false;
};

/// A property that the stream has named, and what is the same for all its values.
struct ParsedProperty {
  tarn::kern::meta::Property property;  ///< null ends a list of properties
  SerializationTag typeTag = SerializationTag::NONE;
};

/// What the ids of one payload stand for.
struct BinParserTables {
  IdTable<ParsedElement> elements;
  IdTable<tarn::kern::meta::Type> types;
  IdTable<ParsedProperty> properties;
  IdTable<tarn::kern::meta::EnumLiteral> enumLiterals;

  void clear() noexcept {
    elements.clear();
    types.clear();
    properties.clear();
    enumLiterals.clear();
  }
};

}  // namespace quillon::nimbo
