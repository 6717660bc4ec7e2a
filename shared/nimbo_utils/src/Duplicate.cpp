#include "quillon/nimbo/Duplicate.h"

#include <algorithm>
#include <cstddef>
#include <stdexcept>
#include <unordered_map>
#include <utility>

#include <boost/none.hpp>
#include <boost/uuid/uuid.hpp>

#include <bedrock/deep_call.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/Transaction.h>
#include <tarn/kern/meta/Class.h>

#include "PropertyCopies.h"

namespace quillon::nimbo {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::Model;
using kern::ModelElement;
using kern::ReflectiveDataType;
using kern::Value;
using meta::Property;

namespace {

bool isBackReference(const Property& property) {
  return property->getOpposite() && property->getOpposite()->isComposite;
}

bool isData(const Property& property) { return static_cast<bool>(narrow<meta::DataType>(property->getType())); }

void write(const ModelElement& element, const Property& property, const Value& value) {
  element->setPropertyValue(property, value, kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
}

/// One call: first all copies are made, each where it belongs, then what refers.
class Duplication {
 public:
  explicit Duplication(const Model& target) : fTarget(target) {}

  void run(const std::vector<ModelElement>& elements) {
    for (const ModelElement& element : elements) collect(element);
    for (const ModelElement& source : fSources) makeCopy(source);
    for (const ModelElement& source : fSources) copyContainment(source);
    for (const ModelElement& source : fSources) copyReferences(source);
  }

  /// Null for what was not copied.
  [[nodiscard]] ModelElement copyOf(const ModelElement& source) const {
    const auto found = fCopies.find(source);
    return found == fCopies.end() ? ModelElement() : found->second;
  }

 private:
  /// The element and what it contains, containers first. What is contained waits in a list: no depth costs stack.
  void collect(const ModelElement& root) {
    std::vector<ModelElement> open{root};
    while (!open.empty()) {
      const ModelElement source = std::move(open.back());
      open.pop_back();
      if (!source || !fCopies.try_emplace(source).second) continue;
      fSources.push_back(source);
      const std::size_t first = open.size();
      for (const Property& property : source->getMetaClass()->getAllClassProperties()) {
        if (!property->isComposite || property->isOmitted) continue;
        for (ModelElement& member : targetsOf(source, property)) open.push_back(std::move(member));
      }
      std::reverse(open.begin() + static_cast<std::ptrdiff_t>(first), open.end());  // the first is taken first
    }
  }

  /// What a property of class type holds, null members of collections included.
  [[nodiscard]] static std::vector<ModelElement> targetsOf(const ModelElement& source, const Property& property) {
    std::vector<ModelElement> targets;
    if (property->upper > 1) {
      for (ModelElement::Impl* const member : source->peekElements(property)) targets.emplace_back(member);
    } else if (ModelElement::Impl* const target = source->peekElement(property)) {
      targets.emplace_back(target);
    }
    return targets;
  }

  void makeCopy(const ModelElement& source) {
    const meta::Class& type = source->getMetaClass();
    ModelElement copy = type->instantiate(fTarget, boost::uuids::uuid{});
    for (const Property& property : type->getAllPrimitiveProperties()) {
      if (!property->isOmitted && !isData(property)) detail::copyPrimitiveProperty(source, copy, property);
    }
    fCopies[source] = std::move(copy);
  }

  void copyContainment(const ModelElement& source) {
    const ModelElement copy = copyOf(source);
    for (const Property& property : source->getMetaClass()->getAllClassProperties()) {
      if (!property->isComposite || property->isOmitted) continue;
      std::vector<ModelElement> copies;
      for (const ModelElement& member : targetsOf(source, property)) copies.push_back(copyOf(member));
      writeTargets(copy, property, copies);
    }
  }

  void copyReferences(const ModelElement& source) {
    const ModelElement copy = copyOf(source);
    for (const Property& property : source->getMetaClass()->getAllProperties()) {
      if (property->isOmitted) continue;
      if (isData(property)) {
        copyData(source, copy, property);
      } else if (property->isReference() && !property->isComposite && !isBackReference(property)) {
        writeTargets(copy, property, resolveAll(targetsOf(source, property), property));
      }
    }
  }

  /// As one change, so that members which an opposite has put there before stand in their order.
  static void writeTargets(const ModelElement& copy, const Property& property,
                           const std::vector<ModelElement>& targets) {
    if (targets.empty()) return;
    if (property->upper > 1) {
      detail::readPrivileged(copy, property).toElementCollection().assign(targets);
    } else if (targets.front()) {
      write(copy, property, Value(targets.front()));
    }
  }

  /// What the copy refers to instead; null when the reference is left out.
  [[nodiscard]] ModelElement resolve(const ModelElement& target, const Property& property) const {
    if (ModelElement copy = copyOf(target)) return copy;
    if (target->isDestroyed() || target->getModel() != fTarget) return ModelElement();
    const Property& opposite = property->getOpposite();
    return opposite && opposite->upper < 2 ? ModelElement() : target;  // it would be taken from the original
  }

  [[nodiscard]] std::vector<ModelElement> resolveAll(const std::vector<ModelElement>& targets,
                                                     const Property& property) const {
    std::vector<ModelElement> resolved;
    resolved.reserve(targets.size());
    for (const ModelElement& target : targets) {
      ModelElement instead = target ? resolve(target, property) : ModelElement();
      if (instead || !target) resolved.push_back(std::move(instead));
    }
    return resolved;
  }

  // --- Data values.

  void copyData(const ModelElement& source, const ModelElement& copy, const Property& property) {
    if (property->upper > 1) {
      const Value from = detail::readPrivileged(source, property);
      const Value to = detail::readPrivileged(copy, property);
      for (Value& entry : from.toPrimitiveCollection().getAllValues()) {
        to.toPrimitiveCollection().addValue(resolvedValue(std::move(entry)));
      }
    } else {
      write(copy, property, resolvedValue(detail::readPrivileged(source, property)));
    }
  }

  [[nodiscard]] Value resolvedValue(Value value) const {
    const auto* data = value.peek<ReflectiveDataType>();
    return data == nullptr || !refers(*data) ? std::move(value) : Value(resolved(*data));
  }

  /// Whether a data value holds a reference anywhere. Read in place, values within values from a list.
  [[nodiscard]] static bool refers(const ReflectiveDataType& whole) {
    std::vector<const ReflectiveDataType*> open{&whole};
    while (!open.empty()) {
      const ReflectiveDataType& data = *open.back();
      open.pop_back();
      for (const Property& property : data.getType()->getAllProperties()) {
        if (property->isReference() && holdsReference(data, property)) return true;
        if (isData(property)) addNested(data, property, open);
      }
    }
    return false;
  }

  [[nodiscard]] static bool holdsReference(const ReflectiveDataType& data, const Property& property) {
    const Value value = data.getPropertyValue(property);
    return property->upper > 1 ? !value.toElementCollection().empty() : static_cast<bool>(value.get<ModelElement>());
  }

  static void addNested(const ReflectiveDataType& data, const Property& property,
                        std::vector<const ReflectiveDataType*>& open) {
    if (property->upper > 1) {
      for (const Value& entry : data.peekValues(property)) open.push_back(entry.peek<ReflectiveDataType>());
    } else if (const auto* nested = data.peek<ReflectiveDataType>(property)) {
      open.push_back(nested);
    }
  }

  /// A copy whose references are resolved; otherwise the same, as the copy of a value that refers to nothing.
  [[nodiscard]] ReflectiveDataType resolved(const ReflectiveDataType& data) const {
    ReflectiveDataType copy(data.getType());
    for (const Property& property : data.getType()->getAllProperties()) {
      if (property->isReference()) {
        resolveReferences(data, copy, property);
      } else if (property->upper > 1) {
        resolveEntries(data, copy, property);
      } else {
        resolveSingle(data, copy, property);
      }
    }
    return copy;
  }

  void resolveReferences(const ReflectiveDataType& data, ReflectiveDataType& copy, const Property& property) const {
    const Value value = data.getPropertyValue(property);
    if (property->upper > 1) {
      const std::vector<ModelElement> targets = value.toElementCollection().getAllElements();
      copy.getPropertyValue(property).toElementCollection().assign(resolveAll(targets, property));
    } else if (const auto target = value.get<ModelElement>()) {
      if (const ModelElement instead = resolve(target, property)) copy.setPropertyValue(property, Value(instead));
    }
  }

  void resolveEntries(const ReflectiveDataType& data, ReflectiveDataType& copy, const Property& property) const {
    std::vector<Value> entries;
    if (isData(property)) {
      for (const Value& entry : data.peekValues(property)) entries.push_back(nested(*entry.peek<ReflectiveDataType>()));
    } else {
      entries = data.getPropertyValue(property).toPrimitiveCollection().getAllValues();
    }
    copy.getPropertyValue(property).toPrimitiveCollection().assignValues(std::move(entries));
  }

  void resolveSingle(const ReflectiveDataType& data, ReflectiveDataType& copy, const Property& property) const {
    if (!isData(property)) return copy.setPropertyValue(property, data.getPropertyValue(property));
    const auto* inner = data.peek<ReflectiveDataType>(property);
    copy.setPropertyValue(property, inner == nullptr ? data.getPropertyValue(property) : nested(*inner));
  }

  [[nodiscard]] Value nested(const ReflectiveDataType& data) const {
    return Value(bedrock::stack::callDeep([&] { return resolved(data); }));
  }

  Model fTarget;
  std::vector<ModelElement> fSources;                      ///< containers before what they contain
  std::unordered_map<ModelElement, ModelElement> fCopies;  ///< of all fSources
};

}  // namespace

std::vector<ModelElement> duplicate(const std::vector<ModelElement>& elements, const Model& target) {
  if (!target) throw std::invalid_argument("there is no model to duplicate into: create the target model first");
  kern::Transaction transaction = target->beginTransaction(false);
  Duplication duplication(target);
  duplication.run(elements);
  std::vector<ModelElement> copies;
  copies.reserve(elements.size());
  for (const ModelElement& element : elements) copies.push_back(duplication.copyOf(element));
  transaction.commit(boost::none);
  return copies;
}

ModelElement duplicate(const ModelElement& element, const Model& target) {
  return duplicate(std::vector<ModelElement>{element}, target).front();
}

Model duplicate(const Model& model) {
  if (!model) throw std::invalid_argument("a null model cannot be duplicated: open or create the source model first");
  Model target = Model::create(kern::ModelSpec());
  static_cast<void>(duplicate(model->getTopLevelElements(), target));
  return target;
}

}  // namespace quillon::nimbo
