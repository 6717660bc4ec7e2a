#pragma once

#include <string>

#include <tarn/kern/Value.h>

#include "TestMetaModel.h"
#include "quillon/nimbo/CustomBinSerializerBase.h"

namespace testsupport {

/// Writes a Money as its cents, in 8 bytes.
class MoneySerializer : public quillon::nimbo::CustomBinSerializerBase {
 public:
  using CustomBinSerializerBase::CustomBinSerializerBase;

  void serialize(quillon::nimbo::StreamOArchive& archive, const tarn::kern::Value& value) const override;
  tarn::kern::Value parse(quillon::nimbo::StreamIArchive& archive) const override;
  std::string parseToJSON(quillon::nimbo::StreamIArchive& archive) const override;
};

/// The one that is registered for the type Money of "sample": a static object, as applications have it.
const MoneySerializer& moneySerializer();

}  // namespace testsupport
