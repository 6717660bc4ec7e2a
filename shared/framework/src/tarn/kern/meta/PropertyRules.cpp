#include "PropertyRules.h"

#include <optional>
#include <string>
#include <utility>

#include <bedrock/except.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "../Layout.h"
#include "../NearestName.h"
#include "../Slots.h"

namespace tarn::kern::meta::internal {

using Kind = ModelElement::Impl::Kind;

namespace {

bool isSingle(const Property::Impl& property) noexcept { return !property.isCollection(); }

/// `"y" of class "library.Book"`.
std::string nameWithOwner(const ustring& name, const Type& owner) { return quoted(name) + " of " + describe(owner); }

/// The rules, one function each. Each finds at most one fault.
class PropertyRules {
 public:
  PropertyRules(Draft& draft, const PropertyDraft& property)
      : fDraft(draft), fProperty(property), fSpec(*property.spec), fRecord(*property.record) {}

  void apply() {
    checkBounds();
    checkDeclaration();
    checkUniqueness();
    tieOpposite();
    tieQualifier();
    applyDefault();
  }

 private:
  [[nodiscard]] const Type& type() const noexcept { return fRecord.getType(); }
  [[nodiscard]] std::string typeName() const { return quoted(type()->getQualifiedName()); }
  [[nodiscard]] Type owner() const { return Type(fProperty.owner->record); }
  [[nodiscard]] bool isInDataType() const noexcept { return owner()->kind() == Kind::DataType; }
  void fault(const std::string& text) { fDraft.faults.add(fProperty.place, describe(fProperty) + ": " + text); }

  void checkBounds() {
    if (fRecord.lower <= fRecord.upper) return;
    fault("the lower bound " + std::to_string(fRecord.lower) + " is above the upper bound " +
          std::to_string(fRecord.upper));
  }

  void checkDeclaration() {
    const std::string typeIs = "the type " + typeName() + " is " + kindOf(type());
    if (!fRecord.isReference() && fRecord.isComposite) {
      fault(typeIs + ": only elements of a class can be owned, so declare an attribute");
    } else if (!fRecord.isReference() && fSpec.isDeclaredAsReference) {
      fault(typeIs + ": only elements of a class can be referred to, so declare an attribute");
    } else if (isInDataType() && fRecord.isComposite) {
      fault("a data type is a value and cannot own elements: drop composite()");
    } else if (!isInDataType() && fRecord.isReference() && !fSpec.isDeclaredAsReference) {
      fault(typeIs + ": say whether the property refers to its target or owns it, by reference() or composite()");
    }
  }

  void checkUniqueness() {
    if (!fRecord.isReference() || fRecord.isUnique || isSingle(fRecord)) return;
    if (fRecord.isComposite) fault("an element is owned once, so a composite collection is always unique");
    if (!fRecord.isComposite && fSpec.opposite) fault("a collection that has an opposite is always unique");
  }

  void tieOpposite();
  [[nodiscard]] std::string faultOfOpposite(const Property& opposite) const;
  void tieQualifier();
  void applyDefault();
  [[nodiscard]] std::optional<Value> defaultFromText(const ustring& text);
  [[nodiscard]] std::optional<Value> customDefaultFromText(const PrimitiveType& custom, const ustring& text);
  [[nodiscard]] std::string faultOfDefault(const Value& value) const;
  void checkZeroOfEnum();

  /// The class that the property points at does not know all its properties: nothing can be said of what it lacks.
  [[nodiscard]] bool targetIsIncomplete() const {
    const auto at = fDraft.byRecord.find(type().get());
    return at != fDraft.byRecord.end() && at->second->lacksSupertypes;
  }
  [[nodiscard]] std::string suggestionInTarget(const ustring& name) const {
    if (!fDraft.faults.areFew()) return {};
    kern::internal::NearestName nearest(name);
    for (const Property& known : narrow<Class>(type())->getAllProperties()) nearest.offer(known->getName());
    return nearest.suggestion();
  }

  Draft& fDraft;
  const PropertyDraft& fProperty;
  const PropertySpec& fSpec;
  Property::Impl& fRecord;
};

void PropertyRules::tieOpposite() {
  if (!fSpec.opposite) return;
  if (isInDataType()) return fault("a data type is a value that nothing can refer back to: drop opposite()");
  if (!fRecord.isReference()) return fault("only a property of a class type has an opposite: drop opposite()");
  const Property opposite = narrow<Class>(type())->getProperty(*fSpec.opposite);
  if (opposite) {
    if (const std::string wrong = faultOfOpposite(opposite); !wrong.empty()) return fault(wrong);
    MetaFactory::setOpposite(fRecord, opposite);
  } else if (!targetIsIncomplete()) {
    fault("the opposite " + nameWithOwner(*fSpec.opposite, type()) + " does not exist" +
          suggestionInTarget(*fSpec.opposite));
  }
}

std::string PropertyRules::faultOfOpposite(const Property& opposite) const {
  const std::string itsOpposite = "the opposite " + nameWithOwner(opposite->getName(), type());
  if (opposite.get() == &fRecord) return "a property cannot be its own opposite: declare another one for the way back";
  const auto draft = fDraft.byProperty.find(opposite.get());
  if (draft == fDraft.byProperty.end() || draft->second->owner->record != type().get()) {
    // Inherited, copied, or registered before.
    const StructuredType declaring = (opposite->getOrigin() ? opposite->getOrigin() : opposite)->getOwner();
    if (declaring != type()) {
      return itsOpposite + " is declared by " + describe(declaring) + ": the type must be that class";
    }
    return itsOpposite + " is registered already and does not point back";
  }
  const PropertySpec& back = *draft->second->spec;
  if (!back.opposite) return itsOpposite + " names no opposite: both ends must name each other";
  if (*back.opposite != fRecord.getName()) {
    return itsOpposite + " names " + quoted(*back.opposite) + " as its own opposite: both ends must name each other";
  }
  const Type& backType = opposite->getType();
  if (backType && opposite->isReference() && backType != owner()) {
    return itsOpposite + " has the type " + quoted(backType->getQualifiedName()) + ", which is not " +
           describe(owner()) + ", where this property is declared";
  }
  const bool isFirstOfBoth = fProperty.place < draft->second->place;
  if (fRecord.isComposite && opposite->isComposite && isFirstOfBoth) {
    return "it and its opposite " + nameWithOwner(opposite->getName(), type()) +
           " are both composite: only one end can own the other";
  }
  if (!fRecord.isComposite && opposite->isComposite && !isSingle(fRecord)) {
    return itsOpposite + " is composite, so this property must be single-valued: an element has one container";
  }
  return {};
}

void PropertyRules::tieQualifier() {
  if (!fSpec.qualifiedBy) return;
  if (isInDataType()) return fault("an attribute of a data type cannot be qualified: drop qualifiedBy()");
  if (!fRecord.isReference()) return fault("only a property of a class type can be qualified: drop qualifiedBy()");
  if (isSingle(fRecord)) {
    return fault("a qualifier tells the members of a collection apart, but the property is single-valued");
  }
  const Property qualifier = narrow<Class>(type())->getProperty(*fSpec.qualifiedBy);
  if (qualifier && qualifier->isCollection()) {
    fault("the qualifier " + nameWithOwner(*fSpec.qualifiedBy, type()) + " is a collection: a key is a single value");
  } else if (qualifier) {
    MetaFactory::setQualifier(fRecord, qualifier);
  } else if (!targetIsIncomplete()) {
    fault("the qualifier " + nameWithOwner(*fSpec.qualifiedBy, type()) + " does not exist" +
          suggestionInTarget(*fSpec.qualifiedBy));
  }
}

void PropertyRules::applyDefault() {
  if (!fSpec.defaultValue && !fSpec.defaultText) return checkZeroOfEnum();
  if (fRecord.isReference()) return fault("a property of a class type has no default");
  if (!isSingle(fRecord)) return fault("a collection has no default: it always starts empty");
  if (type() == StandardTypes::stringToStringMapMeta) return fault("a map has no default: it always starts empty");
  std::optional<Value> value;
  if (fSpec.defaultText) {
    value = defaultFromText(*fSpec.defaultText);
    if (!value) return;
  } else {
    value = *fSpec.defaultValue;
  }
  if (const std::string wrong = faultOfDefault(*value); !wrong.empty()) return fault(wrong);
  MetaFactory::setDefault(fRecord, std::move(*value));
}

std::optional<Value> PropertyRules::defaultFromText(const ustring& text) {
  const PrimitiveType primitive = narrow<PrimitiveType>(type());
  if (primitive && !primitive->isStandard()) return customDefaultFromText(primitive, text);
  const Enum ofLiterals = narrow<Enum>(type());
  if (!ofLiterals) return Value(text);
  const auto literal = ofLiterals->getLiterals().find(text);
  if (literal != ofLiterals->getLiterals().end()) return Value::createEnumValue(literal->second);
  fault("the default " + quoted(text) + " is no literal of " + describe(type()) +
        (fDraft.faults.areFew() ? kern::internal::suggestionAmong(ofLiterals->getLiterals(), text) : std::string()));
  return std::nullopt;
}

std::optional<Value> PropertyRules::customDefaultFromText(const PrimitiveType& custom, const ustring& text) {
  try {
    return custom->fromText(text);
  } catch (const std::exception& error) {
    fault("the default " + quoted(text) + " is no text form of " + describe(Type(custom)) + ": " + error.what());
    return std::nullopt;
  }
}

std::string PropertyRules::faultOfDefault(const Value& value) const {
  if (value.getType() != type()) {
    return "the default is of the type " + quoted(value.getType()->getQualifiedName()) + ", but the property of " +
           typeName();
  }
  if (value.getMeta().upper != 1) return "the default is a collection, but the property is single-valued";
  if (!value.hasObject()) return "the default holds nothing: without a default the property is absent anyway";
  kern::internal::SlotInfo slot;
  slot.property = &fRecord;
  slot.storage = kern::internal::storageTypeOf(type());
  try {
    static_cast<void>(kern::internal::normalised(slot, value, true));
  } catch (const bedrock::except::IMsgIDException&) {
    return "the default holds an object of another C++ type than values of " + typeName() + " hold";
  }
  return {};
}

/// A value that is required but absent is written as the zero of its type. An enum without a literal for 0 has none.
void PropertyRules::checkZeroOfEnum() {
  const Enum type = narrow<Enum>(fRecord.getType());
  if (!type || fRecord.lower == 0 || !isSingle(fRecord) || type->getLiteral(0)) return;
  fault("a required value of " + describe(type) +
        " needs a default: the enum has no literal 0 that could stand for a value not set yet");
}

/// What the binary format cannot hold as an absent value.
bool lacksAbsentForm(const Property::Impl& property) {
  switch (kern::internal::storageTypeOf(property.getType())) {
    case StorageType::Map:
    case StorageType::Data:
    case StorageType::Custom:
      return true;
    default:
      return false;
  }
}

}  // namespace

void applyPropertyRules(Draft& draft, const PropertyDraft& property) { PropertyRules(draft, property).apply(); }

void warnAboutProperty(Draft& draft, const PropertyDraft& property) {
  const Property::Impl& record = *property.record;
  if (record.isOmitted) return;
  const auto warn = [&](const std::string& text) {
    draft.warnings.add(property.place, describe(property) + ": " + text);
  };
  if (record.lower == 0 && isSingle(record) && lacksAbsentForm(record)) {
    warn("the binary format cannot hold an optional single value of " + describe(record.getType()) +
         ": make it required(), or derived() or transient()");
  }
  if (record.isComposite) return;
  if (record.getQualifiedBy()) {
    warn("the binary format cannot hold a qualified reference that is not composite: drop qualifiedBy(), or make it " +
         std::string("derived() or transient()"));
  } else if (const Property& opposite = record.getOpposite(); opposite && !opposite->isComposite) {
    const auto back = draft.byProperty.find(opposite.get());
    const bool isToldThere =
        back != draft.byProperty.end() && back->second->place < property.place && !opposite->isOmitted;
    if (isToldThere) return;
    warn("the binary format cannot hold it and its opposite " + nameWithOwner(opposite->getName(), record.getType()) +
         ", as neither is composite: make one of them composite(), or both derived() or transient()");
  }
}

}  // namespace tarn::kern::meta::internal
