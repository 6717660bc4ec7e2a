#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include <tarn/export.h>

/// The kernel's own failures. Every text names what was expected, what was found, where (element path and uuid, or
/// property), and what to try. A checked read of a Value fails with another exception: the cast failure of
/// bedrock/except.h. An operation that throws one of these has changed nothing.
namespace tarn::kern {

/// The base of all failures that the kernel raises on its own account.
class TARN_EXPORT KernelError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
  KernelError(const KernelError&) = default;
  KernelError& operator=(const KernelError&) = default;
  ~KernelError() override;
};

/// A property that the class lacks, that may not be read or written with the given access, or that has another shape.
class TARN_EXPORT PropertyError : public KernelError {
 public:
  using KernelError::KernelError;
  PropertyError(const PropertyError&) = default;
  PropertyError& operator=(const PropertyError&) = default;
  ~PropertyError() override;
};

/// An element that was destroyed, or whose model is gone, was read or written, or a null handle was used.
class TARN_EXPORT DestroyedElementError : public KernelError {
 public:
  using KernelError::KernelError;
  DestroyedElementError(const DestroyedElementError&) = default;
  DestroyedElementError& operator=(const DestroyedElementError&) = default;
  ~DestroyedElementError() override;
};

/// A change that would make an element contain itself, or tie elements of two models together.
class TARN_EXPORT ContainmentError : public KernelError {
 public:
  using KernelError::KernelError;
  ContainmentError(const ContainmentError&) = default;
  ContainmentError& operator=(const ContainmentError&) = default;
  ~ContainmentError() override;
};

/// An element cannot be made: the class is abstract, no class, or the uuid is taken.
class TARN_EXPORT InstantiationError : public KernelError {
 public:
  using KernelError::KernelError;
  InstantiationError(const InstantiationError&) = default;
  InstantiationError& operator=(const InstantiationError&) = default;
  ~InstantiationError() override;
};

/// A transaction ended out of order or twice, or undo and redo asked for at the wrong moment.
class TARN_EXPORT TransactionError : public KernelError {
 public:
  using KernelError::KernelError;
  TransactionError(const TransactionError&) = default;
  TransactionError& operator=(const TransactionError&) = default;
  ~TransactionError() override;
};

/// A change through a detached snapshot of a collection or map, which would be lost in silence.
class TARN_EXPORT SnapshotError : public KernelError {
 public:
  using KernelError::KernelError;
  SnapshotError(const SnapshotError&) = default;
  SnapshotError& operator=(const SnapshotError&) = default;
  ~SnapshotError() override;
};

/// A meta-model that contradicts itself or what is registered. Nothing of it was registered.
class TARN_EXPORT MetaModelError : public KernelError {
 public:
  explicit MetaModelError(std::vector<std::string> faults);
  MetaModelError(const MetaModelError&) = default;
  MetaModelError& operator=(const MetaModelError&) = default;
  ~MetaModelError() override;

  /// One text per fault, in the order of the definition.
  [[nodiscard]] const std::vector<std::string>& faults() const noexcept { return fFaults; }

 private:
  std::vector<std::string> fFaults;
};

}  // namespace tarn::kern
