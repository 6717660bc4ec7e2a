#pragma once

#include "Draft.h"

/// The rules for a single property, checked once the classes know all their properties. What is right is written into
/// the record: default, opposite, qualifier. @pre the property's type is known.
namespace tarn::kern::meta::internal {

void applyPropertyRules(Draft& draft, const PropertyDraft& property);

/// What the rules allow, but a user will regret. @pre applyPropertyRules has run for all properties and found no fault.
void warnAboutProperty(Draft& draft, const PropertyDraft& property);

}  // namespace tarn::kern::meta::internal
