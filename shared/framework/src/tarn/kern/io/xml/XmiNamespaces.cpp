#include "XmiNamespaces.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "XmlNames.h"

namespace tarn::kern::io::xml {

std::pair<std::string_view, std::string_view> splitName(std::string_view name) noexcept {
  const std::size_t colon = name.find(':');
  if (colon == std::string_view::npos) return {std::string_view(), name};
  return {name.substr(0, colon), name.substr(colon + 1)};
}

std::size_t XmiNamespaces::enter(AttributeList attributes) {
  std::size_t count = 0;
  for (; *attributes != nullptr; attributes += 2) {
    const char* name = attributes[0];
    if (std::strncmp(name, "xmlns", 5) != 0 || (name[5] != '\0' && name[5] != ':')) continue;
    fBindings.emplace_back(name[5] == ':' ? name + 6 : "", attributes[1]);
    fEver.insert(fBindings.back().first);
    ++count;
  }
  if (count != 0) forget();
  return count;
}

void XmiNamespaces::leave(std::size_t count) {
  fBindings.resize(fBindings.size() - count);
  if (count != 0) forget();
}

void XmiNamespaces::forget() {
  ++fGeneration;
  if (fHasKnown) std::fill(fKnown.begin(), fKnown.end(), Known());
  fHasKnown = false;
}

const std::string* XmiNamespaces::find(std::string_view prefix) const noexcept {
  const auto at =
      std::find_if(fBindings.rbegin(), fBindings.rend(), [&](const auto& binding) { return binding.first == prefix; });
  return at == fBindings.rend() ? nullptr : &at->second;
}

bool XmiNamespaces::isXmi(std::string_view prefix) const {
  const std::string* uri = prefix.empty() ? nullptr : find(prefix);
  return uri != nullptr && isXmiUri(*uri);
}

std::vector<bedrock::i18n::ustring> XmiNamespaces::packageUris() const {
  std::vector<bedrock::i18n::ustring> uris;
  for (const auto& [prefix, uri] : fBindings) {
    if (!isXmiUri(uri) && uri != kXsiUri) uris.push_back(bedrock::i18n::utf8_to_ustring(uri));
  }
  return uris;
}

AttributeRole XmiNamespaces::roleOf(const char* name) {
  const auto hash =
      static_cast<std::size_t>((reinterpret_cast<std::uintptr_t>(name) >> 3U) * 0x9E3779B97F4A7C15U >> 56U);
  Known& slot = fKnown[hash % kSlots];
  if (slot.name == name) return slot.role;
  slot = {name, classify(name)};  // two names in one place take turns: slower, not wrong
  fHasKnown = true;
  return slot.role;
}

AttributeRole XmiNamespaces::classify(std::string_view name) const {
  if (name == "xmlns") return AttributeRole::Namespace;
  const auto [prefix, local] = splitName(name);
  if (prefix.empty()) return AttributeRole::Feature;
  if (prefix == "xmlns") return AttributeRole::Namespace;
  if (prefix == "xml") return AttributeRole::Ignored;
  const std::string* uri = find(prefix);
  if (uri == nullptr) return AttributeRole::Unbound;
  if (isXmiUri(*uri)) {
    if (local == "id") return AttributeRole::Id;
    if (local == "uuid") return AttributeRole::Uuid;
    if (local == "idref") return AttributeRole::IdReference;
    return local == "type" ? AttributeRole::Type : AttributeRole::Ignored;
  }
  if (*uri == kXsiUri) {
    if (local == "type") return AttributeRole::Type;
    return local == "nil" ? AttributeRole::Nil : AttributeRole::Ignored;
  }
  return AttributeRole::Feature;
}

}  // namespace tarn::kern::io::xml
