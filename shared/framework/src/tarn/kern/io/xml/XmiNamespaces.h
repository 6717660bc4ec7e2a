#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <utility>
#include <vector>

#include <bedrock/i18n.h>

#include "XmlReader.h"

namespace tarn::kern::io::xml {

/// What an attribute of an XMI document is for.
enum class AttributeRole : std::uint8_t {
  Feature,      ///< a property of the element
  Namespace,    ///< xmlns or xmlns:prefix
  Id,           ///< xmi:id
  Uuid,         ///< xmi:uuid
  IdReference,  ///< xmi:idref
  Type,         ///< xsi:type or xmi:type
  Nil,          ///< xsi:nil
  Ignored,      ///< xmi:version, xsi:schemaLocation, xml:space and the like
  Unbound,      ///< its prefix is declared nowhere
};

/// The namespace declarations in force while a document is read, and what they make of attribute names.
class XmiNamespaces {
 public:
  /// Takes up the declarations of a start tag. @return how many there were, for leave().
  std::size_t enter(AttributeList attributes);
  /// Takes back the last `count` declarations.
  void leave(std::size_t count);

  /// The URI of a prefix (empty: the default namespace), or nullptr.
  [[nodiscard]] const std::string* find(std::string_view prefix) const noexcept;
  /// True for a prefix that was declared anywhere so far.
  [[nodiscard]] bool wasDeclared(std::string_view prefix) const { return fEver.contains(std::string(prefix)); }

  /// By the address of the name, which stays the same within a document.
  [[nodiscard]] AttributeRole roleOf(const char* name);
  /// True for elements of XMI itself, such as xmi:XMI and xmi:Extension.
  [[nodiscard]] bool isXmi(std::string_view prefix) const;

  /// What is declared at this place, but for the namespaces of XMI and XML themselves.
  [[nodiscard]] std::vector<bedrock::i18n::ustring> packageUris() const;

  /// Counts up with every change: what was looked up before may mean something else now.
  [[nodiscard]] std::size_t generation() const noexcept { return fGeneration; }

 private:
  [[nodiscard]] AttributeRole classify(std::string_view name) const;
  void forget();

  std::vector<std::pair<std::string, std::string>> fBindings;  // prefix and URI, the innermost last
  std::unordered_set<std::string> fEver;
  std::size_t fGeneration = 0;

  // A small open table; it is thrown away with every new declaration.
  static constexpr std::size_t kSlots = 256;
  struct Known {
    const char* name = nullptr;
    AttributeRole role = AttributeRole::Feature;
  };
  std::vector<Known> fKnown = std::vector<Known>(kSlots);
  bool fHasKnown = false;
};

/// `prefix:local` in two; the prefix is empty where there is none.
[[nodiscard]] std::pair<std::string_view, std::string_view> splitName(std::string_view name) noexcept;

}  // namespace tarn::kern::io::xml
