#include <algorithm>
#include <span>

#include <bedrock/i18n.h>
#include <tarn/kern/Collections.h>

#include "PlainValues.h"
#include "StoredTypes.h"
#include "WriteRun.h"
#include "quillon/nimbo/BinSerializationException.h"
#include "quillon/nimbo/BinSerializer.h"

// The properties of elements and data values: each goes out as its plan says. Reading a property through a Value is
// right for all of them and is what defines the bytes; the other routes read in place, because most properties are
// plain values and a Value costs several times what writing its bytes does.
namespace quillon::nimbo {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using detail::PropertyPlan;
using detail::WriteRun;
using detail::writeTag;
using kern::ModelElement;
using kern::Value;
using Members = std::span<ModelElement::Impl* const>;
using Route = PropertyPlan::Route;
using Shape = PropertyPlan::Shape;

namespace {

/// The reader could not build what such a property holds.
void refuseWhatHasNoForm(const PropertyPlan& plan) {
  const char* reason = nullptr;
  switch (plan.refusal) {
    case PropertyPlan::Refusal::None:
      return;
    case PropertyPlan::Refusal::QualifiedNotComposite:
      reason = " is qualifiedby but not composite.";
      break;
    case PropertyPlan::Refusal::OppositeNotComposite:
      reason = " is not composite and has an opposite which is also not composite.";
      break;
  }
  throw BinSerializationException("Limitation: Property " + bedrock::i18n::ustring_to_utf8(plan.property->getName()) +
                                  reason);
}

Value read(const ModelElement::Impl& element, const PropertyPlan& plan) {
  return element.getPropertyValue(plan.property, kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
}

/// For a collection of storage kind 1: false if the entries are of another type after all.
bool writeStorage(StagedOutput& out, SerializationTag tag, const kern::PrimitiveCollection& entries) {
  bool written = false;
  detail::visitStoredType(tag, [&]<class T>(std::type_identity<T>) {
    if constexpr (kern::ContiguousValueType<T>) {
      detail::writeEntries(out, static_cast<const kern::TypedCollection<T>&>(entries).storage());
      written = true;
    }
  });
  return written;
}

bool isContiguous(const kern::PrimitiveCollection& entries) {
  return entries.getStorageKind() == kern::PrimitiveCollection::kContiguous;
}

}  // namespace

void BinSerializer::serializeProperty(WriteRun& run, ModelElement::Impl& element, PropertyPlan& plan) {
  refuseWhatHasNoForm(plan);
  switch (plan.route) {
    case Route::ThroughValue:
      serializePropertyValue(run, plan, read(element, plan));
      break;
    case Route::Object:
      serializeObject(run, element, plan);
      break;
    case Route::EnumNumber:
      serializeEnum(run, element, plan);
      break;
    case Route::Data:
      if (!serializeDataInPlace(run, element, plan)) serializePropertyValue(run, plan, read(element, plan));
      break;
    case Route::Element:
      serializeElement(run, element, plan);
      break;
    case Route::Elements:
      serializeElements(run, element, plan);
      break;
    case Route::FindStorage: {
      const Value value = read(element, plan);
      plan.route = isContiguous(value.toPrimitiveCollection()) ? Route::Contiguous : Route::ThroughValue;
      serializePropertyValue(run, plan, value);
      break;
    }
    case Route::Contiguous:
      serializeContiguous(run, element, plan);
      break;
  }
}

void BinSerializer::serializeDataTypeProperty(WriteRun& run, const kern::ReflectiveDataType& data, PropertyPlan& plan) {
  refuseWhatHasNoForm(plan);
  switch (plan.route) {
    case Route::Object:
      serializeObject(run, data, plan);
      break;
    case Route::EnumNumber:
      serializeEnum(run, data, plan);
      break;
    case Route::Data:
      if (!serializeDataInPlace(run, data, plan))
        serializePropertyValue(run, plan, data.getPropertyValue(plan.property));
      break;
    case Route::ThroughValue:
    case Route::Element:
    case Route::Elements:
    case Route::FindStorage:
    case Route::Contiguous:
      serializeDataTypeMember(run, data, plan);
      break;
  }
}

void BinSerializer::serializeDataTypeMember(WriteRun& run, const kern::ReflectiveDataType& data, PropertyPlan& plan) {
  const Value value = data.getPropertyValue(plan.property);
  if (plan.shape != Shape::ManyValues || plan.hasDefault() || isContiguous(value.toPrimitiveCollection())) {
    serializePropertyValue(run, plan, value);
    return;
  }
  // Entries may be data values with collections of their own: a copy per level would take the square of their depth.
  const std::span<const Value> entries = data.peekValues(plan.property);
  serializeReference(run, plan);
  writeTag(run.out, SerializationTag::COLLECTION);
  writeTag(run.out, plan.tag);
  run.out.write(std::uint64_t{entries.size()});
  for (const Value& entry : entries) serializeValue(run, plan.type(), plan.tag, entry, false);
}

void BinSerializer::serializePropertyValue(WriteRun& run, PropertyPlan& plan, const Value& value) {
  if (plan.hasDefault() && **plan.defaultValue == value) return;
  serializeReference(run, plan);
  switch (plan.shape) {
    case Shape::SingleElement: {
      const auto target = value.get<ModelElement>();
      writeTag(run.out, SerializationTag::MODEL_ELEMENT);
      serializeModelElement(run, target.get(), plan.composite);
      break;
    }
    case Shape::RequiredValue:
      writeTag(run.out, plan.tag);
      serializeValue(run, plan.type(), plan.tag, value, false);
      break;
    case Shape::OptionalValue:
      serializeValue(run, plan.type(), plan.tag, value, true);
      break;
    case Shape::ManyElements:
    case Shape::ManyValues:
      writeTag(run.out, SerializationTag::COLLECTION);
      writeTag(run.out, plan.tag);
      serializeMembers(run, plan, value);
      break;
  }
}

void BinSerializer::serializeMembers(WriteRun& run, const PropertyPlan& plan, const Value& value) {
  if (plan.shape == Shape::ManyElements) {
    const std::vector<ModelElement> elements = value.toElementCollection().getAllElements();
    run.out.write(std::uint64_t{elements.size()});
    for (const ModelElement& element : elements) serializeModelElement(run, element.get(), plan.composite);
    return;
  }
  const kern::PrimitiveCollection& entries = value.toPrimitiveCollection();
  if (isContiguous(entries) && writeStorage(run.out, plan.tag, entries)) return;
  run.out.write(std::uint64_t{entries.size()});
  for (const Value& entry : entries.getAllValues()) serializeValue(run, plan.type(), plan.tag, entry, false);
}

// --- How the stream refers to a property.

void BinSerializer::serializeReference(WriteRun& run, PropertyPlan& plan) {
  if (plan.reference != 0) {
    run.out.write(plan.reference);
    return;
  }
  serializeMetaProperty(run, plan.property);
  plan.reference = -static_cast<std::int64_t>(*fProperties.find(plan.property.get()));
}

void BinSerializer::serializeHead(WriteRun& run, PropertyPlan& plan, SerializationTag tag) {
  if (plan.reference != 0) {
    run.out.write(plan.reference, static_cast<char>(tag));
    return;
  }
  serializeReference(run, plan);
  writeTag(run.out, tag);
}

// --- Reading in place. `Source` is an element or a data value.

template <class Source>
void BinSerializer::serializeObject(WriteRun& run, const Source& source, PropertyPlan& plan) {
  detail::visitStoredType(plan.tag, [&]<class T>(std::type_identity<T>) {
    const T* const object = source.template peek<T>(plan.property);
    if (plan.equalsDefault(object)) return;
    if (object == nullptr && plan.shape == Shape::OptionalValue) {
      serializeHead(run, plan, SerializationTag::NONE);
    } else {
      serializeHead(run, plan, plan.tag);
      detail::writeObject(run.out, object);
    }
  });
}

template <class Source>
void BinSerializer::serializeEnum(WriteRun& run, const Source& source, PropertyPlan& plan) {
  const auto* const number = source.template peek<std::int64_t>(plan.property);
  if (plan.equalsDefault(number)) return;
  if (number == nullptr && plan.shape == Shape::OptionalValue) {
    serializeHead(run, plan, SerializationTag::NONE);
  } else {
    serializeHead(run, plan, SerializationTag::ENUM);
    serializeKnownLiteral(run, plan, number == nullptr ? 0 : *number);
  }
}

void BinSerializer::serializeKnownLiteral(WriteRun& run, PropertyPlan& plan, std::int64_t number) {
  for (const PropertyPlan::KnownLiteral& known : plan.literals) {
    if (known.number == number) {
      run.out.write(known.reference);
      return;
    }
  }
  const meta::EnumLiteral literal = kern::narrow<meta::Enum>(plan.type())->getLiteral(number);
  serializeMetaEnumLiteral(run, literal);
  constexpr std::size_t kFew = 8;  // more would take longer to search than the table of all literals
  if (plan.literals.size() < kFew) {
    plan.literals.push_back({number, -static_cast<std::int64_t>(*fEnumLiterals.find(literal.get()))});
  }
}

template <class Source>
bool BinSerializer::serializeDataInPlace(WriteRun& run, const Source& source, PropertyPlan& plan) {
  const auto* const data = source.template peek<kern::ReflectiveDataType>(plan.property);
  if (data == nullptr) return false;
  serializeHead(run, plan, SerializationTag::DATA_TYPE);
  serializeDataType(run, plan.type(), *data);
  return true;
}

void BinSerializer::serializeElement(WriteRun& run, const ModelElement::Impl& element, PropertyPlan& plan) {
  ModelElement::Impl* const target = element.peekElement(plan.property);
  serializeHead(run, plan, SerializationTag::MODEL_ELEMENT);
  serializeModelElement(run, target, plan.composite);
}

void BinSerializer::serializeElements(WriteRun& run, const ModelElement::Impl& element, PropertyPlan& plan) {
  const Members members = element.peekElements(plan.property);
  serializeHead(run, plan, SerializationTag::COLLECTION);
  writeTag(run.out, SerializationTag::MODEL_ELEMENT);
  run.out.write(std::uint64_t{members.size()});
  if (plan.composite) {
    serializeContained(run, element, plan, members.size());
  } else {
    serializeReferences(run, members);
  }
}

/// Targets lie anywhere in memory, so all that will be needed of a few of them is asked for at once.
void BinSerializer::serializeReferences(WriteRun& run, const Members& members) {
  constexpr std::size_t kAhead = 8;
  for (ModelElement::Impl* const member : members.first(std::min(kAhead, members.size()))) {
    fElements.prefetch(member);
    __builtin_prefetch(member);
  }
  for (std::size_t i = 0; i < members.size(); ++i) {
    if (i + kAhead < members.size()) fElements.prefetch(members[i + kAhead]);
    serializeModelElement(run, members[i], false);
  }
}

void BinSerializer::serializeContained(WriteRun& run, const ModelElement::Impl& element, const PropertyPlan& plan,
                                       std::size_t count) {
  for (std::size_t i = 0; i < count; ++i) {
    // Asked for anew each time: a custom serializer of the application may have run in between.
    const Members members = element.peekElements(plan.property);
    if (i + 1 < members.size()) fElements.prefetch(members[i + 1]);
    serializeModelElement(run, i < members.size() ? members[i] : nullptr, true);
  }
}

void BinSerializer::serializeContiguous(WriteRun& run, const ModelElement::Impl& element, PropertyPlan& plan) {
  detail::visitStoredType(plan.tag, [&]<class T>(std::type_identity<T>) {
    if constexpr (kern::ContiguousValueType<T>) {
      const std::vector<T>& entries = element.peekCollection<T>(plan.property);
      serializeHead(run, plan, SerializationTag::COLLECTION);
      writeTag(run.out, plan.tag);
      detail::writeEntries(run.out, entries);
    }
  });
}

}  // namespace quillon::nimbo
