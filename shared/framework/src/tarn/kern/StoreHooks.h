#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include <tarn/kern/datasource/ActiveDataSource.h>
#include <tarn/kern/meta/Class.h>

#include "Journal.h"

namespace tarn::kern::internal {

class ElementRecord;

/// What the core of a model asks of the store that it is bound to: to fill elements that were only named so far, to
/// find what is not in memory, and to take changes over. The only way from the kernel to a store.
///
/// A store that is bound knows every element that came from it (ElementRecord::isFromStore) and every one that it has
/// written since. Invariant that both sides keep: what an unloaded element holds, in its slots and around it (its
/// container, its partners, what refers to it), is in the store as it is in the model. So whoever changes a slot of an
/// element, or what stands in one, loads that element first.
class StoreHooks {
 public:
  StoreHooks(const StoreHooks&) = delete;
  StoreHooks& operator=(const StoreHooks&) = delete;
  virtual ~StoreHooks();

  [[nodiscard]] virtual datasource::ActiveDataSource& dataSource() noexcept = 0;

  // --- Reading. What is not in memory yet appears as an unloaded element. @throws strata::StoreError

  /// Fills an unloaded element; others that will most likely be wanted next come with it. On failure it stays unloaded.
  virtual void load(ElementRecord& element) = 0;
  /// The element of that uuid when it is in the store and was not in memory; otherwise nullptr.
  [[nodiscard]] virtual ElementRecord* find(const boost::uuids::uuid& uuid) = 0;
  /// Loads every element that refers to this one by a plain reference.
  virtual void loadReferrers(const ElementRecord& target) = 0;
  /// All live elements, the live top-level ones, those of a class: in order of creation, in memory or not.
  [[nodiscard]] virtual std::vector<ElementRecord*> all() = 0;
  [[nodiscard]] virtual std::vector<ElementRecord*> topLevel() = 0;
  [[nodiscard]] virtual std::vector<ElementRecord*> ofClass(const meta::Class& type, bool withSubclasses) = 0;
  /// The classes of the elements that are not in memory, and perhaps others that the store knows.
  [[nodiscard]] virtual std::vector<meta::Class> classesNotInMemory() = 0;
  /// How many elements are not in memory. Absent an answer 0.
  [[nodiscard]] virtual std::size_t countNotInMemory() noexcept = 0;

  // --- Changes.

  /// The journal of one change, and the range of the table that holds what it created.
  struct Changes {
    const Journal& entries;
    std::uint32_t tableStart = 0;
    std::uint32_t tableEnd = 0;
    bool isReplay = false;  ///< undone or redone: the entries were applied once more since they were made
  };
  /// Remembers a change that was made outside transactions.
  virtual void note(const Changes& changes) = 0;
  /// Writes a change, and all that was remembered, as one transaction of the store. On failure the store is as it was.
  virtual void write(const Changes& changes) = 0;
  /// A record is about to be freed.
  virtual void forget(const ElementRecord& element) noexcept = 0;

  // --- The end of the binding.

  /// Loads everything.
  virtual void loadAll() = 0;
  /// Writes what was remembered. @pre no transaction is open.
  virtual void flush() = 0;
  /// For putting the elements in order when the store is gone. The place of an element that came from the store among
  /// all such, and the rank of a place in the core's list of top-level elements that stands for one in the store;
  /// otherwise 0.
  [[nodiscard]] virtual std::int64_t orderOf(const ElementRecord& element) const noexcept = 0;
  [[nodiscard]] virtual std::int64_t topOrderAt(std::uint32_t topPosition) const noexcept = 0;

 protected:
  StoreHooks() = default;
};

}  // namespace tarn::kern::internal
