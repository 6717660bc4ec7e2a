#pragma once

#include <cstdint>
#include <unordered_map>
#include <vector>

#include <boost/optional.hpp>

#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Property.h>

#include "StoredTypes.h"
#include "quillon/nimbo/SerializationTag.h"

namespace quillon::nimbo::detail {

/// Each property's default, fetched at first need.
using DefaultValues = std::unordered_map<tarn::kern::meta::Property, boost::optional<tarn::kern::Value>>;

/// How one property goes out. Everything that depends on the property alone is worked out once per stream, so that per
/// element only the value is looked at.
struct PropertyPlan {
  /// What the binary form has no place for. It is found out when the first element with such a property is written,
  /// after the properties before it.
  enum class Refusal : std::uint8_t { None, QualifiedNotComposite, OppositeNotComposite };

  enum class Shape : std::uint8_t { SingleElement, RequiredValue, OptionalValue, ManyElements, ManyValues };

  /// Where an element's value is taken from. All ways give the same bytes. Reading through a Value is right for every
  /// property; the others read the element's storage in place, because a Value costs several times what writing does.
  enum class Route : std::uint8_t {
    ThroughValue,
    Object,       ///< a single plain value
    EnumNumber,   ///< a single enum value
    Data,         ///< a single structured value
    Element,      ///< a single reference or contained element
    Elements,     ///< a collection of them
    FindStorage,  ///< a collection of values; how it is stored shows at the first one
    Contiguous,   ///< a collection of values in one typed vector
  };

  /// How the stream refers to the literal of a number.
  struct KnownLiteral {
    std::int64_t number;
    std::int64_t reference;
  };

  tarn::kern::meta::Property property;
  const boost::optional<tarn::kern::Value>* defaultValue;  ///< lies in the DefaultValues
  const void* defaultObject;  ///< what the default holds, for the routes Object and EnumNumber; nullptr: nothing
  std::int64_t reference;     ///< how the stream refers to the property; 0 until its name is on the stream
  SerializationTag tag;       ///< of the declared type
  Refusal refusal;
  Shape shape;
  Route route;
  bool composite;
  std::vector<KnownLiteral> literals;  ///< those of an enum that were written lately; never many

  /// The declared one; a value's own may be a subclass.
  [[nodiscard]] const tarn::kern::meta::Type& type() const noexcept { return property->getType(); }
  [[nodiscard]] bool hasDefault() const noexcept { return defaultValue->has_value(); }

  /// For the routes Object and EnumNumber: the same answer as comparing Values. nullptr is an absent value.
  template <class T>
  [[nodiscard]] bool equalsDefault(const T* object) const {
    return hasDefault() && areEqualStored(object, static_cast<const T*>(defaultObject));
  }
};

/// What is written of a class or data type.
struct StructurePlan {
  std::vector<PropertyPlan> properties;  ///< in the order on the stream
  std::int64_t typeReference = 0;        ///< as PropertyPlan::reference
};

/// Own properties by name, then those of the superclass, and so on. Omitted properties and the way back to the
/// container are left out. The plans point into `defaults`, which must neither lose entries nor die before them.
[[nodiscard]] StructurePlan makePlan(const tarn::kern::meta::Class& type, DefaultValues& defaults);

/// A data type's own properties by name.
[[nodiscard]] StructurePlan makePlan(const tarn::kern::meta::DataType& type, DefaultValues& defaults);

}  // namespace quillon::nimbo::detail
