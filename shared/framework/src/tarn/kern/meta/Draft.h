#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "MetaFactory.h"
#include "Specs.h"

namespace tarn::kern::meta::internal {

/// What is to be said about a definition. Faults are found in several rounds and told in the order of the definition:
/// each part has a place in it, a number.
class Remarks {
 public:
  void add(std::size_t place, std::string text) { fRemarks.emplace_back(place, std::move(text)); }
  [[nodiscard]] bool empty() const noexcept { return fRemarks.empty(); }
  /// A search for the nearest name takes time by the number of names. One who meets the first so many faults is helped;
  /// a file that is broken throughout must not take hours to be refused.
  [[nodiscard]] bool areFew() const noexcept { return fRemarks.size() < 32; }
  [[nodiscard]] std::vector<std::string> inOrder() const;
  /// The places of inOrder().
  [[nodiscard]] std::vector<std::size_t> placesInOrder() const;
  /// Those whose place lies in [first, last).
  [[nodiscard]] std::vector<std::string> between(std::size_t first, std::size_t last) const;

 private:
  std::vector<std::pair<std::size_t, std::string>> fRemarks;
};

struct TypeDraft;

struct PropertyDraft {
  const PropertySpec* spec;
  Property::Impl* record;
  const TypeDraft* owner;
  std::size_t place;
};

struct PackageDraft {
  PackageSpec* spec;
  Package::Impl* record;
  std::size_t place;
  std::size_t endPlace = 0;  // behind all that is inside
};

struct TypeDraft {
  TypeSpec* spec;
  Type::Impl* record;
  const PackageDraft* home;
  std::size_t place;
  std::deque<PropertyDraft> properties;
  std::vector<Property::Impl*> copies;  // of properties of further supertypes
  bool lacksSupertypes = false;         // one of them, or of theirs, is unknown: what it inherits is not known in full

  [[nodiscard]] Class::Impl* asClass() const noexcept {
    return record->kind() == ModelElement::Impl::Kind::Class ? static_cast<Class::Impl*>(record) : nullptr;
  }
  [[nodiscard]] StructuredType::Impl* asStructured() const noexcept {
    return StructuredType::accepts(record->kind()) ? static_cast<StructuredType::Impl*>(record) : nullptr;
  }
};

/// One registration in the making: the definitions, the records made of them, what was found wrong so far.
struct Draft {
  RecordBatch batch;
  std::deque<PackageDraft> packages;
  std::deque<TypeDraft> types;
  std::unordered_map<const TypeSpec*, TypeDraft*> bySpec;
  std::unordered_map<const Type::Impl*, TypeDraft*> byRecord;
  std::unordered_map<ustring, TypeDraft*> byQualifiedName;
  std::unordered_map<const Property::Impl*, const PropertyDraft*> byProperty;
  Remarks faults;
  Remarks warnings;
};

// --- The words of messages.

[[nodiscard]] std::string quoted(const ustring& name);
/// `a class`, `a data type`, `a primitive type`, `an enum`.
[[nodiscard]] std::string kindOf(const Type& type);
/// `class "library.Book"`.
[[nodiscard]] std::string describe(const Type& type);
/// `class "library.Book", property "title"`.
[[nodiscard]] std::string describe(const PropertyDraft& property);
/// `package "library"`.
[[nodiscard]] std::string describe(const Package& package);

}  // namespace tarn::kern::meta::internal
