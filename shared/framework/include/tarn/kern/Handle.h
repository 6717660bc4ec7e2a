#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <utility>

#include <tarn/export.h>

/// Counted handles: one pointer to a shared record, null by default, equal when the pointers are equal.
///
/// Copying a handle names the same record, moving leaves the source null, copying a null handle takes no reference.
/// The count is a plain number: handles to the content of one model belong to one thread at a time. Records of the
/// meta-model are immortal: they live as long as the process and their count is never written, so any number of threads
/// may copy handles to them. The test for that costs less than an atomic count (docs/decisions/0001-kernel-cost.md).
namespace tarn::kern {

namespace internal {

/// The counted base of every record behind a handle.
class TARN_EXPORT CountedImpl {
 public:
  CountedImpl(const CountedImpl&) = delete;
  CountedImpl& operator=(const CountedImpl&) = delete;

  void addRef() const noexcept {
    if (fRefs >= 0) ++fRefs;
  }
  /// What kind of owner a live collection meets behind a record.
  enum class RecordKind : std::uint8_t { Element, Data, Snapshot, Other };
  [[nodiscard]] RecordKind recordKind() const noexcept { return fRecordKind; }

  void release() const noexcept {
    if (fRefs >= 0 && --fRefs == 0 && fFreedWithLastHandle) lastHandleGone();
  }

 protected:
  CountedImpl() noexcept = default;
  virtual ~CountedImpl();

  /// Called when no handle is left and the record asked to be told.
  virtual void lastHandleGone() const noexcept;

  void makeImmortal() noexcept { fRefs = kImmortal; }
  [[nodiscard]] bool isHeld() const noexcept { return fRefs != 0; }

  static constexpr std::int32_t kImmortal = -1;

  mutable std::int32_t fRefs = 0;
  bool fFreedWithLastHandle = false;
  RecordKind fRecordKind = RecordKind::Other;
};

}  // namespace internal

/// What all handles share. Use the typed handles; this base only keeps the count.
class HandleBase {
 public:
  [[nodiscard]] explicit operator bool() const noexcept { return fRecord != nullptr; }

 protected:
  constexpr HandleBase() noexcept = default;
  explicit HandleBase(internal::CountedImpl* record) noexcept : fRecord(record) { addRef(); }
  HandleBase(const HandleBase& other) noexcept : fRecord(other.fRecord) { addRef(); }
  HandleBase(HandleBase&& other) noexcept : fRecord(std::exchange(other.fRecord, nullptr)) {}
  HandleBase& operator=(const HandleBase& other) noexcept {
    HandleBase copy(other);
    std::swap(fRecord, copy.fRecord);
    return *this;
  }
  HandleBase& operator=(HandleBase&& other) noexcept {
    HandleBase taken(std::move(other));
    std::swap(fRecord, taken.fRecord);
    return *this;
  }
  ~HandleBase() {
    if (fRecord != nullptr) fRecord->release();
  }

  internal::CountedImpl* fRecord = nullptr;

 private:
  void addRef() const noexcept {
    if (fRecord != nullptr) fRecord->addRef();
  }
};

/// Mixes a record's address into a 64-bit hash: the low bits of addresses carry little.
[[nodiscard]] inline std::size_t hashOfAddress(const void* address) noexcept {
  auto bits = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(address));
  bits ^= bits >> 32U;
  bits *= 0x9E3779B97F4A7C15ULL;
  return static_cast<std::size_t>(bits ^ (bits >> 29U));
}

}  // namespace tarn::kern
