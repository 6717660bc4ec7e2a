#pragma once

#include <cstddef>
#include <iosfwd>
#include <string>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include <tarn/kern/Model.h>

#include "quillon/nimbo/export.h"

/// What changed between two states of a model, for people. For the bare answer, or the first difference alone, see
/// tarn/kern/ModelCompare.h; diff is empty exactly when modelsEqual says yes.
///
/// Elements are matched by uuid, so the states may be two models, a model and its clone, or two files read in:
///   - added, removed: the element is in one of the models only. Everything inside it that is too has an entry as well.
///   - moved: its container, the property that holds it, or its place among the members that stayed is another one.
///     Of a collection that was put in another order, as few members as possible count as moved; a member that only
///     made room for another one is not moved.
///   - changed: attributes or plain references differ, or the class does. What an element contains shows as added,
///     removed and moved elements, not as a change of its container.
/// An element that moved and changed has an entry for each. Derived properties do not count. Referenced elements agree
/// when their uuids do, within data values too.
namespace quillon::nimbo {

/// One property of a changed element.
struct NIMBO_EXPORT PropertyChange {
  /// The name, and where the value is large, the place: `values[2]`, `values[2..5]`, `line.from.x`, `tags["color"]`;
  /// `tags (order)` where only the order of keys differs. "class" and no property, where the class differs.
  std::string property;
  /// What is there, in a line: texts in quotes, elements as in ElementChange::element, "(absent)"; "nothing" for what a
  /// collection or map lacks. Of a long text the part around the first difference.
  std::string oldValue;
  std::string newValue;

  friend bool operator==(const PropertyChange&, const PropertyChange&) = default;
};

struct NIMBO_EXPORT ElementChange {
  enum class Kind { Removed, Added, Moved, Changed };

  Kind kind = Kind::Changed;
  boost::uuids::uuid uuid{};
  /// `Package "zlib" {8-4-4-4-12}`: the class, the text of a single-valued String property "name" if it has one, the
  /// uuid.
  std::string element;
  /// Where it stands: `top level[3]`, or the container, property and, in a collection, position: `Shelf
  /// {...}.books[3]`. Empty where the element does not exist (added, removed), both for Changed.
  std::string oldPlace;
  std::string newPlace;
  /// Added and removed elements: the container was added or removed with it.
  bool isInside = false;
  /// For added and removed elements that are not inside: how many others inside have the same kind.
  std::size_t elementsInside = 0;
  /// Changed elements: in the order of the class's properties, at least one.
  std::vector<PropertyChange> properties;
};

struct NIMBO_EXPORT ModelDiff {
  /// First the removed elements in the order of the old model, then all others in that of the new model: containers
  /// before what they contain, members in the order of their collections.
  std::vector<ElementChange> changes;

  [[nodiscard]] bool empty() const noexcept { return changes.empty(); }
  [[nodiscard]] std::size_t count(ElementChange::Kind kind) const noexcept;
};

/// Compares two models; neither is changed. Time and memory grow with the size of the models, whatever their depth (for
/// a collection of n members in another order, with n log n). Once a property with data values has 16 places that
/// differ, no further attribute of them is looked at.
/// @throws std::invalid_argument for a null model; what the framework throws on reading
[[nodiscard]] NIMBO_EXPORT ModelDiff diff(const tarn::kern::Model& oldModel, const tarn::kern::Model& newModel);

/// Writes a difference as text: a line of counts, then
///
///     - Book "Emma" {...} from Shelf "A" {...}.books[2]
///     + Shelf "B" {...} at top level[1], with 3 elements inside
///     > Book "Ulysses" {...} from Shelf "A" {...}.books[0] to Shelf "B" {...}.books[0]
///     * Book "Dracula" {...}
///         pages: 300 -> 418
///
/// What lies inside an added or removed element is counted only. "no differences" when there are none.
NIMBO_EXPORT std::ostream& operator<<(std::ostream& os, const ModelDiff& difference);

}  // namespace quillon::nimbo
