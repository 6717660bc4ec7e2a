#include "Chain.h"

#include <algorithm>
#include <set>
#include <utility>

#include "../NearestName.h"
#include "../meta/VersionOrder.h"

namespace tarn::kern::evolution::internal {

using meta::internal::isNewerVersion;

namespace {

void addTree(std::vector<meta::Package>& all, const meta::Package& package) {
  all.push_back(package);
  for (const meta::Package& inner : package->getPackages()) addTree(all, inner);
}

}  // namespace

// --- Packages.

KnownPackages::KnownPackages(const std::vector<meta::Package>& unpublished) {
  for (const meta::Package& package : unpublished) addTree(fUnpublished, package);
}

meta::Package KnownPackages::currentOf(const ustring& family) const {
  meta::Package current = meta::MetaRegistry::getInstance()->getPackageForFamily(family);
  for (const meta::Package& package : fUnpublished) {
    if (package->getFamily() != family) continue;
    if (!current || isNewerVersion(package->getVersion(), current->getVersion())) current = package;
  }
  return current;
}

meta::Package KnownPackages::find(const ustring& family, const ustring& version) const {
  for (const meta::Package& package : fUnpublished) {
    if (package->getFamily() == family && package->getVersion() == version) return package;
  }
  return meta::MetaRegistry::getInstance()->getPackage(meta::MetaRegistry::schemaBaseUri() + family + u"/" + version);
}

TypeTable KnownPackages::currentTypes() const {
  TypeTable types = TypeTable::ofCurrentVersions();
  for (const meta::Package& package : fUnpublished) {
    if (!package->getFamily().empty() && currentOf(package->getFamily()) != package) continue;
    const meta::Package before = meta::MetaRegistry::getInstance()->getPackageForFamily(package->getFamily());
    if (before && !package->getFamily().empty()) types.remove(before->getQualifiedName());
    types.add(package);
  }
  return types;
}

// --- Stages.

const Stage* stageAcross(const EvolutionRegistry::Stages& stages, const ustring& version) {
  const auto begins = [&](const Stage& stage) { return stage.from == version; };
  if (std::any_of(stages.begin(), stages.end(), begins)) return nullptr;
  for (const Stage& stage : stages) {
    if (isNewerVersion(version, stage.from) && isNewerVersion(stage.to, version)) return &stage;
  }
  return nullptr;
}

std::vector<const Stage*> stagesFrom(const EvolutionRegistry::Stages& stages, const ustring& version) {
  std::vector<const Stage*> chain;
  const ustring* reached = &version;
  for (const Stage& stage : stages) {
    if (isNewerVersion(*reached, stage.from)) continue;  // older, or leads past what was reached by another way
    chain.push_back(&stage);
    reached = &stage.to;
  }
  return chain;
}

void takeRegistered(Moment& moment, const ustring& family, const ustring& version, const KnownPackages& packages) {
  const meta::Package package = packages.find(family, version);
  if (!package) return;
  moment.types.remove(moment.package);
  moment.package = package->getQualifiedName();
  moment.types.remove(moment.package);
  moment.types.add(package);
  moment.isExact = true;
}

namespace {

/// Leads `moment` from the current version back, and tells of each stage what was known at both of its ends.
void goBack(const Chain& chain, Moment& moment, const KnownPackages& packages, History& history) {
  moment.package = chain.current->getQualifiedName();
  moment.isExact = true;
  for (auto at = chain.stages.rbegin(); at != chain.stages.rend(); ++at) {
    const Stage& stage = **at;
    takeRegistered(moment, chain.family, stage.to, packages);
    Era era{&chain, &stage, {}, std::make_shared<const TypeTable>(moment.types)};
    for (auto step = stage.steps.rbegin(); step != stage.steps.rend(); ++step) static_cast<void>(undo(*step, moment));
    moment.isExact = false;
    takeRegistered(moment, chain.family, stage.from, packages);
    era.start = moment;
    history.packageNames.emplace(moment.package, &chain);
    history.eras.push_back(std::move(era));
  }
  takeRegistered(moment, chain.family, chain.version, packages);
}

}  // namespace

History historyOf(const std::vector<Chain>& chains, const KnownPackages& packages) {
  History history;
  Moment moment;
  moment.types = packages.currentTypes();
  for (const Chain& chain : chains) history.packageNames.emplace(chain.current->getQualifiedName(), &chain);
  for (auto chain = chains.rbegin(); chain != chains.rend(); ++chain) goBack(*chain, moment, packages, history);
  std::reverse(history.eras.begin(), history.eras.end());
  history.oldest = std::move(moment.types);
  return history;
}

// --- Faults.

namespace {

std::string nameOf(const Stage& stage) { return "from " + quoted(stage.from) + " to " + quoted(stage.to); }

class Checker {
 public:
  Checker(const Definition& definition, const KnownPackages& packages)
      : fDefinition(definition),
        fPackages(packages),
        fRegistered(EvolutionRegistry::instance().stagesOf(definition.family)) {
    for (const std::string& text : definition.faultsOfCalls) fFaults.push_back({text});
  }

  std::vector<DefinitionFault> check() {
    fCurrent = fPackages.currentOf(fDefinition.family);
    if (fDefinition.family.empty()) {
      fFaults.push_back({"the family has no name"});
    } else if (!fCurrent || fCurrent->getFamily().empty()) {
      fFaults.push_back({"no version of the family is registered: register the package first" + suggestFamily()});
    }
    if (fDefinition.isOpen) fFaults.push_back({"from() without to()"});
    if (!fFaults.empty()) return std::move(fFaults);
    checkVersions();
    if (!fFaults.empty()) return std::move(fFaults);  // without an order of versions nothing can be said of the steps
    for (std::size_t i = 0; i < fDefinition.stages.size(); ++i) checkSteps(i);
    return std::move(fFaults);
  }

 private:
  [[nodiscard]] std::string suggestFamily() const {
    std::set<ustring> families;
    for (const meta::Package& package : meta::MetaRegistry::getInstance()->getPackages()) {
      if (!package->getFamily().empty()) families.insert(package->getFamily());
    }
    kern::internal::NearestName nearest(fDefinition.family);
    for (const ustring& family : families) nearest.offer(family);
    return nearest.suggestion();
  }

  void fault(std::size_t stage, const std::string& text) {
    fFaults.push_back({nameOf(fDefinition.stages[stage]) + ": " + text, stage});
  }

  void checkVersions() {
    fAll = *fRegistered;
    std::set<ustring> begun;
    for (const Stage& stage : fAll) begun.insert(stage.from);
    for (std::size_t i = 0; i < fDefinition.stages.size(); ++i) {
      const Stage& stage = fDefinition.stages[i];
      fAll.push_back(stage);
      if (stage.from.empty() || stage.to.empty()) {
        fault(i, "a version is empty");
      } else if (!isNewerVersion(stage.to, stage.from)) {
        fault(i, stage.to == stage.from ? "the versions are the same" : "leads back to an older version");
      } else if (!begun.insert(stage.from).second) {
        fault(i, "the steps from this version are declared already: add to those");
      }
    }
    std::sort(fAll.begin(), fAll.end(), [](const Stage& a, const Stage& b) { return isNewerVersion(b.from, a.from); });
    for (std::size_t i = 0; i < fDefinition.stages.size(); ++i) checkEnd(i);
  }

  void checkEnd(std::size_t index) {
    const Stage& stage = fDefinition.stages[index];
    const ustring& current = fCurrent->getVersion();
    if (stage.to.empty() || stage.to == current) return;
    if (isNewerVersion(stage.to, current)) {
      return fault(index, "the newest version of the family that is registered is " + quoted(current));
    }
    const auto leadsOn = [&](const Stage& next) { return next.from == stage.to; };
    if (std::any_of(fAll.begin(), fAll.end(), leadsOn) || fPackages.find(fDefinition.family, stage.to)) return;
    fault(index, "version " + quoted(stage.to) + " is unknown: it is not registered, and no steps lead on from it to " +
                     quoted(current) + " (there may be none to declare, but say so)");
  }

  void checkSteps(std::size_t index) {
    const Stage& stage = fDefinition.stages[index];
    Chain chain{fDefinition.family, stage.to, fCurrent, nullptr, stagesFrom(fAll, stage.to)};
    History history;
    Moment moment;
    moment.types = fPackages.currentTypes();
    goBack(chain, moment, fPackages, history);  // what is wrong further on is told there
    takeRegistered(moment, fDefinition.family, stage.to, fPackages);
    moment.isExact = stage.to == fCurrent->getVersion() || fPackages.find(fDefinition.family, stage.to);

    std::vector<DefinitionFault> faults;
    for (std::size_t i = stage.steps.size(); i-- > 0;) {
      const std::string wrong = undo(stage.steps[i], moment);
      if (!wrong.empty()) faults.push_back({nameOf(stage) + ", " + describe(stage.steps[i]) + ": " + wrong, index, i});
    }
    std::move(faults.rbegin(), faults.rend(), std::back_inserter(fFaults));
  }

  const Definition& fDefinition;
  const KnownPackages& fPackages;
  std::shared_ptr<const EvolutionRegistry::Stages> fRegistered;
  std::vector<DefinitionFault> fFaults;
  meta::Package fCurrent;
  EvolutionRegistry::Stages fAll;  // the registered ones and the new ones
};

}  // namespace

std::vector<DefinitionFault> faultsOf(const Definition& definition, const KnownPackages& packages) {
  return Checker(definition, packages).check();
}

}  // namespace tarn::kern::evolution::internal
