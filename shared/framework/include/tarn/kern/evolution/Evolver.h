#pragma once

#include <memory>
#include <string>
#include <vector>

#include <tarn/export.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/io/RawElement.h>

namespace tarn::kern::evolution {

using bedrock::i18n::ustring;

/// Content that cannot be brought to the current version of its package family: it is of a version newer than ours, no
/// step covers it, or a step does not work on it. The text names family, versions, type and property, the element,
/// where it stands in its source as far as the source has lines, and what would help.
class TARN_EXPORT EvolutionError : public KernelError {
 public:
  explicit EvolutionError(const std::string& text, io::RawPosition position = {});
  EvolutionError(const EvolutionError&) = default;
  EvolutionError& operator=(const EvolutionError&) = default;
  ~EvolutionError() override;

  /// Where the content stands in its source; line 0 when that is not known, or the error is about the whole document.
  [[nodiscard]] const io::RawPosition& position() const noexcept { return fPosition; }

 private:
  io::RawPosition fPosition;
};

/// Brings the content of one document from the package versions that it was written with to the current ones. The steps
/// are those that were registered for the packages' families (see Evolution.h); of a family without steps, content that
/// simply fits the current version is taken as it is.
///
/// A reader makes one per document and uses it so:
///
///     const Evolver evolver(packageUris);
///     if (!evolver.isNeeded()) ...                  // the content fits as it is
///     RawElement root = ...;                        // with everything that stands inside it
///     if (evolver.evolve(root)) load(root);
///
/// It knows the meta-model and the steps as they were when it was made. Threads: one at a time; several evolvers work
/// independently.
class TARN_EXPORT Evolver {
 public:
  /// URIs of packages that nobody registered, nor any other version of their family, are passed over: what is unknown
  /// is for the reader to tell. @throws EvolutionError when a URI names a version newer than the registered one, a
  /// version that lies inside a declared step, or when two URIs name different versions of one family.
  explicit Evolver(const std::vector<ustring>& packageUris);
  Evolver(Evolver&&) noexcept;
  Evolver& operator=(Evolver&&) noexcept;
  ~Evolver();

  /// True when a package of the document is older than the current version of its family.
  [[nodiscard]] bool isNeeded() const noexcept;

  /// Brings the element and everything inside it up to date, its references and their type names too. Type names that
  /// the source left out are filled in where the older version tells them. Does nothing when no evolution is needed.
  /// @return false when the class of the root was removed without a successor: there is nothing to load then.
  /// @throws EvolutionError; the root is in an intermediate state then, and of no use.
  [[nodiscard]] bool evolve(io::RawElement& root) const;

 private:
  struct State;
  std::unique_ptr<State> fState;
};

}  // namespace tarn::kern::evolution
