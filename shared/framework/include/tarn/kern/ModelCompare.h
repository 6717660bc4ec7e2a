#pragma once

#include <string>

#include <boost/optional.hpp>

#include <tarn/export.h>
#include <tarn/kern/Model.h>

namespace tarn::kern {

/// The first place where two models differ.
struct TARN_EXPORT ModelDifference {
  /// Path of the element or property, as ModelElement::Impl::describe gives it.
  std::string where;
  /// What the first and the second model hold there.
  std::string left;
  std::string right;

  [[nodiscard]] std::string text() const;
};

/// Compares two models by content: the same top-level elements in the same order by uuid, and for each element the same
/// class, container and property values, references compared by the uuid of their target, collections with their order.
/// Derived properties are left out. None when the models are equal.
[[nodiscard]] TARN_EXPORT boost::optional<ModelDifference> firstDifference(const Model& left, const Model& right);

/// firstDifference without the answer to where. Two null models are equal.
[[nodiscard]] TARN_EXPORT bool modelsEqual(const Model& left, const Model& right,
                                           boost::optional<ModelDifference>* difference = nullptr);

}  // namespace tarn::kern
