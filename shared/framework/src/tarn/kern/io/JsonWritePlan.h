#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

#include "../Layout.h"

namespace tarn::kern::io {

/// The literals of an enum as JSON strings, by number. Of several for one number the first by name is written.
class JsonLiterals {
 public:
  explicit JsonLiterals(const meta::Enum& type);
  /// nullptr for a number without literal.
  [[nodiscard]] const std::string* find(std::int64_t number) const noexcept;

 private:
  std::unordered_map<std::int64_t, std::string> fByNumber;
  /// Most enums count from zero, and are found here.
  std::vector<const std::string*> fSmall;
};

/// How one property is written: what is the same for all instances, worked out once.
struct JsonWriteProperty {
  const internal::SlotInfo* slot;
  meta::Property property;
  std::string key;               ///< with its colon
  const Value* defaultValue;     ///< nullptr when a new instance shows nothing
  bool readsAbsentAsNan;         ///< null would be read as NaN: absence is told by leaving the property out
  const JsonLiterals* literals;  ///< of an enum
};

/// How the instances of one class or data type are written.
struct JsonWritePlan {
  std::string head;  ///< from the brace up to the uuid, or to the contents of a data value
  std::vector<JsonWriteProperty> properties;
};

/// The plans of all types that one text needs.
class JsonWritePlans {
 public:
  [[nodiscard]] const JsonWritePlan& of(const meta::Class& type) {
    Recent& recent = fRecent[(reinterpret_cast<std::uintptr_t>(type.get()) >> 6U) % kRecent];
    if (recent.type != type.get()) recent = {type.get(), &find(type, kElementKeys)};
    return *recent.plan;
  }
  [[nodiscard]] const JsonWritePlan& of(const meta::DataType& type) { return find(type, kDataKeys); }

 private:
  static constexpr const char* kElementKeys = ",\"uuid\":";
  static constexpr const char* kDataKeys = ",\"content\":";
  static constexpr std::size_t kRecent = 64;
  struct Recent {
    const meta::Type::Impl* type;
    const JsonWritePlan* plan;
  };

  [[nodiscard]] const JsonWritePlan& find(const meta::StructuredType& type, const char* keyBehindType);
  [[nodiscard]] JsonWritePlan make(const meta::StructuredType& type, const char* keyBehindType);
  [[nodiscard]] JsonWriteProperty planOf(const internal::SlotInfo& slot, const meta::Property& property);
  [[nodiscard]] const JsonLiterals* literalsOf(const meta::Type& type);

  std::unordered_map<meta::Type, std::unique_ptr<JsonWritePlan>> fPlans;
  std::unordered_map<meta::Type, std::unique_ptr<JsonLiterals>> fLiterals;
  Recent fRecent[kRecent] = {};
};

}  // namespace tarn::kern::io
