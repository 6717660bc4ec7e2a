#pragma once

#include <string>

#include <tarn/export.h>
#include <tarn/kern/io/ParseError.h>

namespace tarn::kern::ecore {

/// An Ecore document that cannot be taken as a meta-model: no Ecore, a reference to nothing, a class that derives from
/// itself. The text names file, line and fault. Nothing was registered.
class TARN_EXPORT EcoreError : public io::ParseError {
 public:
  using io::ParseError::ParseError;
  EcoreError(const EcoreError&) = default;
  EcoreError& operator=(const EcoreError&) = default;
  ~EcoreError() override;
};

}  // namespace tarn::kern::ecore
