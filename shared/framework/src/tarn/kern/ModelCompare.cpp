#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>
#include <vector>

#include <boost/uuid/uuid_io.hpp>

#include <bedrock/i18n.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/StandardTypes.h>

namespace tarn::kern {

namespace {

using Element = ModelElement::Impl;

constexpr const char* kNothing = "nothing";

[[nodiscard]] std::string nameOf(const meta::Property& property) {
  return bedrock::i18n::to_string(property->getName());
}

[[nodiscard]] std::string nameOf(const Element& element) {
  return bedrock::i18n::to_string(element.getMetaClass()->getQualifiedName()) + " {" +
         boost::uuids::to_string(element.getUuid()) + "}";
}

[[nodiscard]] std::string textOf(const Element* element) { return element == nullptr ? kNothing : nameOf(*element); }

[[nodiscard]] std::string textOf(const Value* value) { return value == nullptr ? kNothing : value->describe(); }

[[nodiscard]] std::string atIndex(std::size_t index) { return "[" + std::to_string(index) + "]"; }

/// Targets agree by uuid: they live in different models.
[[nodiscard]] bool isSame(const Element* left, const Element* right) {
  if (left == nullptr || right == nullptr) return left == right;
  return left->getUuid() == right->getUuid();
}

[[nodiscard]] Value read(const Element& element, const meta::Property& property) {
  return element.getPropertyValue(property, ReflectionPrivateTag::PRIVILEGED_ACCESS);
}

/// A difference within a property: the way from the property to it, and what is there.
struct Found {
  std::string way;
  std::string left;
  std::string right;
};
using MaybeFound = boost::optional<Found>;

/// What a range holds at an index, or nullptr behind its end.
template <class T>
[[nodiscard]] const T* entryAt(std::span<const T> range, std::size_t index) {
  return index < range.size() ? &range[index] : nullptr;
}

/// Compares two ranges of elements by uuid.
[[nodiscard]] MaybeFound compareTargets(std::span<Element* const> left, std::span<Element* const> right) {
  const auto same = [](const Element* a, const Element* b) { return isSame(a, b); };
  const auto [a, b] = std::mismatch(left.begin(), left.end(), right.begin(), right.end(), same);
  if (a == left.end() && b == right.end()) return boost::none;
  const auto index = static_cast<std::size_t>(a - left.begin());
  const auto text = [](auto at, auto end) {
    return at == end ? std::string(kNothing) : *at == nullptr ? "null" : textOf(*at);
  };
  return Found{atIndex(index), text(a, left.end()), text(b, right.end())};
}

[[nodiscard]] std::vector<Element*> targetsOf(const std::vector<ModelElement>& elements) {
  std::vector<Element*> targets;
  targets.reserve(elements.size());
  for (const ModelElement& element : elements) targets.push_back(element.get());
  return targets;
}

/// Compares two data values by content, where equality will not do: elements in them count by their uuid, and the place
/// of a difference is wanted. Values within values wait in a list, so that nesting of any depth costs no stack.
class DataComparison {
 public:
  [[nodiscard]] MaybeFound run(const ReflectiveDataType& left, const ReflectiveDataType& right, std::string way) {
    fPairs.push_back({&left, &right, kNoParent, std::move(way)});
    for (std::size_t next = 0; next < fPairs.size(); ++next) {
      if (MaybeFound found = comparePair(next)) return found;
    }
    return boost::none;
  }

 private:
  static constexpr std::size_t kNoParent = static_cast<std::size_t>(-1);
  struct Pair {
    const ReflectiveDataType* left;
    const ReflectiveDataType* right;
    std::size_t parent;  // the pair that it lies in
    std::string step;    // from there
  };

  [[nodiscard]] std::string wayTo(std::size_t pair, const std::string& last) const {
    std::vector<const std::string*> steps;
    for (; pair != kNoParent; pair = fPairs[pair].parent) steps.push_back(&fPairs[pair].step);
    std::string way;
    for (auto step = steps.rbegin(); step != steps.rend(); ++step) way += **step;
    return way + last;
  }

  [[nodiscard]] MaybeFound comparePair(std::size_t pair) {
    const ReflectiveDataType& left = *fPairs[pair].left;
    const ReflectiveDataType& right = *fPairs[pair].right;
    for (const meta::Property& property : left.getType()->getAllProperties()) {
      if (property->isDerived) continue;
      MaybeFound found = compareAttribute(pair, left, right, property);
      if (!found) continue;
      found->way = wayTo(pair, "." + nameOf(property) + found->way);
      return found;
    }
    return boost::none;
  }

  [[nodiscard]] MaybeFound compareAttribute(std::size_t pair, const ReflectiveDataType& left,
                                            const ReflectiveDataType& right, const meta::Property& property) {
    if (property->isReference()) return compareReferences(left, right, property);
    if (!narrow<meta::DataType>(property->getType())) return compareValues(left, right, property);
    if (property->isCollection()) {
      return compareEntries(pair, left.peekValues(property), right.peekValues(property), property);
    }
    const auto* a = left.peek<ReflectiveDataType>(property);
    const auto* b = right.peek<ReflectiveDataType>(property);
    if ((a == nullptr) != (b == nullptr)) return compareValues(left, right, property);
    if (a != nullptr) fPairs.push_back({a, b, pair, "." + nameOf(property)});
    return boost::none;
  }

  [[nodiscard]] static MaybeFound compareReferences(const ReflectiveDataType& left, const ReflectiveDataType& right,
                                                    const meta::Property& property) {
    const Value a = left.getPropertyValue(property);
    const Value b = right.getPropertyValue(property);
    if (property->isCollection()) {
      return compareTargets(targetsOf(a.toElementCollection().getAllElements()),
                            targetsOf(b.toElementCollection().getAllElements()));
    }
    const auto target = a.get<ModelElement>();
    const auto otherTarget = b.get<ModelElement>();
    if (isSame(target.get(), otherTarget.get())) return boost::none;
    return Found{"", textOf(target.get()), textOf(otherTarget.get())};
  }

  [[nodiscard]] static MaybeFound compareValues(const ReflectiveDataType& left, const ReflectiveDataType& right,
                                                const meta::Property& property) {
    const Value a = left.getPropertyValue(property);
    const Value b = right.getPropertyValue(property);
    if (a == b) return boost::none;
    return Found{"", a.describe(), b.describe()};
  }

  [[nodiscard]] MaybeFound compareEntries(std::size_t pair, std::span<const Value> left, std::span<const Value> right,
                                          const meta::Property& property) {
    for (std::size_t i = 0; i < std::max(left.size(), right.size()); ++i) {
      const Value* a = entryAt(left, i);
      const Value* b = entryAt(right, i);
      if (a == nullptr || b == nullptr) return Found{atIndex(i), textOf(a), textOf(b)};
      fPairs.push_back(
          {a->peek<ReflectiveDataType>(), b->peek<ReflectiveDataType>(), pair, "." + nameOf(property) + atIndex(i)});
    }
    return boost::none;
  }

  std::vector<Pair> fPairs;
};

/// Compares two values of which it is known that they are not equal.
[[nodiscard]] MaybeFound compareUnequal(const Value& left, const Value& right, const std::string& way) {
  if (narrow<meta::DataType>(left.getType()) && left.hasObject() && right.hasObject()) {
    return DataComparison().run(*left.peek<ReflectiveDataType>(), *right.peek<ReflectiveDataType>(), way);
  }
  return Found{way, left.describe(), right.describe()};
}

[[nodiscard]] MaybeFound compareUnequalCollections(const Value& left, const Value& right) {
  const std::vector<Value> a = left.toPrimitiveCollection().getAllValues();
  const std::vector<Value> b = right.toPrimitiveCollection().getAllValues();
  for (std::size_t i = 0; i < std::max(a.size(), b.size()); ++i) {
    const Value* x = entryAt<Value>(a, i);
    const Value* y = entryAt<Value>(b, i);
    if (x == nullptr || y == nullptr) return Found{atIndex(i), textOf(x), textOf(y)};
    if (*x == *y) continue;
    if (MaybeFound found = compareUnequal(*x, *y, atIndex(i))) return found;
  }
  return boost::none;
}

/// Walks both models from their roots down the composite properties. The elements that are still to be compared wait in
/// a list, so that models of any depth can be compared.
class ModelComparison {
 public:
  [[nodiscard]] boost::optional<ModelDifference> run(const Model& left, const Model& right) {
    const std::vector<ModelElement> leftRoots = left->getTopLevelElements();
    const std::vector<ModelElement> rightRoots = right->getTopLevelElements();
    const std::vector<Element*> a = targetsOf(leftRoots);
    const std::vector<Element*> b = targetsOf(rightRoots);
    if (MaybeFound found = compareTargets(a, b)) {
      return ModelDifference{"top-level elements" + found->way, found->left, found->right};
    }
    addInside(a, b);
    open();
    while (!fOpen.empty()) {
      const auto [x, y] = fOpen.back();
      fOpen.pop_back();
      if (boost::optional<ModelDifference> found = compareElements(*x, *y)) return found;
      open();
    }
    return boost::none;
  }

 private:
  using Pair = std::pair<Element*, Element*>;

  [[nodiscard]] boost::optional<ModelDifference> compareElements(const Element& left, const Element& right) {
    if (left.getMetaClass() != right.getMetaClass()) {
      return ModelDifference{left.describe() + ": class", nameOf(left), nameOf(right)};
    }
    for (const meta::Property& property : left.getMetaClass()->getAllProperties()) {
      if (property->isDerived) continue;
      MaybeFound found =
          property->isReference() ? compareReferences(left, right, property) : compareValues(left, right, property);
      if (!found) continue;
      return ModelDifference{left.describe() + ": " + nameOf(property) + found->way, std::move(found->left),
                             std::move(found->right)};
    }
    return boost::none;
  }

  [[nodiscard]] MaybeFound compareReferences(const Element& left, const Element& right,
                                             const meta::Property& property) {
    if (property->getOpposite() && property->getOpposite()->isComposite) return boost::none;  // the way we came
    if (property->isCollection()) {
      const std::span<Element* const> a = left.peekElements(property);
      const std::span<Element* const> b = right.peekElements(property);
      if (MaybeFound found = compareTargets(a, b)) return found;
      if (property->isComposite) addInside(a, b);
      return boost::none;
    }
    Element* const a = left.peekElement(property);
    Element* const b = right.peekElement(property);
    if (!isSame(a, b)) return Found{"", textOf(a), textOf(b)};
    if (property->isComposite && a != nullptr) fInside.emplace_back(a, b);
    return boost::none;
  }

  [[nodiscard]] static MaybeFound compareValues(const Element& left, const Element& right,
                                                const meta::Property& property) {
    if (!property->isCollection() && property->getType() == meta::StandardTypes::stringMeta) {
      const ustring* a = left.peek<ustring>(property);  // spares most of the copies
      const ustring* b = right.peek<ustring>(property);
      if (a == nullptr || b == nullptr ? a == b : *a == *b) return boost::none;
    }
    const Value a = read(left, property);
    const Value b = read(right, property);
    if (a == b) return boost::none;
    return property->isCollection() ? compareUnequalCollections(a, b) : compareUnequal(a, b, "");
  }

  void addInside(std::span<Element* const> left, std::span<Element* const> right) {
    for (std::size_t i = 0; i < left.size(); ++i) {
      if (left[i] != nullptr) fInside.emplace_back(left[i], right[i]);
    }
  }

  /// Puts what was found inside the last element first in line, in its order.
  void open() {
    fOpen.insert(fOpen.end(), fInside.rbegin(), fInside.rend());
    fInside.clear();
  }

  std::vector<Pair> fOpen;  // the next one stands last
  std::vector<Pair> fInside;
};

}  // namespace

std::string ModelDifference::text() const { return where + ": " + left + " against " + right; }

boost::optional<ModelDifference> firstDifference(const Model& left, const Model& right) {
  if (left == right) return boost::none;
  if (!left || !right) return ModelDifference{"model", left ? "a model" : kNothing, right ? "a model" : kNothing};
  return ModelComparison().run(left, right);
}

bool modelsEqual(const Model& left, const Model& right, boost::optional<ModelDifference>* difference) {
  boost::optional<ModelDifference> found = firstDifference(left, right);
  const bool isEqual = !found;
  if (difference != nullptr) *difference = std::move(found);
  return isEqual;
}

}  // namespace tarn::kern
