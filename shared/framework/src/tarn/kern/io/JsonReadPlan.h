#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

#include "../Layout.h"

namespace tarn::kern::io {

/// Finds std::string keys by views.
struct HashOfText {
  using is_transparent = void;
  [[nodiscard]] std::size_t operator()(std::string_view text) const noexcept {
    return std::hash<std::string_view>()(text);
  }
};
template <class T>
using ByText = std::unordered_map<std::string, T, HashOfText, std::equal_to<>>;

/// What is the same for all values of one property, worked out once. Names are in UTF-8, as they stand in a text.
struct JsonReadProperty {
  meta::Property property;
  const internal::SlotInfo* slot;
  std::string name;
  std::size_t position;                     ///< among the plan's properties
  meta::Class targetClass;                  ///< of a reference
  meta::DataType dataType;                  ///< of data values,
  std::string dataTypeName;                 ///< and its qualified name
  const ByText<std::int64_t>* literals;     ///< of an enum
  bool readsNullAsNan;                      ///< otherwise null is absence
  mutable meta::Class lastConformingClass;  ///< the latest that was found to fit; null at first

  [[nodiscard]] StorageType storage() const noexcept { return slot->storage; }
  [[nodiscard]] const meta::Type& type() const noexcept { return property->getType(); }
  [[nodiscard]] bool takes(const meta::Class& actual) const;
};

/// How the instances of one class or data type are read.
struct JsonReadPlan {
  meta::StructuredType type;
  meta::Class metaClass;  ///< null for a data type
  std::vector<JsonReadProperty> properties;
  ByText<std::size_t> byName;

  /// The property of that name, or nullptr. `expected` is the position behind the property that was read last: writers
  /// keep to an order, and then it is found without a search.
  [[nodiscard]] const JsonReadProperty* find(std::string_view name, std::size_t expected) const;
};

/// The plans of all types that one text needs.
class JsonReadPlans {
 public:
  /// The plan of the class of that qualified name; nullptr when there is no such class.
  [[nodiscard]] const JsonReadPlan* ofClass(std::string_view name);
  [[nodiscard]] const JsonReadPlan& of(const meta::StructuredType& type);

 private:
  [[nodiscard]] JsonReadPlan make(const meta::StructuredType& type);
  [[nodiscard]] JsonReadProperty planOf(const internal::SlotInfo& slot, const meta::Property& property,
                                        std::size_t position);
  [[nodiscard]] const ByText<std::int64_t>* literalsOf(const meta::Type& type);

  struct Recent {
    std::string_view name;  // lies in the key of fByName
    const JsonReadPlan* plan;
  };
  static constexpr std::size_t kRecent = 16;

  std::unordered_map<meta::Type, std::unique_ptr<JsonReadPlan>> fPlans;
  std::unordered_map<meta::Type, std::unique_ptr<ByText<std::int64_t>>> fLiterals;
  ByText<const JsonReadPlan*> fByName;
  Recent fRecent[kRecent] = {};
};

}  // namespace tarn::kern::io
