#include "quillon/nimbo/CustomBinSerializerBase.h"

namespace quillon::nimbo {

// Static serializers register while static objects are still being made. A user of this shared library is initialised
// after it anyway; the priority keeps the order right where everything is linked into one program.
[[gnu::init_priority(101)]] CustomBinSerializerBase::Registry CustomBinSerializerBase::fCustomBinSerializerRegistry;

CustomBinSerializerBase::CustomBinSerializerBase(const tarn::kern::meta::Type& type) : fType(type) {
  fCustomBinSerializerRegistry.try_emplace(type, this);
}

CustomBinSerializerBase::CustomBinSerializerBase(const CustomBinSerializerBase& other) = default;

CustomBinSerializerBase& CustomBinSerializerBase::operator=(const CustomBinSerializerBase& other) = default;

CustomBinSerializerBase::~CustomBinSerializerBase() = default;

const CustomBinSerializerBase* CustomBinSerializerBase::getCustomBinSerializer(const tarn::kern::meta::Type& type) {
  const auto found = fCustomBinSerializerRegistry.find(type);
  return found == fCustomBinSerializerRegistry.end() ? nullptr : found->second;
}

}  // namespace quillon::nimbo
