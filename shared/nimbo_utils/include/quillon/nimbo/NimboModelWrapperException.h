#pragma once

#include <exception>

#include "quillon/nimbo/export.h"

namespace quillon::nimbo {

/// What a model wrapper (internal/NimboModelWrapperBase.h) reports on its own account: a file that cannot be opened,
/// is not the wrapper's, or cannot be created, and a model without the root it must have. All else that its operations
/// throw comes from the binary form, the framework or the JSON library and passes through unchanged.
class NIMBO_EXPORT NimboModelWrapperException : public std::exception {
 public:
  /// The numbers are part of the interface.
  enum class Kind : int {
    NonExistingFile = 1,     ///< a file to be read cannot be opened
    InvalidBinaryFile = 2,   ///< a binary file does not begin with the wrapper's header
    FailedToCreateFile = 3,  ///< a file to be written cannot be opened
    RootNotFound = 4,        ///< there are top-level elements, but none is of the root's class
  };

  explicit NimboModelWrapperException(Kind kind) noexcept : Kind_(kind) {}
  NimboModelWrapperException(const NimboModelWrapperException&) noexcept = default;
  NimboModelWrapperException(NimboModelWrapperException&&) noexcept = default;
  NimboModelWrapperException& operator=(const NimboModelWrapperException&) noexcept = default;
  NimboModelWrapperException& operator=(NimboModelWrapperException&&) noexcept = default;
  ~NimboModelWrapperException() override;

  [[nodiscard]] Kind getKind() const noexcept { return Kind_; }
  /// One fixed text per kind.
  [[nodiscard]] const char* what() const noexcept override;

 private:
  Kind Kind_;  // named as its type is, which holds the name
};

}  // namespace quillon::nimbo
