#pragma once

#include <tarn/kern/ModelElement.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Property.h>

/// What all that copies elements has in common.
namespace quillon::nimbo::detail {

[[nodiscard]] tarn::kern::Value readPrivileged(const tarn::kern::ModelElement& element,
                                               const tarn::kern::meta::Property& property);

/// What is cloned of class type. A replaced element keeps what its key contains and loses what it refers to.
[[nodiscard]] bool isFollowed(const tarn::kern::meta::Property& property, bool isReplaced);

/// Copies a property that is of no class type to a new element: single values as they are, the content of maps and
/// collections; contiguous collections without a Value per entry. A collection of any other kind is added to.
void copyPrimitiveProperty(const tarn::kern::ModelElement& source, const tarn::kern::ModelElement& target,
                           const tarn::kern::meta::Property& property);

}  // namespace quillon::nimbo::detail
