#include "quillon/nimbo/Cloner.h"

#include <algorithm>
#include <span>
#include <stdexcept>
#include <utility>

#include <boost/none.hpp>

#include <bedrock/deep_call.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/Transaction.h>
#include <tarn/kern/meta/Class.h>

#include "CloneIntoEmpty.h"
#include "PropertyCopies.h"

namespace quillon::nimbo {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::Model;
using kern::ModelElement;
using kern::Value;
using meta::Property;

namespace {

/// A collection of references whose other end writes into it as well, in the order in which the walk comes by.
bool isFilledFromBothEnds(const Property& property) {
  return property->upper > 1 && !property->isComposite && property->getOpposite();
}

// Out of line: nothing of it may widen the frames of the recursion.
[[gnu::noinline]] void writeReference(const ModelElement& target, const Property& property, const ModelElement& clone) {
  target->setPropertyValue(property, Value(kern::ValueMeta(clone->getMetaClass(), kern::ValueFlags::Single), clone),
                           kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
}

bool holdSame(std::vector<ModelElement> a, std::vector<ModelElement> b) {
  std::sort(a.begin(), a.end());
  std::sort(b.begin(), b.end());
  return a == b;
}

}  // namespace

Cloner::Cloner() = default;
Cloner::Cloner(const Model& target) : fTargetModel(target) {}
Cloner::Cloner(const Cloner& other) = default;
Cloner& Cloner::operator=(const Cloner& other) = default;
Cloner::~Cloner() = default;

Cloner::Cloner(Cloner&& other) noexcept = default;
Cloner& Cloner::operator=(Cloner&& other) noexcept = default;

void Cloner::setTargetModel(const Model& model) { fTargetModel = model; }
Model Cloner::getTargetModel() const { return fTargetModel; }

void Cloner::clone(const std::vector<ModelElement>& elements) {
  if (!fTargetModel) fTargetModel = Model::create(kern::ModelSpec());
  kern::Transaction transaction = fTargetModel->beginTransaction(false);
  if (!isFirstIntoEmpty(elements) || !detail::cloneIntoEmpty(fTargetModel, elements)) {
    for (const ModelElement& element : elements) cloneModelElement(element);
    fVisited.clear();
  }
  transaction.commit(boost::none);
}

void Cloner::clone(const Model& model) {
  if (!model) throw std::invalid_argument("a null model cannot be cloned: open or create the source model first");
  fReplacements = nullptr;
  clone(model->getTopLevelElements());
}

void Cloner::cloneAndReplace(const std::vector<ModelElement>& elements,
                             const std::unordered_map<ModelElement, ModelElement>& replacements) {
  fReplacements = &replacements;
  clone(elements);
  fReplacements = nullptr;
}

/// All that the target will hold is put there by this call, from a single model and as it is.
bool Cloner::isFirstIntoEmpty(const std::vector<ModelElement>& elements) const {
  const bool isEmpty = fTargetModel->getElementCount() == 0 && fTargetModel->getDataSource() == nullptr;
  if (fReplacements != nullptr || !isEmpty || elements.empty() || !elements.front()) return false;
  const Model model = elements.front()->getModel();
  return model && std::all_of(elements.begin(), elements.end(),
                              [&](const ModelElement& element) { return element && element->getModel() == model; });
}

const ModelElement& Cloner::replacementOf(const ModelElement& source) const {
  if (fReplacements == nullptr) return source;
  const auto found = fReplacements->find(source);
  return found == fReplacements->end() ? source : found->second;
}

ModelElement Cloner::cloneModelElement(const ModelElement& source) {
  if (!source) return ModelElement();
  const ModelElement& current = replacementOf(source);
  if (!current) return ModelElement();
  // The key, not its replacement. A second meeting ends here: the first one has made the target.
  if (const ModelElement* const known = fVisited.find(source.get())) return *known;
  const meta::Class& type = current->getMetaClass();
  ModelElement target = fTargetModel->findElement(current->getUuid(), kern::FindElementBehavior::Anywhere);
  const bool isNew = !target;
  if (isNew) target = type->instantiate(fTargetModel, current->getUuid());
  fVisited.tryEmplace(source.get(), target);
  if (isNew) {
    for (const Property& property : type->getAllPrimitiveProperties()) {
      if (!property->isOmitted) clonePrimitiveProperty(current, target, property);
    }
  }
  const bool isReplaced = current != source;
  for (const Property& property : type->getAllClassProperties()) {
    if (!detail::isFollowed(property, isReplaced)) continue;
    if (property->upper > 1) {
      cloneElements(source, target, property, isNew);
    } else {
      cloneClassProperty(source, target, property);
    }
    if (isNew && isFilledFromBothEnds(property)) restoreOrder(source, target, property);
  }
  return target;
}

/// A single-valued one.
void Cloner::cloneClassProperty(const ModelElement& source, ModelElement& target, const Property& property) {
  const ModelElement member(source->peekElement(property));
  if (!member) return;  // the target keeps what it has
  const ModelElement clone = bedrock::stack::callDeep([&] { return cloneModelElement(member); });
  if (clone) writeReference(target, property, clone);
}

[[gnu::noinline]] void Cloner::cloneElements(const ModelElement& source, const ModelElement& target,
                                             const Property& property, bool isNew) {
  const std::span<ModelElement::Impl* const> present = source->peekElements(property);
  if (present.empty()) return;
  // Taken before anything is added: source and target may be the same element.
  const std::vector<ModelElement::Impl*> members(present.begin(), present.end());
  // A new element's collection that nobody else writes into gets all its members at once. Others may be the opposites
  // of members, and keys that have the same replacement.
  const bool isOwn = isNew && fReplacements == nullptr && (property->isComposite || !property->getOpposite());
  std::vector<ModelElement> clones;
  if (isOwn) clones.reserve(members.size());
  for (ModelElement::Impl* const member : members) {
    ModelElement clone = bedrock::stack::callDeep([&] { return cloneModelElement(ModelElement(member)); });
    if (!clone) continue;
    if (isOwn) {
      clones.push_back(std::move(clone));
    } else {
      detail::readPrivileged(target, property).toElementCollection().addElement(clone);
    }
  }
  if (!clones.empty()) detail::readPrivileged(target, property).toElementCollection().assign(clones);
}

/// A member that was reached on another way has entered itself by its opposite before its turn. Only when the clones
/// are all that the collection holds; a member that came from elsewhere leaves the order open.
[[gnu::noinline]] void Cloner::restoreOrder(const ModelElement& source, const ModelElement& target,
                                            const Property& property) const {
  const std::span<ModelElement::Impl* const> sources = source->peekElements(property);
  std::vector<ModelElement> clones;
  clones.reserve(sources.size());
  for (ModelElement::Impl* const member : sources) {
    const ModelElement handle(member);
    const ModelElement* current = handle ? &replacementOf(handle) : &handle;
    if (!*current) continue;
    clones.push_back(fTargetModel->findElement((*current)->getUuid(), kern::FindElementBehavior::Anywhere));
  }
  const Value value = detail::readPrivileged(target, property);
  kern::ElementCollection& collection = value.toElementCollection();
  if (collection.size() != clones.size()) return;
  const std::vector<ModelElement> present = collection.getAllElements();
  if (present != clones && holdSame(present, clones)) collection.assign(clones);
}

void Cloner::clonePrimitiveProperty(const ModelElement& source, ModelElement& target, const Property& property) {
  detail::copyPrimitiveProperty(source, target, property);
}

}  // namespace quillon::nimbo
