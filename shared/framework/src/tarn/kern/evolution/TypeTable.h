#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <tarn/kern/meta/MetaRegistry.h>

#include "Steps.h"

namespace tarn::kern::evolution::internal {

struct KnownProperty {
  ustring type;  // qualified; empty when not known
  bool isCollection = false;
  bool isComposite = false;
};

struct KnownType {
  TypeKind kind = TypeKind::Class;
  std::vector<ustring> supertypes;                           // qualified; the kernel's root class left out
  std::map<ustring, KnownProperty, std::less<>> properties;  // its own
  std::map<ustring, std::optional<std::int64_t>, std::less<>> literals;
  bool isVague = false;  // it was removed since: what it had is known by the steps alone
};

/// What is known of all types at one moment of an evolution: by the registered packages, and for versions that are not
/// registered by undoing steps. Everything goes by qualified names, since types of several versions have no handles in
/// common.
class TypeTable {
 public:
  /// The types of the current versions of all families, and of the kernel.
  static TypeTable ofCurrentVersions();

  /// Takes the types of this package, not those of packages inside, out and in.
  void remove(const ustring& packageName);
  void add(const meta::Package& package);
  void addType(const meta::Type& type);

  [[nodiscard]] KnownType* find(const ustring& type);
  [[nodiscard]] const KnownType* find(const ustring& type) const;
  KnownType& set(const ustring& name, KnownType type) { return fTypes[name] = std::move(type); }
  void erase(const ustring& name) { fTypes.erase(name); }

  /// The property of that name, own or inherited, and the type that declares it.
  [[nodiscard]] const KnownProperty* findProperty(const ustring& type, std::u16string_view name) const;
  [[nodiscard]] KnownProperty* findProperty(const ustring& type, std::u16string_view name);
  /// True when the type or one of its supertypes is: it may have properties that are not known.
  [[nodiscard]] bool isVague(const ustring& type) const;
  /// The type itself and all that derive from it; the name alone when the type is not known.
  [[nodiscard]] std::unordered_set<ustring> withSubtypes(const ustring& type) const;
  /// For each class and data type the names of its properties, inherited ones too, whose type is `type`.
  [[nodiscard]] std::unordered_map<ustring, std::vector<ustring>> propertiesOfType(const ustring& type) const;

  /// Gives every mention of the type, in supertypes and properties, another name; not the entry itself.
  void renameMentions(const ustring& from, const ustring& to);
  /// Gives all types whose qualified name begins with `from` and a dot, and their mentions, the beginning `to`.
  void renamePackage(const ustring& from, const ustring& to);

  /// `; did you mean "name"?` among types of that kind: simple names of the package, and qualified ones. Or nothing.
  [[nodiscard]] std::string suggestType(const ustring& wanted, const ustring& package, TypeKind kind) const;
  /// The same among the properties of a type, and the literals of an enum.
  [[nodiscard]] std::string suggestProperty(const ustring& type, std::u16string_view wanted) const;
  [[nodiscard]] std::string suggestLiteral(const ustring& type, std::u16string_view wanted) const;

 private:
  /// Calls `visit` with the type and its supertypes, each once, until it returns true. Hierarchies may be torn in the
  /// middle of an evolution, even be cyclic.
  bool climb(const ustring& type, const std::function<bool(const ustring&, const KnownType&)>& visit) const;

  std::unordered_map<ustring, KnownType> fTypes;
};

/// The qualified name that a step means: of a standard type, as it stands when it has a dot, else of the package's
/// type.
[[nodiscard]] ustring qualified(const ustring& name, const ustring& package);

}  // namespace tarn::kern::evolution::internal
