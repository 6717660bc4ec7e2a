#include <algorithm>
#include <map>
#include <optional>
#include <unordered_set>
#include <utility>

#include <tarn/kern/evolution/Evolver.h>

#include "../meta/VersionOrder.h"
#include "Chain.h"
#include "Coverage.h"
#include "Pass.h"
#include "Walk.h"

namespace tarn::kern::evolution {

using internal::Chain;
using internal::quoted;
using internal::Subject;

EvolutionError::EvolutionError(const std::string& text, io::RawPosition position)
    : KernelError(text), fPosition(position) {}
EvolutionError::~EvolutionError() = default;

namespace {

/// The names of the types of what was visited.
class TypeNames {
 public:
  void note(const ustring& name) {
    if (fLast == nullptr || *fLast != name) fLast = &*fNames.insert(name).first;
  }
  [[nodiscard]] std::unordered_set<ustring> take() { return std::move(fNames); }

 private:
  std::unordered_set<ustring> fNames;
  const ustring* fLast = nullptr;  // neighbours are often of one type
};

/// Fills in the names of types that the source left out, and notes which there are.
class TypeNaming {
 public:
  explicit TypeNaming(const internal::TypeTable& types) : fTypes(types) {}

  bool enter(const Subject& subject) {
    fNames.note(subject.typeName());
    return true;
  }
  void leave(const Subject&) const noexcept {}

  void property(const Subject& holder, io::RawProperty& property) {
    if (property.value.kind() != io::RawValue::Kind::List) return nameValue(holder, property.name, property.value);
    for (io::RawValue& entry : property.value.list()) nameValue(holder, property.name, entry);
  }

  bool reference(const Subject&, const io::RawProperty&, io::RawValue& value) {
    fNames.note(value.reference().typeName);
    return true;
  }

  [[nodiscard]] std::unordered_set<ustring> takeNames() { return fNames.take(); }

 private:
  void nameValue(const Subject& holder, const ustring& property, io::RawValue& value) const {
    ustring* name = nullptr;
    if (value.kind() == io::RawValue::Kind::Data) name = &value.data().typeName;
    if (value.kind() == io::RawValue::Kind::Element) name = &value.element().typeName;
    if (name == nullptr || !name->empty()) return;
    if (const internal::KnownProperty* known = fTypes.findProperty(holder.typeName(), property)) *name = known->type;
  }

  const internal::TypeTable& fTypes;
  TypeNames fNames;
};

/// Runs one pass, and notes which types there are then.
class Runner {
 public:
  explicit Runner(internal::Pass& pass) noexcept : fPass(pass) {}

  bool enter(const Subject& subject) {
    const internal::Pass::Course& course = fPass.courseOf(subject.typeName());
    if (!course.finalName) return false;
    if (fPass.reach() != internal::Reach::BottomUp) internal::Pass::run(course, subject);
    return true;
  }
  void leave(const Subject& subject) {
    if (fPass.reach() == internal::Reach::BottomUp) internal::Pass::run(fPass.courseOf(subject.typeName()), subject);
    fNames.note(subject.typeName());
  }
  void property(const Subject&, io::RawProperty&) const noexcept {}
  bool reference(const Subject&, const io::RawProperty&, io::RawValue& value) {
    ustring& typeName = value.reference().typeName;
    const internal::Pass::Course& course = fPass.courseOf(typeName);
    if (!course.finalName) return false;
    if (*course.finalName != typeName) typeName = *course.finalName;
    fNames.note(typeName);
    return true;
  }

  [[nodiscard]] std::unordered_set<ustring> takeNames() {
    std::unordered_set<ustring> names = fNames.take();
    fPass.addMade(names);
    return names;
  }

 private:
  internal::Pass& fPass;
  TypeNames fNames;
};

/// The family and version of a URI within the schema's base; nothing for any other URI.
std::optional<std::pair<ustring, ustring>> partsOf(const ustring& uri) {
  const ustring& base = meta::MetaRegistry::schemaBaseUri();
  if (!uri.starts_with(base)) return std::nullopt;
  const std::size_t slash = uri.find(u'/', base.size());
  if (slash == ustring::npos) return std::nullopt;
  return std::pair(uri.substr(base.size(), slash - base.size()), uri.substr(slash + 1));
}

void refuseNewer(const Chain& chain) {
  const ustring& current = chain.current->getVersion();
  if (!meta::internal::isNewerVersion(chain.version, current)) return;
  throw EvolutionError("family " + quoted(chain.family) + ": the content is of version " + quoted(chain.version) +
                       ", which is newer than version " + quoted(current) +
                       " known here: update the application, or register that version of the package");
}

void refuseInside(const Chain& chain) {
  const internal::Stage* across = internal::stageAcross(*chain.keptAlive, chain.version);
  if (across == nullptr) return;
  throw EvolutionError("family " + quoted(chain.family) + ": the content is of version " + quoted(chain.version) +
                       ", from which no steps are declared, only from " + quoted(across->from) + " to " +
                       quoted(across->to) + " across it: declare steps from " + quoted(chain.version));
}

std::vector<Chain> chainsOf(const std::vector<ustring>& packageUris) {
  const internal::KnownPackages packages;
  std::map<ustring, ustring> versions;  // by family, in a fixed order
  for (const ustring& uri : packageUris) {
    const auto parts = partsOf(uri);
    if (!parts) continue;
    const auto [at, isNew] = versions.emplace(parts->first, parts->second);
    if (isNew || at->second == parts->second || !packages.currentOf(parts->first)) continue;
    throw EvolutionError("family " + quoted(parts->first) + ": the content names two versions, " + quoted(at->second) +
                         " and " + quoted(parts->second) + ": names of types cannot tell which one they belong to");
  }
  std::vector<Chain> chains;
  for (const auto& [family, version] : versions) {
    Chain chain{
        family, version, packages.currentOf(family), internal::EvolutionRegistry::instance().stagesOf(family), {}};
    if (!chain.current || chain.current->getVersion() == version) continue;
    refuseNewer(chain);
    refuseInside(chain);
    chain.stages = internal::stagesFrom(*chain.keptAlive, version);
    chains.push_back(std::move(chain));
  }
  return chains;
}

}  // namespace

struct Evolver::State {
  explicit State(const std::vector<ustring>& packageUris) : chains(chainsOf(packageUris)) {
    if (chains.empty()) return;
    internal::History history = internal::historyOf(chains, internal::KnownPackages());
    passes = internal::passesOf(history);
    oldest = std::move(history.oldest);
    coverage.emplace(std::move(history.packageNames));
  }

  std::vector<Chain> chains;
  std::vector<internal::Pass> passes;
  internal::TypeTable oldest;
  std::optional<internal::Coverage> coverage;
};

Evolver::Evolver(const std::vector<ustring>& packageUris) : fState(std::make_unique<State>(packageUris)) {}
Evolver::Evolver(Evolver&&) noexcept = default;
Evolver& Evolver::operator=(Evolver&&) noexcept = default;
Evolver::~Evolver() = default;

bool Evolver::isNeeded() const noexcept { return !fState->chains.empty(); }

bool Evolver::evolve(io::RawElement& root) const {
  if (!isNeeded()) return true;
  TypeNaming naming(fState->oldest);
  static_cast<void>(internal::Walk(naming).element(root));
  std::unordered_set<ustring> names = naming.takeNames();
  for (internal::Pass& pass : fState->passes) {
    if (!pass.concerns(names)) continue;
    Runner runner(pass);
    if (!internal::Walk(runner).element(root)) return false;
    names = runner.takeNames();
  }
  static_cast<void>(internal::Walk(*fState->coverage).element(root));
  return true;
}

}  // namespace tarn::kern::evolution
