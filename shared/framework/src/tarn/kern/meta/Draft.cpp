#include "Draft.h"

#include <algorithm>
#include <limits>

#include <bedrock/i18n.h>

namespace tarn::kern::meta::internal {

std::vector<std::string> Remarks::inOrder() const { return between(0, std::numeric_limits<std::size_t>::max()); }

std::vector<std::size_t> Remarks::placesInOrder() const {
  std::vector<std::size_t> places;
  places.reserve(fRemarks.size());
  for (const auto& remark : fRemarks) places.push_back(remark.first);
  std::sort(places.begin(), places.end());
  return places;
}

std::vector<std::string> Remarks::between(std::size_t first, std::size_t last) const {
  std::vector<std::pair<std::size_t, std::string>> chosen;
  for (const auto& remark : fRemarks) {
    if (remark.first >= first && remark.first < last) chosen.push_back(remark);
  }
  std::stable_sort(chosen.begin(), chosen.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
  std::vector<std::string> texts;
  texts.reserve(chosen.size());
  for (auto& remark : chosen) texts.push_back(std::move(remark.second));
  return texts;
}

std::string quoted(const ustring& name) { return "\"" + bedrock::i18n::to_string(name) + "\""; }

namespace {

const char* wordFor(const Type& type) noexcept {
  if (Class::accepts(type->kind())) return "class";
  if (DataType::accepts(type->kind())) return "data type";
  return Enum::accepts(type->kind()) ? "enum" : "primitive type";
}

}  // namespace

std::string kindOf(const Type& type) {
  return (Enum::accepts(type->kind()) ? "an " : "a ") + std::string(wordFor(type));
}

std::string describe(const Type& type) { return wordFor(type) + (" " + quoted(type->getQualifiedName())); }

std::string describe(const PropertyDraft& property) {
  return describe(Type(property.owner->record)) + ", property " + quoted(property.record->getName());
}

std::string describe(const Package& package) { return "package " + quoted(package->getQualifiedName()); }

}  // namespace tarn::kern::meta::internal
