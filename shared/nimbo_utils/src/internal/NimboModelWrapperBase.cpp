#include "quillon/nimbo/internal/NimboModelWrapperBase.h"

#include <deque>
#include <stdexcept>
#include <unordered_set>

#include <boost/optional.hpp>
#include <boost/uuid/uuid.hpp>

#include <strata_datasource/DataSource.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/Errors.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/datasource/ActiveDataSource.h>
#include <tarn/kern/datasource/DataSourceQuery.h>
#include <tarn/kern/meta/ElementMap.h>

#include "quillon/nimbo/Cloner.h"

namespace quillon::nimbo::internal {

using tarn::kern::ModelSpec;
using tarn::kern::ReflectionPrivateTag;
using tarn::kern::Transaction;
using tarn::kern::Value;
using tarn::kern::datasource::ActiveDataSource;
using tarn::kern::datasource::DataSourceQuery;

// --- Coming and going.

NimboModelWrapperBase::NimboModelWrapperBase(const Class& rootClass, const std::string& header, bool keepBytes,
                                             bool destroyOnRelease)
    : rootMetaClass(rootClass), magic(header), keepSerializedData(keepBytes), destroyModelOnRelease(destroyOnRelease) {}

NimboModelWrapperBase::NimboModelWrapperBase(const NimboModelWrapperBase& other)
    : NimboModelWrapperBase(other.rootMetaClass, other.magic, other.keepSerializedData, other.destroyModelOnRelease) {
  cloneFrom(other);
}

NimboModelWrapperBase::~NimboModelWrapperBase() {
  try {
    commitTransaction();
  } catch (...) {  // nobody is left to tell; what was not committed is rolled back below
  }
  if (destroyModelOnRelease && model) model->destroy();
  transaction.reset();
}

void NimboModelWrapperBase::makeModel() { model = Model::create(ModelSpec()); }

void NimboModelWrapperBase::makeRoot() {
  if (!rootMetaClass) {
    throw tarn::kern::InstantiationError(
        "the wrapper has no class for its root: pass a class of a registered package to its constructor");
  }
  root = rootMetaClass->instantiate(model, boost::uuids::uuid{});
}

namespace {

/// Whether the model is bound to a store that takes no change. Stores of a framework that cannot be asked take them
/// all.
template <class Store>
bool isForReadingOnly([[maybe_unused]] const tarn::kern::Model& model) {
  if constexpr (requires(const Store& store) { store.isReadOnly(); }) {
    const auto* store = dynamic_cast<const Store*>(model->getDataSource());
    return store != nullptr && store->isReadOnly();
  } else {
    return false;
  }
}

}  // namespace

void NimboModelWrapperBase::makeRootInTransaction() {
  if (isForReadingOnly<strata_datasource::DataSource>(model)) {
    makeRoot();  // refused at once, and told; the commit of a guard would end the process
    return;
  }
  const ScopedTransaction scope(*this);
  makeRoot();
}

void NimboModelWrapperBase::createModel() {
  if (!serializedData.empty()) {
    reloadingFromCache = true;
    parseBinString(serializedData);
    reloadingFromCache = false;  // not by a guard: see the field
    return;
  }
  makeModel();
  makeRoot();
}

void NimboModelWrapperBase::createModelIfNeeded() const {
  // Everything that this changes is mutable, but the hooks on its way are not const: a derived class sees its model
  // come.
  if (!model) const_cast<NimboModelWrapperBase*>(this)->createModel();
}

void NimboModelWrapperBase::reset() {
  if (model) {
    if (destroyModelOnRelease) model->destroy();
    model = nullptr;
    root = nullptr;
  }
  if (!reloadingFromCache) serializedData.clear();
}

void NimboModelWrapperBase::close() {
  if (strataFilePath_.empty()) return;
  resolveProxies();
  if (model) model->resetDataSource();  // there is none after a `reset` within a pending transaction
  strataFilePath_.clear();
}

void NimboModelWrapperBase::attachModel(const Model& newModel, const ustring& path) {
  strataFilePath_ = path;
  if (!newModel || newModel == model) return;
  root = nullptr;
  model = newModel;
  setRoot();
}

void NimboModelWrapperBase::detachModel() {
  model = nullptr;
  strataFilePath_.clear();
  root = nullptr;
}

void NimboModelWrapperBase::cloneFrom(const NimboModelWrapperBase& other) {
  reset();
  if (&other != this) serializedData = other.serializedData;
  if (!other.model) return;
  makeModel();
  Cloner cloner;
  cloner.setTargetModel(model);
  cloner.clone(other.model);
  setRoot();
}

void NimboModelWrapperBase::cloneAndReplace(const std::vector<ModelElement>& elements,
                                            const std::unordered_map<ModelElement, ModelElement>& replacements) {
  createModelIfNeeded();
  serializedData.clear();  // the model is about to change
  Cloner cloner(model);
  cloner.cloneAndReplace(elements, replacements);
  setRoot();
}

// --- Model and root.

NimboModelWrapperBase::Model NimboModelWrapperBase::getModel() const { return getModelRef(); }

const NimboModelWrapperBase::Model& NimboModelWrapperBase::getModelRef() const {
  createModelIfNeeded();
  return model;
}

NimboModelWrapperBase::ModelElement NimboModelWrapperBase::getRoot() const {
  createModelIfNeeded();
  return root;
}

bool NimboModelWrapperBase::modelExists() const { return static_cast<bool>(model); }

const NimboModelWrapperBase::ustring& NimboModelWrapperBase::strataFilePath() const { return strataFilePath_; }

bool NimboModelWrapperBase::getEvolveIfNeeded() const { return evolveIfNeeded; }

void NimboModelWrapperBase::setEvolveIfNeeded(bool on) { evolveIfNeeded = on; }

void NimboModelWrapperBase::setRoot() {
  if (root) return;
  if (!model) throw std::logic_error("there is no model to find a root in: a derived class calls setRoot too early");
  // A path may be left from a store that is gone, such as after parsing into a wrapper that was bound.
  const bool bound = !strataFilePath_.empty() && model->getDataSource() != nullptr;
  if (bound) {
    findRootInStore();
  } else {
    findRootAtTopLevel();
  }
  if (!root) makeRootInTransaction();
}

void NimboModelWrapperBase::findRootInStore() {
  const std::unique_ptr<DataSourceQuery> query(model->getDataSource()->createQuery());
  query->setCondition(query->classCondition(rootMetaClass, true));
  const std::vector<ModelElement> found = query->fetch({});
  if (!found.empty()) root = found.front();
}

void NimboModelWrapperBase::findRootAtTopLevel() {
  const std::vector<ModelElement> elements = model->getTopLevelElements();
  for (const ModelElement& element : elements) {
    if (!element->getMetaClass()->conformsTo(rootMetaClass)) continue;
    root = element;
    return;
  }
  if (!elements.empty()) throw NimboModelWrapperException(NimboModelWrapperException::Kind::RootNotFound);
}

// --- Proxies.

void NimboModelWrapperBase::resolveProxies(const ModelElement&) {}

bool NimboModelWrapperBase::mustResolveProxies(const Property& property) { return property->isComposite; }

namespace {

/// Calls `visit` for the attributes of the class and of all above it, each class's in the order of their names.
template <class Visit>
void forEachAttribute(const tarn::kern::meta::Class& type, Visit visit) {
  for (tarn::kern::meta::Class level = type; level; level = level->getSuperclass()) {
    for (const auto& [name, property] : level->getOwnedAttributes()) visit(property);
  }
}

void enqueueTargets(const Value& value, bool single, std::deque<tarn::kern::ModelElement>& queue) {
  if (single) {
    if (const auto target = value.get<tarn::kern::ModelElement>()) queue.push_back(target);
    return;
  }
  for (const tarn::kern::ModelElement& member : value.toElementCollection().getAllElements()) queue.push_back(member);
}

}  // namespace

void NimboModelWrapperBase::resolveProxies() {
  const ScopedTransaction scope(*this);
  std::deque<ModelElement> queue;
  std::unordered_set<ModelElement> handled;
  if (root) queue.push_back(root);
  while (!queue.empty()) {
    const ModelElement element = queue.front();
    queue.pop_front();
    // Asked here and not when it is queued: what a hook does to an element that waits is seen. Collections may hold
    // null, and a hook may destroy what waits.
    if (!element || element->isDestroyed() || !handled.insert(element).second) continue;
    resolveProxies(element);
    if (element->isDestroyed()) continue;  // replaced by another one, say: there is nothing to follow
    forEachAttribute(element->getMetaClass(), [&](const Property& property) {
      if (!mustResolveProxies(property)) return;
      enqueueTargets(element->getPropertyValue(property, ReflectionPrivateTag::PUBLIC_ACCESS), property->upper == 1,
                     queue);
    });
  }
}

// --- The transaction.

void NimboModelWrapperBase::beginTransaction() const {
  if (transaction) return;
  createModelIfNeeded();
  transaction = std::make_unique<Transaction>(model->beginTransaction(false));
}

void NimboModelWrapperBase::commitTransaction() const {
  if (!transaction) return;
  transaction->commit(boost::none);
  transaction.reset();
}

void NimboModelWrapperBase::rollbackTransaction() const {
  if (!transaction) return;
  transaction->rollBack();
  transaction.reset();
}

bool NimboModelWrapperBase::isInTransaction() const { return transaction != nullptr; }

void NimboModelWrapperBase::setDirty() const {
  createModelIfNeeded();  // first: in the deferred state the bytes are the only copy of the content
  serializedData.clear();
}

NimboModelWrapperBase::ScopedTransaction::ScopedTransaction(const NimboModelWrapperBase& owner) : wrapper(&owner) {
  init();
}

NimboModelWrapperBase::ScopedTransaction::ScopedTransaction(const NimboModelWrapperBase* owner) : wrapper(owner) {
  init();
}

void NimboModelWrapperBase::ScopedTransaction::init() {
  if (wrapper == nullptr) return;
  if (wrapper->isInTransaction()) {
    wrapper = nullptr;
  } else {
    wrapper->beginTransaction();
  }
}

NimboModelWrapperBase::ScopedTransaction::~ScopedTransaction() {
  if (wrapper != nullptr) wrapper->commitTransaction();
}

}  // namespace quillon::nimbo::internal
