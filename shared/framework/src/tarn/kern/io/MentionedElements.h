#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
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
  /// @param expected how many elements there will be, roughly
  explicit MentionedElements(const Model& model, std::size_t expected = 0);

  /// The element of that uuid, which is of exactly that class. One that was in the model before is noted in the log,
  /// once.
  /// @throws KernelError when there is one of another class; InstantiationError when the class is abstract.
  [[nodiscard]] ModelElement::Impl* mention(const meta::Class& type, const boost::uuids::uuid& uuid);

  /// The same where contents follow. @throws KernelError also when the element has some already: it was in the model
  /// before, or the text brings them twice.
  [[nodiscard]] ModelElement::Impl* define(const meta::Class& type, const boost::uuids::uuid& uuid);

  /// Asks the memory for what a mention of that uuid will need: it lies anywhere, and waiting for it is most of the
  /// cost.
  void expect(const boost::uuids::uuid& uuid) const noexcept { __builtin_prefetch(&fEntries[homeOf(uuid)]); }

  /// Ends the reading; to be called before the commit, which may move the model's books about.
  void finish();
  /// Each with a warning in the log. Each destruction is a change of its own.
  void destroyDangling();

 private:
  enum class State : std::uint8_t { Existing, Undefined, Defined };

  /// What is known of one uuid, so that a further mention needs no look at the element, which may lie anywhere in
  /// memory.
  class Entry {
   public:
    Entry() noexcept = default;
    Entry(ModelElement::Impl* element, State state) noexcept;

    [[nodiscard]] bool isUsed() const noexcept { return fTagged != 0; }
    [[nodiscard]] const boost::uuids::uuid& uuid() const noexcept { return fUuid; }
    [[nodiscard]] const meta::Class::Impl* type() const noexcept { return fType; }
    [[nodiscard]] ModelElement::Impl* element() const noexcept {
      return reinterpret_cast<ModelElement::Impl*>(fTagged & ~kStateMask);
    }
    [[nodiscard]] State state() const noexcept { return static_cast<State>(fTagged & kStateMask); }
    void setDefined() noexcept { fTagged = (fTagged & ~kStateMask) | static_cast<std::uintptr_t>(State::Defined); }

   private:
    static constexpr std::uintptr_t kStateMask = 3;  // elements are aligned to more than this
    boost::uuids::uuid fUuid{};
    const meta::Class::Impl* fType = nullptr;
    std::uintptr_t fTagged = 0;
  };
  static_assert(sizeof(Entry) == 32, "two to a cache line");

  [[nodiscard]] Entry& entryOf(const meta::Class& type, const boost::uuids::uuid& uuid);
  [[nodiscard]] std::size_t homeOf(const boost::uuids::uuid& uuid) const noexcept;
  [[nodiscard]] Entry& place(const boost::uuids::uuid& uuid) noexcept;
  [[nodiscard]] Entry firstMention(const meta::Class& type, const boost::uuids::uuid& uuid);
  void growTo(std::size_t size);

  Model fModel;
  bool fMayHoldSome;  ///< the model, of what the text mentions
  /// Elements that are made from now on have their place in the model's table here or behind.
  std::size_t fFirstPlace;
  std::vector<Entry> fEntries;  // open addressing
  std::size_t fUsed = 0;
  std::size_t fUndefined = 0;
  std::vector<ModelElement> fDangling;
};

}  // namespace tarn::kern::io
