#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <functional>
#include <memory>
#include <vector>

#include <boost/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include <tarn/export.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/Transaction.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Class.h>

namespace tarn::kern {

namespace datasource {
class ActiveDataSource;
}
namespace internal {
class ModelCore;
}

/// What a lookup does about elements of a bound store that are not in memory yet.
enum class FindElementBehavior : std::uint32_t {
  InMemory = 0,  ///< only what is in memory
  Anywhere = 1,  ///< also what the store holds
};

/// How a model is made. There is nothing to choose yet; the default is what every caller passes.
class TARN_EXPORT ModelSpec {
 public:
  ModelSpec();
  ~ModelSpec();
};

/// The net changes of one outermost commit, undo or redo.
struct TARN_EXPORT ModelChange {
  struct ChangedProperty {
    ModelElement element;
    meta::Property property;
  };
  std::vector<ModelElement> created;
  std::vector<ModelElement> destroyed;
  /// Each pair once, for elements that were there before and still are; a single value that came back to what it was is
  /// left out.
  std::vector<ChangedProperty> changed;
  /// What was passed to commit.
  boost::optional<Value> note;
};

/// Is told of changes. What an observer throws is collected (Model::Impl::takeObserverErrors) and stops nothing; what
/// it edits happens in a transaction of its own, after the one reported.
class TARN_EXPORT ModelObserver {
 public:
  ModelObserver() = default;
  ModelObserver(const ModelObserver&) = default;
  ModelObserver& operator=(const ModelObserver&) = default;
  virtual ~ModelObserver();

  /// After an outermost commit, undo or redo; also after each change made outside transactions.
  virtual void changed(const ModelChange& change);
  /// Before the content of a collection changes, and when that change is complete; at once, within the transaction.
  virtual void collectionModifying(const AbstractOwnedCollection& collection, const OCDChangeDescriptor& change);
  virtual void collectionCommitted(const AbstractOwnedCollection& collection);
};

/// Owns a set of elements: their identity, containment, references and history.
///
/// The content dies with the last Model handle; element handles that are left then read as destroyed. A model and
/// everything in it belongs to one thread at a time; different models may be used by different threads at once.
/// Invariant: no two live elements bear the same uuid; an element is top-level exactly when it has no container;
/// containment has no cycles; opposites agree; no live element refers to a destroyed one.
class TARN_EXPORT Model : public HandleBase {
 public:
  class Impl;

  Model() noexcept = default;
  Model(std::nullptr_t) noexcept {}  // NOLINT(google-explicit-constructor)
  explicit Model(Impl* impl) noexcept;

  /// A new empty model.
  [[nodiscard]] static Model create(const ModelSpec& spec);

  [[nodiscard]] Impl* operator->() const noexcept;
  [[nodiscard]] Impl& operator*() const noexcept;
  [[nodiscard]] Impl* get() const noexcept;

  friend bool operator==(const Model& a, const Model& b) noexcept { return a.fRecord == b.fRecord; }
};

class TARN_EXPORT Model::Impl final : public internal::CountedImpl {
 public:
  // --- Elements.

  /// The live element of that uuid, or a null handle. Constant time.
  [[nodiscard]] ModelElement findElement(const boost::uuids::uuid& uuid, FindElementBehavior behavior) const;
  /// The elements that have no container, in order of creation; one that lost its container comes last.
  [[nodiscard]] std::vector<ModelElement> getTopLevelElements() const;
  /// Every element, in order of creation.
  [[nodiscard]] std::vector<ModelElement> getAllElements(FindElementBehavior behavior) const;
  /// The elements of that class, those of derived classes included or not, in order of creation.
  [[nodiscard]] std::vector<ModelElement> getElementsOfClass(const meta::Class& type, bool withSubclasses) const;
  [[nodiscard]] std::size_t getElementCount() const noexcept;

  /// The URI of each package that the content uses, sorted, each once: the packages of the elements' classes, of their
  /// superclasses, and of the types of their properties that are written to files. Never the kernel's own.
  [[nodiscard]] std::vector<ustring> getUsedPackageUris() const;

  // --- Transactions.

  /// Opens a level inside those that are open. The flag is reserved; every caller passes false.
  /// A change made while no level is open is a committed transaction of its own.
  [[nodiscard]] Transaction beginTransaction(bool reserved);
  /// How many levels are open.
  [[nodiscard]] std::size_t getTransactionDepth() const noexcept;

  /// Keeps the outermost transactions that are committed from now on for undo, at most `steps` of them; 0 (the start
  /// state) keeps none and forgets those kept. @throws TransactionError while a level is open.
  void setUndoLimit(std::size_t steps);
  [[nodiscard]] bool canUndo() const noexcept;
  [[nodiscard]] bool canRedo() const noexcept;
  /// Undoes the newest kept transaction, or does the last undone one again. @throws TransactionError when there is none
  /// or a level is open.
  void undo();
  void redo();

  /// Neither owned nor counted; remove it before it dies. Adding one twice tells it once.
  void addObserver(ModelObserver* observer);
  void removeObserver(ModelObserver* observer);
  /// What observers threw since the last call.
  [[nodiscard]] std::vector<std::exception_ptr> takeObserverErrors();

  // --- Store.

  /// The bound store, or nullptr.
  [[nodiscard]] datasource::ActiveDataSource* getDataSource() const;
  /// Makes real whatever is not in memory yet, unbinds and releases the store; the model stays usable. Nothing happens
  /// when none is bound.
  void resetDataSource();

  /// Destroys the content while handles to it may still exist: they read as destroyed, open transactions are void, the
  /// history is forgotten. A bound store is let go first and keeps its last committed state. The model is empty then.
  void destroy();

  /// For the framework only.
  [[nodiscard]] internal::ModelCore& core() const noexcept { return *fCore; }

 private:
  friend class Model;
  Impl();
  ~Impl() override;
  void lastHandleGone() const noexcept override;

  internal::ModelCore* fCore;  // outlives the model while handles to its elements or transactions are left
};

inline Model::Model(Impl* impl) noexcept : HandleBase(impl) {}
inline Model::Impl* Model::get() const noexcept { return static_cast<Impl*>(fRecord); }
inline Model::Impl* Model::operator->() const noexcept { return get(); }
inline Model::Impl& Model::operator*() const noexcept { return *get(); }

}  // namespace tarn::kern

template <>
struct std::hash<tarn::kern::Model> {
  [[nodiscard]] std::size_t operator()(const tarn::kern::Model& model) const noexcept {
    return tarn::kern::hashOfAddress(model.get());
  }
};
