#pragma once

#include <cstdint>
#include <unordered_set>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include <tarn/kern/Model.h>

namespace tarn::kern::io {

/// The elements that a text mentions while it is read into a model, and which of them have got their contents.
///
/// An element is made at its first mention, so that whatever refers to it gets the real one and nothing is left to be
/// mended once its contents come. Those that never get any are dangling and leave the model when the reading is over.
///
/// It is used within one open transaction; only destroyDangling comes after the commit.
class MentionedElements {
 public:
  explicit MentionedElements(const Model& model);

  /// The element of that uuid, which is of exactly that class. One that was in the model before is noted in the log,
  /// once.
  /// @throws KernelError when there is one of another class; InstantiationError when the class is abstract.
  [[nodiscard]] ModelElement::Impl* mention(const meta::Class& type, const boost::uuids::uuid& uuid);

  /// Contents follow. @throws KernelError when the element has some already: it was in the model before, or the text
  /// brings them twice.
  void define(const ModelElement::Impl& element);

  /// Ends the reading; to be called before the commit, which may move the model's books about.
  void finish();
  /// Each with a warning in the log. Each destruction is a change of its own.
  void destroyDangling();

 private:
  enum class State : std::uint8_t { Foreign, Undefined, Defined };

  [[nodiscard]] State* stateOf(const ModelElement::Impl& element) noexcept;
  [[nodiscard]] ModelElement::Impl* make(const meta::Class& type, const boost::uuids::uuid& uuid);
  void noteExisting(const ModelElement::Impl& element);

  Model fModel;
  /// Elements that are made from now on have their place in the model's table here or behind.
  std::size_t fFirstPlace;
  std::vector<State> fStates;  // by place; Foreign what others made in the meantime, a bound store for instance
  std::unordered_set<const ModelElement::Impl*> fNoted;
  std::vector<ModelElement> fDangling;
};

}  // namespace tarn::kern::io
