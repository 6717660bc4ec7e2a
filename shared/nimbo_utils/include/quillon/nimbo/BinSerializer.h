#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <iosfwd>
#include <span>
#include <unordered_map>
#include <vector>

#include <boost/optional.hpp>

#include <tarn/kern/ModelElement.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/Property.h>

#include "quillon/nimbo/BinFormat.h"
#include "quillon/nimbo/SerializationTag.h"
#include "quillon/nimbo/StreamOArchive.h"
#include "quillon/nimbo/detail/PtrMap.h"
#include "quillon/nimbo/export.h"

namespace quillon::nimbo {

namespace detail {
class WriteRun;        // one stream being written
struct PropertyPlan;   // what is written of one property
struct StructurePlan;  // what is written of a class or data type
}  // namespace detail

/// Writes elements, and all that they contain, into a container that BinParser reads. The bytes:
/// docs/formats/binary.md.
///
/// The given elements are the roots, wherever they stand in their model; their containers are not written. What can be
/// derived is left out: values equal to their property's default, omitted properties, the way back to the container. An
/// element that is referred to but not contained in what is written goes out as class and uuid only; the log tells of
/// each (a debug line, after the bytes are out).
///
/// Failures: BinSerializationException for what the form cannot hold ("Limitation: ...": a property that is qualified
/// but not composite, an opposite where neither end is composite, a custom type without serializer) and for values that
/// cannot be written (an optional data type, map or custom value; an enum number without literal). What models, custom
/// serializers and streams throw passes through. What was written before stays written: a part of the stream for "B",
/// the letter alone for "Z" and "z". A stream that fails without throwing is not noticed: its owner tests it.
///
/// The model is only read. An object can be used again and again; it keeps each property's default between runs.
/// Threads: one at a time; two threads use two objects.
class BinSerializer {
 public:
  // Exported one by one: the private operations call each other millions of times, which costs more when a user's
  // library could put its own in their place.
  NIMBO_EXPORT BinSerializer();
  NIMBO_EXPORT BinSerializer(const BinSerializer& other);
  NIMBO_EXPORT BinSerializer(BinSerializer&& other) noexcept;
  NIMBO_EXPORT BinSerializer& operator=(const BinSerializer& other);
  NIMBO_EXPORT BinSerializer& operator=(BinSerializer&& other) noexcept;
  NIMBO_EXPORT ~BinSerializer();

  /// Writes one container. A format that is none of BinFormat's letters leaves that byte on the stream and nothing
  /// else. A null element is written as such. The package URIs are those of the first element's model.
  NIMBO_EXPORT void serialize(const std::vector<tarn::kern::ModelElement>& elements, std::ostream& stream,
                              BinFormat format);
  NIMBO_EXPORT void serialize(const std::vector<tarn::kern::ModelElement>& elements, StreamOArchive& archive,
                              BinFormat format);

 private:
  /// In one word, since the table of elements is what a large model is looked up in.
  struct ElementEntry {
    std::uint64_t id : 63;
    bool full : 1;  ///< the properties have been written, or are being written, somewhere on the stream

    ElementEntry() = default;
    ElementEntry(std::uint64_t elementId, bool isFull) noexcept : id(elementId & kLargestId), full(isFull) {}
    static constexpr std::uint64_t kLargestId = ~std::uint64_t{0} >> 1U;
  };

  void reset();
  void serializeMetaEnumLiteral(detail::WriteRun& run, const tarn::kern::meta::EnumLiteral& metaEnumLit);
  void serializeMetaProperty(detail::WriteRun& run, const tarn::kern::meta::Property& metaProp);
  void serializeMetaType(detail::WriteRun& run, const tarn::kern::meta::Type& metaType);
  void serializeModelElement(detail::WriteRun& run, tarn::kern::ModelElement::Impl* element, bool full);
  void serializeValue(detail::WriteRun& run, const tarn::kern::meta::Type& type, SerializationTag tag,
                      const tarn::kern::Value& value, bool isOptional);
  void serializeProperty(detail::WriteRun& run, tarn::kern::ModelElement::Impl& element, detail::PropertyPlan& plan);
  void serializeDataTypeProperty(detail::WriteRun& run, const tarn::kern::ReflectiveDataType& data,
                                 detail::PropertyPlan& plan);

  void serializeBinaryContainer(const std::vector<tarn::kern::ModelElement>& elements, StreamOArchive& archive,
                                BinFormat letter);
  void serializeStream(const std::vector<tarn::kern::ModelElement>& elements, StreamOArchive& archive);
  void serializeRoots(detail::WriteRun& run, const std::vector<tarn::kern::ModelElement>& elements);
  void reportDanglingReferences() const;

  void serializeTypeReference(detail::WriteRun& run, const tarn::kern::meta::Type& type, detail::StructurePlan& plan);
  void serializeReference(detail::WriteRun& run, detail::PropertyPlan& plan);
  void serializeHead(detail::WriteRun& run, detail::PropertyPlan& plan, SerializationTag tag);
  void serializePropertyValue(detail::WriteRun& run, detail::PropertyPlan& plan, const tarn::kern::Value& value);
  void serializeMembers(detail::WriteRun& run, const detail::PropertyPlan& plan, const tarn::kern::Value& value);
  template <class Source>
  void serializeObject(detail::WriteRun& run, const Source& source, detail::PropertyPlan& plan);
  template <class Source>
  void serializeEnum(detail::WriteRun& run, const Source& source, detail::PropertyPlan& plan);
  template <class Source>
  bool serializeDataInPlace(detail::WriteRun& run, const Source& source, detail::PropertyPlan& plan);
  void serializeElement(detail::WriteRun& run, const tarn::kern::ModelElement::Impl& element,
                        detail::PropertyPlan& plan);
  void serializeElements(detail::WriteRun& run, const tarn::kern::ModelElement::Impl& element,
                         detail::PropertyPlan& plan);
  void serializeReferences(detail::WriteRun& run, const std::span<tarn::kern::ModelElement::Impl* const>& members);
  void serializeContained(detail::WriteRun& run, const tarn::kern::ModelElement::Impl& element,
                          const detail::PropertyPlan& plan, std::size_t count);
  void serializeContiguous(detail::WriteRun& run, const tarn::kern::ModelElement::Impl& element,
                           detail::PropertyPlan& plan);

  void serializeDataTypeMember(detail::WriteRun& run, const tarn::kern::ReflectiveDataType& data,
                               detail::PropertyPlan& plan);
  void serializeKnownLiteral(detail::WriteRun& run, detail::PropertyPlan& plan, std::int64_t number);
  void serializeLiteralOf(detail::WriteRun& run, const tarn::kern::meta::Type& type, std::int64_t number);
  void serializeDataType(detail::WriteRun& run, const tarn::kern::meta::Type& type,
                         const tarn::kern::ReflectiveDataType& data);
  void serializeNative(detail::WriteRun& run, const tarn::kern::meta::Type& type, const tarn::kern::Value& value);

  std::uint64_t fElementCount = 0;  ///< the highest id handed out; likewise below
  detail::PtrMap<tarn::kern::ModelElement, ElementEntry> fElements;
  std::uint64_t fTypeCount = 0;
  detail::PtrMap<tarn::kern::meta::Type, std::uint64_t> fTypes;
  std::uint64_t fPropertyCount = 0;
  detail::PtrMap<tarn::kern::meta::Property, std::uint64_t> fProperties;
  std::unordered_map<tarn::kern::meta::Property, boost::optional<tarn::kern::Value>> fDefaultValues;
  std::uint64_t fEnumLiteralCount = 0;
  detail::PtrMap<tarn::kern::meta::EnumLiteral, std::uint64_t> fEnumLiterals;
};

}  // namespace quillon::nimbo
