#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <tarn/kern/meta/Package.h>

#include "EvolutionRegistry.h"
#include "StepRules.h"

namespace tarn::kern::evolution::internal {

/// The packages that evolution can look at: the registered ones, and some that are about to be.
class KnownPackages {
 public:
  /// @param unpublished packages that were checked and sealed; those inside them are found too.
  explicit KnownPackages(const std::vector<meta::Package>& unpublished = {});

  /// The newest package of a family, or null.
  [[nodiscard]] meta::Package currentOf(const ustring& family) const;
  /// That version of a family, or null.
  [[nodiscard]] meta::Package find(const ustring& family, const ustring& version) const;
  [[nodiscard]] TypeTable currentTypes() const;

 private:
  std::vector<meta::Package> fUnpublished;  // with those inside
};

/// What leads one family from a version of its content to the current one.
struct Chain {
  ustring family;
  ustring version;  // that the content has
  meta::Package current;
  std::shared_ptr<const EvolutionRegistry::Stages> keptAlive;
  std::vector<const Stage*> stages;  // oldest first
};

/// The stages on the way from a version: between two of them, and behind the last one, nothing changed. @pre the stages
/// are in the order of their `from`.
[[nodiscard]] std::vector<const Stage*> stagesFrom(const EvolutionRegistry::Stages& stages, const ustring& version);
/// The stage that leads across the version without beginning or ending there, when none begins there; or nullptr.
[[nodiscard]] const Stage* stageAcross(const EvolutionRegistry::Stages& stages, const ustring& version);

/// A stage with what is known of the types around it.
struct Era {
  const Chain* chain;
  const Stage* stage;
  Moment start;
  std::shared_ptr<const TypeTable> atEnd;
};

/// All stages that a document goes through, in order: family after family.
struct History {
  std::vector<Era> eras;
  TypeTable oldest;  // what is known of the types that the document was written with
  /// The names that packages of the evolved families have or had, and whose they were. The present ones win.
  std::unordered_map<ustring, const Chain*> packageNames;
};
[[nodiscard]] History historyOf(const std::vector<Chain>& chains, const KnownPackages& packages);

/// Puts the types of that version of the family in place of what undoing has come to, when it is registered.
void takeRegistered(Moment& moment, const ustring& family, const ustring& version, const KnownPackages& packages);

/// A fault of a definition: a text that names the step, and where in the definition it lies.
struct DefinitionFault {
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);
  std::string text;
  std::size_t stage = kNone;
  std::size_t step = kNone;
};
/// Every fault of the definition, in its order.
[[nodiscard]] std::vector<DefinitionFault> faultsOf(const Definition& definition, const KnownPackages& packages);

}  // namespace tarn::kern::evolution::internal
