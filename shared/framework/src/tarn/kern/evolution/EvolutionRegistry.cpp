#include "EvolutionRegistry.h"

#include <algorithm>
#include <mutex>
#include <utility>

#include "../meta/VersionOrder.h"

namespace tarn::kern::evolution::internal {

namespace {

template <class Map>
typename Map::mapped_type findIn(const Map& map, const ustring& name) {
  const auto at = map.find(name);
  return at == map.end() ? typename Map::mapped_type() : at->second;
}

}  // namespace

EvolutionRegistry& EvolutionRegistry::instance() {
  static EvolutionRegistry* const sInstance = new EvolutionRegistry;  // as long-lived as the registry of packages
  return *sInstance;
}

std::shared_ptr<const EvolutionRegistry::Stages> EvolutionRegistry::stagesOf(const ustring& family) const {
  static const auto sNone = std::make_shared<const Stages>();
  const std::shared_lock lock(fMutex);
  const auto at = fContent.stages.find(family);
  return at == fContent.stages.end() ? sNone : at->second;
}

void EvolutionRegistry::add(std::vector<Definition> definitions) {
  const std::unique_lock lock(fMutex);
  auto stages = fContent.stages;
  for (Definition& definition : definitions) {
    auto& present = stages[definition.family];
    auto joined = present == nullptr ? std::make_shared<Stages>() : std::make_shared<Stages>(*present);
    std::move(definition.stages.begin(), definition.stages.end(), std::back_inserter(*joined));
    std::sort(joined->begin(), joined->end(),
              [](const Stage& a, const Stage& b) { return meta::internal::isNewerVersion(b.from, a.from); });
    present = std::move(joined);
  }
  fContent.stages = std::move(stages);
}

void EvolutionRegistry::nameFunction(const ustring& name, Evolution::Function function) {
  const std::unique_lock lock(fMutex);
  fContent.functions[name] = std::move(function);
}

void EvolutionRegistry::nameFunction(const ustring& name, Evolution::DataFunction function) {
  const std::unique_lock lock(fMutex);
  fContent.dataFunctions[name] = std::move(function);
}

Evolution::Function EvolutionRegistry::functionOf(const ustring& name) const {
  const std::shared_lock lock(fMutex);
  return findIn(fContent.functions, name);
}

Evolution::DataFunction EvolutionRegistry::dataFunctionOf(const ustring& name) const {
  const std::shared_lock lock(fMutex);
  return findIn(fContent.dataFunctions, name);
}

void EvolutionRegistry::reset() {
  Content content;
  const std::unique_lock lock(fMutex);
  std::swap(fContent, content);
}

}  // namespace tarn::kern::evolution::internal
