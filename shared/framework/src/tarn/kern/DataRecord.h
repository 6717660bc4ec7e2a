#pragma once

#include <cstddef>

#include <tarn/kern/Handle.h>
#include <tarn/kern/ReflectiveDataType.h>

#include "Layout.h"
#include "Slots.h"

namespace tarn::kern::internal {

/// The counted content of a ReflectiveDataType: one block, this header and the slots behind it. Live collections of the
/// instance share it by count; copies of the instance get a record of their own.
/// Element slots: Reference holds a ModelElement, Elements a std::vector<ModelElement>; targets that were destroyed read
/// as null.
class DataRecord final : public CountedImpl {
 public:
  [[nodiscard]] static DataRecord* create(const Layout& layout);
  /// A deep copy; continues on fresh stack segments, so that values may nest to any depth.
  [[nodiscard]] DataRecord* clone() const;

  [[nodiscard]] const Layout& layout() const noexcept { return fLayout; }
  [[nodiscard]] std::byte* area() noexcept { return reinterpret_cast<std::byte*>(this) + sizeof(DataRecord); }
  [[nodiscard]] const std::byte* area() const noexcept {
    return reinterpret_cast<const std::byte*>(this) + sizeof(DataRecord);
  }

 private:
  explicit DataRecord(const Layout& layout) noexcept;
  ~DataRecord() override;
  void lastHandleGone() const noexcept override;

  const Layout& fLayout;
};
// The slots follow the header directly, so its size must keep them aligned.
static_assert(sizeof(DataRecord) % alignof(std::max_align_t) == 0 || sizeof(DataRecord) % 8 == 0);

}  // namespace tarn::kern::internal
