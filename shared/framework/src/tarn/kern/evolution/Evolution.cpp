#include <array>
#include <charconv>
#include <cmath>
#include <mutex>
#include <utility>

#include <tarn/kern/evolution/Evolution.h>

#include "Chain.h"
#include "EvolutionRegistry.h"
#include "Steps.h"

namespace tarn::kern::evolution {

namespace {

std::string textOf(const ustring& family, const std::vector<std::string>& faults) {
  const std::string what = "the evolution of the family " + internal::quoted(family) + " is refused";
  if (faults.size() == 1) return what + ": " + faults.front();
  std::string text = what + " for " + std::to_string(faults.size()) + " faults:";
  for (std::size_t i = 0; i < faults.size(); ++i) text += "\n  " + std::to_string(i + 1) + ". " + faults[i];
  return text;
}

std::string numberText(double number) {
  if (std::isnan(number)) return "NaN";
  if (std::isinf(number)) return number < 0 ? "-inf" : "inf";
  std::array<char, 32> digits{};
  return {digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr};
}

}  // namespace

EvolutionDefinitionError::EvolutionDefinitionError(const ustring& family, std::vector<std::string> faults)
    : KernelError(textOf(family, faults)), fFaults(std::move(faults)) {}
EvolutionDefinitionError::~EvolutionDefinitionError() = default;

PlainContent::PlainContent(double number) : fValue(io::RawNumber{numberText(number)}) {}

Evolution::Evolution(std::u16string_view family) : fDefinition(std::make_unique<internal::Definition>()) {
  fDefinition->family = family;
}
Evolution::~Evolution() = default;

Evolution& Evolution::from(std::u16string_view version) {
  if (fDefinition->isOpen)
    fDefinition->faultsOfCalls.push_back("from(" + internal::quoted(version) + ") after a from() without to()");
  fDefinition->stages.push_back({ustring(version), {}, {}});
  fDefinition->isOpen = true;
  return *this;
}

Evolution& Evolution::to(std::u16string_view version) {
  if (!fDefinition->isOpen) {
    fDefinition->faultsOfCalls.push_back("to(" + internal::quoted(version) + ") without from()");
    return *this;
  }
  fDefinition->stages.back().to = version;
  fDefinition->isOpen = false;
  return *this;
}

namespace {

Evolution& add(Evolution& evolution, internal::Step step) {
  internal::Definition& definition = internal::Definition::of(evolution);
  if (definition.stages.empty() || definition.isOpen) {
    definition.faultsOfCalls.push_back(internal::describe(step) + ": say between which versions, by from() and to()");
  } else {
    definition.stages.back().steps.push_back(std::move(step));
  }
  return evolution;
}

ustring own(std::u16string_view text) { return ustring(text); }

}  // namespace

Evolution& Evolution::renamePackage(std::u16string_view from, std::u16string_view to) {
  return add(*this, internal::RenamePackage{own(from), own(to)});
}

Evolution& Evolution::renameClass(std::u16string_view from, std::u16string_view to) {
  return add(*this, internal::RenameType{internal::TypeKind::Class, own(from), own(to)});
}

Evolution& Evolution::renameDataType(std::u16string_view from, std::u16string_view to) {
  return add(*this, internal::RenameType{internal::TypeKind::DataType, own(from), own(to)});
}

Evolution& Evolution::renameEnum(std::u16string_view from, std::u16string_view to) {
  return add(*this, internal::RenameType{internal::TypeKind::Enum, own(from), own(to)});
}

Evolution& Evolution::mergeClass(std::u16string_view from, std::u16string_view into) {
  return add(*this, internal::MergeClass{own(from), own(into)});
}

Evolution& Evolution::removeClass(std::u16string_view name) {
  return add(*this, internal::RemoveType{internal::TypeKind::Class, own(name)});
}

Evolution& Evolution::removeDataType(std::u16string_view name) {
  return add(*this, internal::RemoveType{internal::TypeKind::DataType, own(name)});
}

Evolution& Evolution::changeSuperclass(std::u16string_view name, std::u16string_view from, std::u16string_view to) {
  return add(*this, internal::ChangeSuperclass{own(name), own(from), own(to)});
}

Evolution& Evolution::renameProperty(std::u16string_view type, std::u16string_view from, std::u16string_view to) {
  return add(*this, internal::RenameProperty{own(type), own(from), own(to)});
}

Evolution& Evolution::removeProperty(std::u16string_view type, std::u16string_view name) {
  return add(*this, internal::RemoveProperty{own(type), own(name)});
}

Evolution& Evolution::addProperty(std::u16string_view type, std::u16string_view name) {
  return add(*this, internal::AddProperty{own(type), own(name), std::nullopt});
}

Evolution& Evolution::addProperty(std::u16string_view type, std::u16string_view name, const PlainContent& value) {
  return add(*this, internal::AddProperty{own(type), own(name), value.value()});
}

Evolution& Evolution::changeType(std::u16string_view type, std::u16string_view name, std::u16string_view from,
                                 std::u16string_view to) {
  return add(*this, internal::ChangeType{own(type), own(name), own(from), own(to)});
}

Evolution& Evolution::toCollection(std::u16string_view type, std::u16string_view name) {
  return add(*this, internal::ToCollection{own(type), own(name)});
}

Evolution& Evolution::toSingle(std::u16string_view type, std::u16string_view name, Surplus surplus) {
  return add(*this, internal::ToSingle{own(type), own(name), surplus});
}

Evolution& Evolution::moveProperty(std::u16string_view type, std::u16string_view fromPath, std::u16string_view toPath) {
  return add(*this, internal::MoveProperty{own(type), own(fromPath), own(toPath)});
}

Evolution& Evolution::newDefault(std::u16string_view type, std::u16string_view name, const PlainContent& oldDefault) {
  return add(*this, internal::NewDefault{own(type), own(name), oldDefault.value()});
}

Evolution& Evolution::renameLiteral(std::u16string_view type, std::u16string_view from, std::u16string_view to) {
  return add(*this, internal::RenameLiteral{own(type), own(from), own(to)});
}

Evolution& Evolution::removeLiteral(std::u16string_view type, std::u16string_view literal,
                                    std::u16string_view replacement) {
  return add(*this, internal::RemoveLiteral{own(type), own(literal), own(replacement)});
}

Evolution& Evolution::custom(std::u16string_view type, Function function) {
  return add(*this, internal::Custom{own(type), std::move(function), nullptr, {}});
}

Evolution& Evolution::customData(std::u16string_view type, DataFunction function) {
  return add(*this, internal::Custom{own(type), nullptr, std::move(function), {}});
}

Evolution& Evolution::custom(std::u16string_view type, std::u16string_view functionName) {
  return add(*this, internal::Custom{own(type), nullptr, nullptr, own(functionName)});
}

void Evolution::nameFunction(std::u16string_view name, Function function) {
  internal::EvolutionRegistry::instance().nameFunction(own(name), std::move(function));
}

void Evolution::nameDataFunction(std::u16string_view name, DataFunction function) {
  internal::EvolutionRegistry::instance().nameFunction(own(name), std::move(function));
}

void Evolution::registerEvolution() {
  static std::mutex sRegistration;  // what was checked is what is added to
  const std::lock_guard lock(sRegistration);
  std::vector<std::string> faults;
  if (fDefinition->isRegistered) {
    faults.emplace_back("it is spent: it was registered before");
  } else {
    for (internal::DefinitionFault& fault : internal::faultsOf(*fDefinition, internal::KnownPackages())) {
      faults.push_back(std::move(fault.text));
    }
  }
  if (!faults.empty()) throw EvolutionDefinitionError(fDefinition->family, std::move(faults));
  std::vector<internal::Definition> definitions;
  definitions.push_back(std::move(*fDefinition));
  fDefinition->family = definitions.front().family;
  fDefinition->isRegistered = true;
  internal::EvolutionRegistry::instance().add(std::move(definitions));
}

}  // namespace tarn::kern::evolution
