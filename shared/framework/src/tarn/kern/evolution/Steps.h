#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <tarn/kern/evolution/Evolution.h>

/// The steps of an evolution as their author declared them; nothing of them is checked. Names of types are simple names
/// in the package, or qualified ones.
namespace tarn::kern::evolution::internal {

enum class TypeKind : unsigned char { Class, DataType, Enum, Primitive };

struct RenamePackage {
  ustring from;
  ustring to;
};
struct RenameType {
  TypeKind kind;
  ustring from;
  ustring to;
};
struct MergeClass {
  ustring from;
  ustring into;
};
struct RemoveType {
  TypeKind kind;
  ustring name;
};
struct ChangeSuperclass {
  ustring type;
  ustring from;
  ustring to;
};
struct RenameProperty {
  ustring type;
  ustring from;
  ustring to;
};
struct RemoveProperty {
  ustring type;
  ustring name;
};
struct AddProperty {
  ustring type;
  ustring name;
  std::optional<io::RawValue> value;
};
struct ChangeType {
  ustring type;
  ustring name;
  ustring from;
  ustring to;
};
struct ToCollection {
  ustring type;
  ustring name;
};
struct ToSingle {
  ustring type;
  ustring name;
  Surplus surplus;
};
struct MoveProperty {
  ustring type;
  ustring from;  // names joined by "."
  ustring to;
};
struct NewDefault {
  ustring type;
  ustring name;
  io::RawValue oldDefault;
};
struct RenameLiteral {
  ustring type;
  ustring from;
  ustring to;
};
struct RemoveLiteral {
  ustring type;
  ustring literal;
  ustring replacement;
};
struct Custom {
  ustring type;
  Evolution::Function function;  // exactly one of the three
  Evolution::DataFunction dataFunction;
  ustring functionName;
};

using Step = std::variant<RenamePackage, RenameType, MergeClass, RemoveType, ChangeSuperclass, RenameProperty,
                          RemoveProperty, AddProperty, ChangeType, ToCollection, ToSingle, MoveProperty, NewDefault,
                          RenameLiteral, RemoveLiteral, Custom>;

/// The steps from one version to another.
struct Stage {
  ustring from;
  ustring to;
  std::vector<Step> steps;
};

struct Definition {
  ustring family;
  std::vector<Stage> stages;
  std::vector<std::string> faultsOfCalls;  // a step before from(), a to() without from()
  bool isOpen = false;                     // from() was called, to() not yet
  bool isRegistered = false;

  static Definition& of(Evolution& evolution) noexcept { return *evolution.fDefinition; }
};

/// The step as the call that declares it: `renameProperty("Book", "label", "title")`.
[[nodiscard]] std::string describe(const Step& step);
/// `"text"`, for messages.
[[nodiscard]] std::string quoted(std::u16string_view text);
/// A plain value for messages: `"text"`, `12`, `true`; what is longer is cut.
[[nodiscard]] std::string shown(const io::RawValue& value);

/// Lets std::visit be given one lambda per alternative.
template <class... Fs>
struct Overloaded : Fs... {
  using Fs::operator()...;
};
template <class... Fs>
Overloaded(Fs...) -> Overloaded<Fs...>;

}  // namespace tarn::kern::evolution::internal
