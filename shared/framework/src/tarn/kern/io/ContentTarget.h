#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include <tarn/kern/Collections.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/Value.h>

/// What readers of text formats read properties into: an element, or a value of a structured data type. Both offer the
/// same operations, so that a reader is written once for both.
namespace tarn::kern::io {

struct ElementTarget {
  ModelElement::Impl& element;

  [[nodiscard]] Value get(const meta::Property& property) const {
    return element.getPropertyValue(property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
  void set(const meta::Property& property, const Value& value) const {
    element.setPropertyValue(property, value, ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
  template <class T>
  void setObject(const meta::Property& property, T object) const {
    element.set<T>(property, std::move(object), ReflectionPrivateTag::PRIVILEGED_ACCESS);
  }
};

struct DataTarget {
  ReflectiveDataType& data;

  [[nodiscard]] Value get(const meta::Property& property) const { return data.getPropertyValue(property); }
  void set(const meta::Property& property, Value value) const { data.setPropertyValue(property, std::move(value)); }
  template <class T>
  void setObject(const meta::Property& property, T object) const {
    if constexpr (IntegerValueType<T>) {
      if (internal::isEnumType(property->getType())) {
        return set(property, Value(ValueMeta(property->getType(), ValueFlags::Single), object));
      }
    }
    set(property, Value(std::move(object)));
  }
};

/// Fills a collection of elements with exactly the listed members in the listed order, whatever the opposites of other
/// properties have filled in before or meanwhile.
class ListedTargets {
 public:
  /// @param most how many there may be
  ListedTargets(ElementCollection& collection, std::size_t most)
      : fCollection(collection), fAddsAtOnce(collection.getProperty()->isComposite && collection.empty()) {
    if (!fAddsAtOnce) fMembers.reserve(most);
  }

  void add(ModelElement::Impl* member) {
    fMembers.push_back(member);
    if (!fAddsAtOnce) return;
    // What is contained goes in as it comes, as it is at hand then. The count tells when something else came between.
    fCollection.addElement(ModelElement(member));
    fAddsAtOnce = fCollection.size() == fMembers.size();
  }

  void finish() {
    if (fAddsAtOnce) return;
    if (fMembers.empty() && fCollection.empty()) return;
    std::vector<ModelElement> members;
    members.reserve(fMembers.size());
    for (ModelElement::Impl* const member : fMembers) members.emplace_back(member);
    fCollection.assign(members);
  }

 private:
  ElementCollection& fCollection;
  std::vector<ModelElement::Impl*> fMembers;
  bool fAddsAtOnce;
};

}  // namespace tarn::kern::io
