#pragma once

#include <utility>

#include <bedrock/i18n.h>
#include <resource_core/BaseMsgID.h>
#include <tarn/export.h>

/// The messages of the catalogue "nimbo:messages".
namespace nimbo::messages {

/// A value was read as something that its type does not allow, or holds nothing where something is required.
class TARN_EXPORT CannotCastIncompatibleTypes : public resource_core::BaseMsgID {
 public:
  /// @param valueTypeName qualified name of the type that the value has (not of the type that was asked for).
  explicit CannotCastIncompatibleTypes(bedrock::i18n::ustring valueTypeName)
      : BaseMsgID("nimbo:messages", "CannotCastIncompatibleTypes", {std::move(valueTypeName)}) {}
};

}  // namespace nimbo::messages
