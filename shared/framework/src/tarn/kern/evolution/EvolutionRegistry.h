#pragma once

#include <memory>
#include <shared_mutex>
#include <string>
#include <unordered_map>
#include <vector>

#include "Steps.h"

namespace tarn::kern::evolution::internal {

/// The evolutions of all families, and the functions that are known by name. Process-wide; emptied together with the
/// registry of packages. Threads: any number may read while another registers.
class EvolutionRegistry {
 public:
  using Stages = std::vector<Stage>;  // in the order of the versions that they lead from

  static EvolutionRegistry& instance();

  /// The stages of a family; none for a family without evolution. The result outlives a reset.
  [[nodiscard]] std::shared_ptr<const Stages> stagesOf(const ustring& family) const;
  /// Adds the stages of definitions that were checked, all or none.
  void add(std::vector<Definition> definitions);

  void nameFunction(const ustring& name, Evolution::Function function);
  void nameFunction(const ustring& name, Evolution::DataFunction function);
  /// Empty functions when there is none of that name.
  [[nodiscard]] Evolution::Function functionOf(const ustring& name) const;
  [[nodiscard]] Evolution::DataFunction dataFunctionOf(const ustring& name) const;

  void reset();

 private:
  struct Content {
    std::unordered_map<ustring, std::shared_ptr<const Stages>> stages;
    std::unordered_map<ustring, Evolution::Function> functions;
    std::unordered_map<ustring, Evolution::DataFunction> dataFunctions;
  };

  mutable std::shared_mutex fMutex;
  Content fContent;
};

}  // namespace tarn::kern::evolution::internal
