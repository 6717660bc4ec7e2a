#include <set>
#include <unordered_set>

#include <tarn/kern/Model.h>
#include <tarn/kern/Testing.h>
#include <tarn/kern/meta/Package.h>

#include "ErrorTexts.h"
#include "ModelCore.h"
#include "TransactionLevel.h"

namespace tarn::kern {

using internal::ElementRecord;
using internal::ModelCore;

ModelSpec::ModelSpec() = default;
ModelSpec::~ModelSpec() = default;

ModelObserver::~ModelObserver() = default;
void ModelObserver::changed(const ModelChange&) {}
void ModelObserver::collectionModifying(const AbstractOwnedCollection&, const OCDChangeDescriptor&) {}
void ModelObserver::collectionCommitted(const AbstractOwnedCollection&) {}

Model Model::create(const ModelSpec&) { return Model(new Impl()); }

Model::Impl::Impl() : fCore(new ModelCore(this)) { fFreedWithLastHandle = true; }
Model::Impl::~Impl() = default;

void Model::Impl::lastHandleGone() const noexcept {
  fCore->modelGone();  // frees the core too, unless handles to elements or transactions are left
  delete this;
}

ModelElement Model::Impl::findElement(const boost::uuids::uuid& uuid, FindElementBehavior behavior) const {
  ElementRecord* found = fCore->find(uuid);
  const bool isElsewhere = found == nullptr && fCore->store() != nullptr && behavior == FindElementBehavior::Anywhere;
  return ModelElement(isElsewhere ? fCore->store()->find(uuid) : found);
}

namespace {

std::vector<ModelElement> handlesTo(const std::vector<ElementRecord*>& records) {
  std::vector<ModelElement> elements;
  elements.reserve(records.size());
  for (ElementRecord* record : records) elements.emplace_back(record);
  return elements;
}

}  // namespace

std::vector<ModelElement> Model::Impl::getTopLevelElements() const {
  return fCore->store() != nullptr ? handlesTo(fCore->store()->topLevel()) : fCore->topLevelElements();
}

namespace {

template <class Test>
std::vector<ModelElement> liveElements(const ModelCore& core, std::size_t expected, Test test) {
  std::vector<ModelElement> elements;
  elements.reserve(expected);
  for (ElementRecord* record : core.table()) {
    if (record != nullptr && record->isLive() && test(*record)) elements.emplace_back(record);
  }
  return elements;
}

}  // namespace

std::vector<ModelElement> Model::Impl::getAllElements(FindElementBehavior behavior) const {
  const bool askStore = fCore->store() != nullptr && behavior == FindElementBehavior::Anywhere;
  if (askStore) return handlesTo(fCore->store()->all());
  return liveElements(*fCore, fCore->liveCount(), [](const ElementRecord&) { return true; });
}

std::vector<ModelElement> Model::Impl::getElementsOfClass(const meta::Class& type, bool withSubclasses) const {
  if (fCore->store() != nullptr) return handlesTo(fCore->store()->ofClass(type, withSubclasses));
  // Conformance is asked once per class, not per element.
  std::unordered_set<const meta::Class::Impl*> wanted;
  std::unordered_set<const meta::Class::Impl*> others;
  return liveElements(*fCore, 0, [&](const ElementRecord& record) {
    const meta::Class& actual = record.getMetaClass();
    if (actual == type) return true;
    if (!withSubclasses) return false;
    if (wanted.contains(actual.get())) return true;
    if (others.contains(actual.get())) return false;
    const bool conforms = actual->conformsTo(type);
    (conforms ? wanted : others).insert(actual.get());
    return conforms;
  });
}

std::size_t Model::Impl::getElementCount() const noexcept {
  const std::size_t elsewhere = fCore->store() == nullptr ? 0 : fCore->store()->countNotInMemory();
  return fCore->liveCount() + elsewhere;
}

namespace {

/// Gathers the packages that a type needs to be understood: its own, its supertypes', its attributes' types'.
class PackageCollector {
 public:
  void addClass(const meta::Class& type) {
    if (!type || !fSeen.insert(type.get()).second) return;
    addPackageOf(type);
    for (const meta::Property& property : type->getAllProperties()) addTypeOf(property);
    addSupertypes(type);
  }

  [[nodiscard]] std::vector<ustring> uris() const { return {fUris.begin(), fUris.end()}; }

 private:
  void addSupertypes(const meta::Class& type) {
    std::vector<meta::Class> open = {type};
    while (!open.empty()) {
      const meta::Class current = open.back();
      open.pop_back();
      std::vector<meta::Class> above = current->getFurtherSupertypes();
      above.push_back(current->getSuperclass());
      for (const meta::Class& supertype : above) {
        if (!supertype || !fSeenAsSupertype.insert(supertype.get()).second) continue;
        addPackageOf(supertype);
        open.push_back(supertype);
      }
    }
  }

  void addTypeOf(const meta::Property& property) {
    if (property->isOmitted) return;
    const meta::Type& type = property->getType();
    addPackageOf(type);
    const auto data = narrow<meta::DataType>(type);
    if (!data || !fSeen.insert(data.get()).second) return;
    for (const meta::Property& attribute : data->getAllProperties()) addTypeOf(attribute);
  }

  void addPackageOf(const meta::Type& type) {
    const meta::Package package = type->getOwningPackage();
    if (package && package != fKernel) fUris.insert(package->getUri());
  }

  std::unordered_set<const meta::Type::Impl*> fSeen;
  std::unordered_set<const meta::Type::Impl*> fSeenAsSupertype;
  std::set<ustring> fUris;
  meta::Package fKernel = ModelElement::metaClass()->getOwningPackage();
};

}  // namespace

std::vector<ustring> Model::Impl::getUsedPackageUris() const {
  PackageCollector packages;
  const meta::Class::Impl* last = nullptr;
  for (const ElementRecord* record : fCore->table()) {
    if (record == nullptr || !record->isLive() || record->getMetaClass().get() == last) continue;
    packages.addClass(record->getMetaClass());
    last = record->getMetaClass().get();
  }
  if (fCore->store() != nullptr) {
    for (const meta::Class& type : fCore->store()->classesNotInMemory()) packages.addClass(type);
  }
  return packages.uris();
}

Transaction Model::Impl::beginTransaction(bool) {
  const std::uint64_t id = fCore->begin(false);
  try {
    return Transaction(std::make_unique<Transaction::Level>(*fCore, id));
  } catch (...) {
    fCore->abandon(id);
    throw;
  }
}

std::size_t Model::Impl::getTransactionDepth() const noexcept { return fCore->depth(); }
void Model::Impl::setUndoLimit(std::size_t steps) { fCore->setUndoLimit(steps); }
bool Model::Impl::canUndo() const noexcept { return fCore->canUndo(); }
bool Model::Impl::canRedo() const noexcept { return fCore->canRedo(); }
void Model::Impl::undo() { fCore->undo(); }
void Model::Impl::redo() { fCore->redo(); }
void Model::Impl::addObserver(ModelObserver* observer) { fCore->addObserver(observer); }
void Model::Impl::removeObserver(ModelObserver* observer) { fCore->removeObserver(observer); }
std::vector<std::exception_ptr> Model::Impl::takeObserverErrors() { return fCore->takeObserverErrors(); }

datasource::ActiveDataSource* Model::Impl::getDataSource() const {
  return fCore->store() == nullptr ? nullptr : &fCore->store()->dataSource();
}
void Model::Impl::resetDataSource() { fCore->unbind(); }

void Model::Impl::destroy() {
  fCore->letStoreGo();
  fCore->destroyContent();
}

namespace testhooks {

void failNextCommit(const Model& model, std::string text) { model->core().failNextCommit(std::move(text)); }

bool isLoaded(const ModelElement& element) {
  const ElementRecord* record = internal::recordOf(element);
  return record != nullptr && record->state == ElementRecord::State::Live;
}

}  // namespace testhooks

}  // namespace tarn::kern
