#include "JsonValues.h"

#include <tarn/kern/DateTimeUtils.h>

#include "KnownNames.h"

namespace tarn::kern::io::json {

bool boolean(const JsonNode& node) {
  if (!node.isBoolean()) node.fail("true or false");
  return node.kind() == JsonKind::True;
}

double real(const JsonNode& node) {
  if (node.isNumber()) {
    if (const auto number = readReal(node.raw())) return *number;
    node.fail("a number within the range of a Real");
  }
  if (node.isNull()) return std::numeric_limits<double>::quiet_NaN();
  if (node.isString()) {
    if (const auto number = specialRealNamed(node.utf8())) return *number;
  }
  node.fail(R"(a number, "NaN", "inf" or "-inf")");
}

ustring string(const JsonNode& node) {
  if (!node.isString()) node.fail("a text");
  return node.text();
}

std::string bytes(const JsonNode& node) {
  if (!node.isString()) node.fail("a text");
  if (node.isVerbatim()) return std::string(node.raw());
  if (auto bytes = bytesOf(node.text())) return *std::move(bytes);
  node.fail("a text of bytes, in which only U+DC80 to U+DCFF may stand alone");
}

boost::uuids::uuid uuid(const JsonNode& node) {
  if (node.isString()) {
    if (const auto uuid = node.isVerbatim() ? readUuid(node.raw()) : readUuid(node.utf8())) return *uuid;
  }
  node.fail(R"(a uuid such as "00112233-4455-6677-8899-aabbccddeeff")");
}

boost::posix_time::ptime time(const JsonNode& node) {
  if (!node.isString()) node.fail(R"(a time such as "2020-01-31T13:05:09.000000")");
  try {
    return DateTimeUtils::Conversion::fromUstring(node.text());
  } catch (const DateTimeError& error) {
    node.fail(R"(a time such as "2020-01-31T13:05:09.000000")", std::string("; ") + error.what());
  }
}

namespace {

[[noreturn, gnu::cold]] void failLiteral(const JsonReadProperty& plan, const JsonNode& node) {
  const auto type = narrow<meta::Enum>(plan.type());
  node.fail("a literal of " + bedrock::i18n::to_string(type->getQualifiedName()),
            node.isString() ? nearestLiteral(type, node.text()) : std::string());
}

}  // namespace

std::int64_t enumNumber(const JsonReadProperty& plan, const JsonNode& node) {
  if (node.isNumber()) return integer<std::int64_t>(node);
  if (!node.isString()) failLiteral(plan, node);
  const auto found = node.isVerbatim() ? plan.literals->find(node.raw()) : plan.literals->find(node.utf8());
  if (found == plan.literals->end()) failLiteral(plan, node);
  return found->second;
}

void failInteger(StorageType storage, const JsonNode& node) { node.fail("a whole number " + rangeOf(storage)); }

}  // namespace tarn::kern::io::json
