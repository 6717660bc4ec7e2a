#include "Steps.h"

#include <initializer_list>

namespace tarn::kern::evolution::internal {

namespace {

constexpr std::size_t kLongText = 60;

std::string call(const char* name, std::initializer_list<std::string> arguments) {
  std::string text = std::string(name) + "(";
  const char* separator = "";
  for (const std::string& argument : arguments) {
    text += separator + argument;
    separator = ", ";
  }
  return text + ")";
}

const char* wordFor(TypeKind kind) noexcept {
  switch (kind) {
    case TypeKind::Class:
      return "Class";
    case TypeKind::DataType:
      return "DataType";
    case TypeKind::Enum:
      return "Enum";
    case TypeKind::Primitive:
      break;
  }
  return "Primitive";
}

}  // namespace

std::string quoted(std::u16string_view text) { return "\"" + bedrock::i18n::to_string(ustring(text)) + "\""; }

std::string shown(const io::RawValue& value) {
  using Kind = io::RawValue::Kind;
  switch (value.kind()) {
    case Kind::Null:
      return "null";
    case Kind::Boolean:
      return value.boolean() ? "true" : "false";
    case Kind::Number:
      return value.number().substr(0, kLongText) + (value.number().size() > kLongText ? "..." : "");
    case Kind::Text:
      if (value.text().size() <= kLongText) return quoted(value.text());
      return quoted(value.text().substr(0, kLongText)) + "...";
    case Kind::List:
      return "a list of " + std::to_string(value.list().size()) + " entries";
    case Kind::Map:
      return "a map of " + std::to_string(value.map().size()) + " entries";
    case Kind::Data:
      return "a value of " + quoted(value.data().typeName);
    case Kind::Reference:
      return "a reference to an element of " + quoted(value.reference().typeName);
    case Kind::Element:
      break;
  }
  return "an element of " + quoted(value.element().typeName);
}

std::string describe(const Step& step) {
  return std::visit(
      Overloaded{
          [](const RenamePackage& s) {
            return call("renamePackage", {quoted(s.from), quoted(s.to)});
          },
          [](const RenameType& s) {
            return call((std::string("rename") + wordFor(s.kind)).c_str(), {quoted(s.from), quoted(s.to)});
          },
          [](const MergeClass& s) {
            return call("mergeClass", {quoted(s.from), quoted(s.into)});
          },
          [](const RemoveType& s) { return call((std::string("remove") + wordFor(s.kind)).c_str(), {quoted(s.name)}); },
          [](const ChangeSuperclass& s) {
            return call("changeSuperclass", {quoted(s.type), quoted(s.from), quoted(s.to)});
          },
          [](const RenameProperty& s) {
            return call("renameProperty", {quoted(s.type), quoted(s.from), quoted(s.to)});
          },
          [](const RemoveProperty& s) {
            return call("removeProperty", {quoted(s.type), quoted(s.name)});
          },
          [](const AddProperty& s) {
            if (!s.value) return call("addProperty", {quoted(s.type), quoted(s.name)});
            return call("addProperty", {quoted(s.type), quoted(s.name), shown(*s.value)});
          },
          [](const ChangeType& s) {
            return call("changeType", {quoted(s.type), quoted(s.name), quoted(s.from), quoted(s.to)});
          },
          [](const ToCollection& s) {
            return call("toCollection", {quoted(s.type), quoted(s.name)});
          },
          [](const ToSingle& s) {
            return call("toSingle", {quoted(s.type), quoted(s.name)});
          },
          [](const MoveProperty& s) {
            return call("moveProperty", {quoted(s.type), quoted(s.from), quoted(s.to)});
          },
          [](const NewDefault& s) {
            return call("newDefault", {quoted(s.type), quoted(s.name), shown(s.oldDefault)});
          },
          [](const RenameLiteral& s) {
            return call("renameLiteral", {quoted(s.type), quoted(s.from), quoted(s.to)});
          },
          [](const RemoveLiteral& s) {
            return call("removeLiteral", {quoted(s.type), quoted(s.literal), quoted(s.replacement)});
          },
          [](const Custom& s) {
            if (!s.functionName.empty()) return call("custom", {quoted(s.type), quoted(s.functionName)});
            return call(s.dataFunction ? "customData" : "custom", {quoted(s.type)});
          }},
      step);
}

}  // namespace tarn::kern::evolution::internal
