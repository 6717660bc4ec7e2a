#pragma once

#include <cstdint>
#include <deque>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include <tarn/kern/StorageType.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

namespace tarn::kern::io::xml {

/// A property as a reader of XMI meets it.
struct Feature {
  meta::Property property;
  std::string name;  // as XML spells it
  StorageType storage = StorageType::Custom;
  bool isCollection = false;
  bool isComposite = false;
  bool isOmitted = false;  // or the way back to the container, which the nesting tells: skipped
  bool isId = false;       // its value names the element within the document
  const std::unordered_map<std::string, std::int64_t>* literals = nullptr;

  [[nodiscard]] bool isReference() const noexcept { return storage == StorageType::Element; }
};

/// What a reader needs to know of a class or data type, worked out once.
class TypePlan {
 public:
  TypePlan(const meta::StructuredType& type, class XmiPlans& plans);

  [[nodiscard]] const meta::StructuredType& type() const noexcept { return fType; }
  /// The class, or null for a data type.
  [[nodiscard]] const meta::Class& classType() const noexcept { return fClass; }
  [[nodiscard]] const Feature* find(std::string_view name) const;
  /// The same for an attribute's name, whose address stays the same within a document.
  [[nodiscard]] const Feature* findAttribute(const char* name);
  /// To be called when another document begins.
  void forgetAddresses() { fByAddress.clear(); }
  [[nodiscard]] const std::deque<Feature>& features() const noexcept { return fFeatures; }

 private:
  meta::StructuredType fType;
  meta::Class fClass;
  std::deque<Feature> fFeatures;
  std::unordered_map<std::string_view, const Feature*> fByName;
  // Attributes come in the same order again and again: the next one is looked for where the last one was found.
  std::vector<std::pair<const char*, const Feature*>> fByAddress;
  std::size_t fNext = 0;
};

/// The plans of one reading.
class XmiPlans {
 public:
  [[nodiscard]] TypePlan& of(const meta::StructuredType& type);
  /// The type of that spelling in a package, or null.
  [[nodiscard]] meta::Type typeNamed(const meta::Package& package, std::string_view name);
  [[nodiscard]] const std::unordered_map<std::string, std::int64_t>& literalsOf(const meta::Enum& type);
  void forgetAddresses();

 private:
  std::unordered_map<const meta::StructuredType::Impl*, TypePlan> fPlans;
  std::unordered_map<const meta::Package::Impl*, std::unordered_map<std::string, meta::Type>> fTypes;
  std::unordered_map<const meta::Enum::Impl*, std::unordered_map<std::string, std::int64_t>> fLiterals;
};

}  // namespace tarn::kern::io::xml
