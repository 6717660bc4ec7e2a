#pragma once

#include <compare>
#include <cstddef>

#include <tarn/kern/Handle.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/meta/Class.h>

#include "Layout.h"
#include "Slots.h"

namespace tarn::kern::internal {

/// The counted content of a ReflectiveDataType: one block, this header and the slots behind it. Live collections of the
/// instance share it by count; copies of the instance get a record of their own.
/// Element slots: Reference holds a ModelElement, Elements a std::vector<ModelElement>; targets that were destroyed
/// read as null. Maps are a StringToStringMap.
///
/// Data values may nest to any depth: copies, comparisons and hashes continue on fresh stack segments, and destruction
/// needs no stack at all.
class DataRecord final : public CountedImpl {
 public:
  /// With the defaults. The reference that comes with it is the caller's.
  [[nodiscard]] static DataRecord* create(const meta::DataType& type);
  /// A deep copy, likewise.
  [[nodiscard]] DataRecord* clone() const;

  [[nodiscard]] const meta::DataType& type() const noexcept { return fType; }
  [[nodiscard]] const Layout& layout() const noexcept { return fType->layout(); }
  [[nodiscard]] std::byte* area() noexcept { return reinterpret_cast<std::byte*>(this) + sizeof(DataRecord); }
  [[nodiscard]] const std::byte* area() const noexcept {
    return reinterpret_cast<const std::byte*>(this) + sizeof(DataRecord);
  }

  /// By content. @pre both are of one type.
  [[nodiscard]] bool equals(const DataRecord& other) const;
  [[nodiscard]] std::strong_ordering compare(const DataRecord& other) const;
  [[nodiscard]] std::size_t hash() const;

 private:
  class Maker;

  explicit DataRecord(const meta::DataType& type) noexcept;
  ~DataRecord() override;
  void lastHandleGone() const noexcept override;
  static void free(const DataRecord* record) noexcept;

  template <class Construct>
  static DataRecord* make(const meta::DataType& type, Construct construct);

  meta::DataType fType;
  mutable const DataRecord* fNextDoomed = nullptr;
};
// The slots follow the header directly, so its size must keep them aligned.
static_assert(sizeof(DataRecord) % kSlotAlignment == 0);

/// The element, or null when it was destroyed.
[[nodiscard]] ModelElement liveTarget(const ModelElement& element) noexcept;

}  // namespace tarn::kern::internal
