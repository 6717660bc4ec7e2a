#include "MoneySerializer.h"

#include <cstdint>

namespace testsupport {

namespace kern = tarn::kern;
using quillon::nimbo::StreamIArchive;
using quillon::nimbo::StreamOArchive;

namespace {

const MoneySerializer kMoneySerializer(sampleMetaModel().type(u"Money"));

std::int64_t centsFrom(StreamIArchive& archive) {
  std::int64_t cents = 0;
  archive >> cents;
  return cents;
}

}  // namespace

void MoneySerializer::serialize(StreamOArchive& archive, const kern::Value& value) const {
  const auto* const money = value.peek<Money>();
  archive << (money == nullptr ? std::int64_t{0} : money->cents);
}

kern::Value MoneySerializer::parse(StreamIArchive& archive) const {
  return kern::Value(kern::ValueMeta(getType(), kern::ValueFlags::Single), Money{centsFrom(archive)});
}

std::string MoneySerializer::parseToJSON(StreamIArchive& archive) const { return std::to_string(centsFrom(archive)); }

const MoneySerializer& moneySerializer() { return kMoneySerializer; }

}  // namespace testsupport
