#pragma once

#include <cstdint>
#include <string>

#include <tarn/export.h>
#include <tarn/kern/Errors.h>

namespace strata {

/// A store that cannot be bound, read or written. The text begins with the file's path and says what was expected, what
/// was found and what to do. Where nothing else is said, the file is byte for byte what it was before.
class TARN_EXPORT StoreError : public tarn::kern::KernelError {
 public:
  enum class Kind : std::uint8_t {
    Location,        ///< no path, a path that holds a NUL, a missing folder, a folder instead of a file, no permission
    Foreign,         ///< a file that is no store: not SQLite at all, or another application's database
    Damaged,         ///< a store that is cut off or contradicts itself
    Newer,           ///< written by a newer version of this library, or with newer packages than those registered
    Stale,           ///< written with older packages, and they could not or should not be evolved
    UnknownPackage,  ///< needs packages that are not registered
    MetaModel,       ///< the packages bear the same URIs and yet differ from those the store was written with
    Locked,          ///< another model or process has it
    ReadOnly,        ///< a change is to be written to a file that may only be read
    BothFilled,      ///< neither the model nor the store is empty, so that one of them would be lost
    AlreadyBound,    ///< the model is bound to a store, or inside a transaction
    Full,            ///< no room on the disk
    Io,              ///< the system reported a failure while reading or writing
  };

  StoreError(Kind kind, const std::string& path, const std::string& text);
  StoreError(const StoreError&) = default;
  StoreError& operator=(const StoreError&) = default;
  ~StoreError() override;

  [[nodiscard]] Kind kind() const noexcept { return fKind; }

 private:
  Kind fKind;
};

}  // namespace strata
