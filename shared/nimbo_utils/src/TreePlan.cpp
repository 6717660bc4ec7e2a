#include "TreePlan.h"

#include <algorithm>

#include <tarn/kern/meta/Enum.h>

#include "PrintingParts.h"
#include "StoredTypes.h"
#include "TypeTags.h"

namespace quillon::nimbo::detail {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;

namespace {

using Look = TreeLine::Look;

Look lookOf(const meta::Property& property, SerializationTag tag) {
  if (property->isReference()) return isMany(property) ? Look::Elements : Look::Reference;
  if (tag == SerializationTag::ENUM && !isMany(property)) return Look::Literal;
  bool mayBeContiguous = false;
  const bool isPlain =
      visitStoredType(tag, [&]<class T>(std::type_identity<T>) { mayBeContiguous = kern::ContiguousValueType<T>; });
  if (isMany(property)) return mayBeContiguous ? Look::FindStorage : Look::ByPrinter;
  return isPlain ? Look::Object : Look::ByPrinter;
}

std::vector<std::pair<std::int64_t, std::string>> literalsOf(const meta::Enum& type) {
  std::vector<std::pair<std::int64_t, std::string>> literals;
  for (const auto& [name, literal] : type->getLiterals()) {
    const std::int64_t number = literal->getValue();
    if (type->getLiteral(number) == literal) literals.emplace_back(number, nameOf(literal));
  }
  std::sort(literals.begin(), literals.end());
  return literals;
}

/// A default can be compared in place when it is a single value of the declared type: then Values are equal exactly
/// when what they hold is.
void planDefault(TreeLine& line) {
  if (line.look != Look::Object && line.look != Look::Literal) return;
  const boost::optional<kern::Value>& value = line.property->defaultValue();
  if (!value) return;
  if (value->getType() == line.property->getType() && value->getMeta().upper == 1) {
    line.hiddenDefault = &*value;
  } else {
    line.look = Look::ByPrinter;
  }
}

TreeLine lineOf(const meta::Property& property, bool showsDefaults) {
  const SerializationTag tag = tagOfType(property->getType());
  TreeLine line{.property = property,
                .start = nameOf(property) + ": ",
                .hiddenDefault = nullptr,
                .literals = {},
                .tag = tag,
                .look = lookOf(property, tag),
                .isComposite = property->isComposite,
                .isOptional = isOptional(property)};
  if (line.look == Look::Literal) line.literals = literalsOf(kern::narrow<meta::Enum>(property->getType()));
  if (!showsDefaults) planDefault(line);
  return line;
}

}  // namespace

TreePlan makeTreePlan(const meta::Class& type, bool showsDefaults) {
  TreePlan plan{nameOf(type), {}};
  for (const meta::Property& property : type->getAllProperties()) {
    if (!property->isGuarded) plan.lines.push_back(lineOf(property, showsDefaults));
  }
  return plan;
}

}  // namespace quillon::nimbo::detail
