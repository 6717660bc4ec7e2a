#pragma once

#include <span>
#include <utility>
#include <vector>

#include <tarn/export.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ModelElement.h>

/// Writing without handles and without live collections, for code that builds whole models: readers, copiers,
/// generators.
///
/// The targets of references lie anywhere in memory. Copying a handle to one counts it, which waits for the target's
/// record to come from there, and for a large model that takes longer than all the rest. Here targets are named by
/// plain addresses, and where the kernel can tell from an address what lies there, it does not look.
///
/// The results are those of ModelElement::Impl::set<ModelElement> and of the collections' own operations, and so are
/// what is thrown, what is announced and what can be undone. A target is a record that a handle or another element
/// keeps, as the `get` of a handle and the peek functions give it; nullptr stands for null. Threads: those of the
/// model.
namespace tarn::kern::bulk {

/// Writes a single-valued reference.
TARN_EXPORT void setTarget(ModelElement::Impl& element, const meta::Property& property, ModelElement::Impl* target,
                           const ReflectionPrivateTag& access = ReflectionPrivateTag::PUBLIC_ACCESS);

/// As ElementCollection::assign: the content becomes exactly these elements in this order, as one change.
TARN_EXPORT void assignTargets(ModelElement::Impl& element, const meta::Property& property,
                               std::span<ModelElement::Impl* const> targets,
                               const ReflectionPrivateTag& access = ReflectionPrivateTag::PUBLIC_ACCESS);

/// As ElementCollection::addElement.
TARN_EXPORT void append(ModelElement::Impl& element, const meta::Property& property, ModelElement::Impl& member,
                        const ReflectionPrivateTag& access = ReflectionPrivateTag::PUBLIC_ACCESS);

/// As TypedCollection<T>::assign. @throws the cast failure when the property is no contiguous collection of T
template <ContiguousValueType T>
void assignValues(ModelElement::Impl& element, const meta::Property& property, std::vector<T> values,
                  const ReflectionPrivateTag& access = ReflectionPrivateTag::PUBLIC_ACCESS);

namespace internal {
/// The std::vector of a collection that may be overwritten as it stands: there is no one to tell, to undo it or to keep
/// duplicates from. nullptr otherwise.
[[nodiscard]] TARN_EXPORT void* vectorToOverwrite(ModelElement::Impl& element, const meta::Property& property,
                                                  StorageType storage, const ReflectionPrivateTag& access);
}  // namespace internal

template <ContiguousValueType T>
void assignValues(ModelElement::Impl& element, const meta::Property& property, std::vector<T> values,
                  const ReflectionPrivateTag& access) {
  if (void* place = internal::vectorToOverwrite(element, property, kern::internal::StorageOf<T>::kType, access)) {
    *static_cast<std::vector<T>*>(place) = std::move(values);
    return;
  }
  const Value live = element.getPropertyValue(property, access);
  static_cast<void>(element.peekCollection<T>(property));  // throws when the entries are no T
  static_cast<TypedCollection<T>&>(live.toPrimitiveCollection()).assign(std::move(values));
}

}  // namespace tarn::kern::bulk
