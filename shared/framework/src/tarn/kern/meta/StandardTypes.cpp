#include <cstddef>

#include <tarn/kern/ValueTyped.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "KernelTypes.h"

namespace tarn::kern::meta {

// Constant-initialised, so that filling them is never undone by a constructor that runs later. The registry fills them.
constinit StandardTypeWrapper<StringMetaNameParameter> StandardTypes::stringMeta;
constinit StandardTypeWrapper<StdstringMetaNameParameter> StandardTypes::stdstringMeta;
constinit StandardTypeWrapper<IntegerMetaNameParameter> StandardTypes::integerMeta;
constinit StandardTypeWrapper<Integer8MetaNameParameter> StandardTypes::integer8Meta;
constinit StandardTypeWrapper<Integer16MetaNameParameter> StandardTypes::integer16Meta;
constinit StandardTypeWrapper<Integer64MetaNameParameter> StandardTypes::integer64Meta;
constinit StandardTypeWrapper<Uinteger8MetaNameParameter> StandardTypes::uinteger8Meta;
constinit StandardTypeWrapper<Uinteger16MetaNameParameter> StandardTypes::uinteger16Meta;
constinit StandardTypeWrapper<Uinteger64MetaNameParameter> StandardTypes::uinteger64Meta;
constinit StandardTypeWrapper<UnlimitedNaturalMetaNameParameter> StandardTypes::unlimitedNaturalMeta;
constinit StandardTypeWrapper<RealMetaNameParameter> StandardTypes::realMeta;
constinit StandardTypeWrapper<BooleanMetaNameParameter> StandardTypes::booleanMeta;
constinit StandardTypeWrapper<UuidMetaNameParameter> StandardTypes::uuidMeta;
constinit StandardTypeWrapper<DateTimeMetaNameParameter> StandardTypes::dateTimeMeta;
constinit StandardTypeWrapper<StringToStringMapMetaNameParameter> StandardTypes::stringToStringMapMeta;

PrimitiveType internal::getPrimitiveTypeFromMetaRegistry(const char16_t* name) {
  if (name == nullptr) return nullptr;
  return narrow<PrimitiveType>(MetaRegistry::getInstance()->getType(name));
}

}  // namespace tarn::kern::meta

namespace tarn::kern::internal {

const meta::PrimitiveType& standardTypeOf(StorageType storage) noexcept {
  return meta::internal::kernelTypes().standard[static_cast<std::size_t>(storage)];
}

}  // namespace tarn::kern::internal
