#pragma once

#include <unordered_map>
#include <vector>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/Property.h>

#include "quillon/nimbo/detail/PtrMap.h"
#include "quillon/nimbo/export.h"

namespace quillon::nimbo {

/// Copies elements, with all they contain and refer to, into a target model.
///
/// A clone bears the uuid of its source: it is the same logical element in another model, and by its uuid the target
/// model finds it. (For copies that are elements of their own see Duplicate.h.) So cloning into one model twice makes
/// nothing twice: an element that is there already keeps its attribute values; only its references are written again,
/// and collections get the members that they lack (one that is not unique gets all of them once more).
///
/// What belongs to a clone: all plain attributes; contained elements; the targets of plain references, also those
/// outside the given elements, with their own content. So a clone of a sub-tree draws in all that it refers to, and
/// nothing that refers to it. Left out:
///   - derived and transient properties (Property::Impl::isOmitted);
///   - references that are qualified and not composite;
///   - references back to a container: an element whose container is not part of the copy is top-level in the target;
///   - null members of collections.
/// Elements inside data values are taken as they are: the copy of such a value refers into the source model.
///
/// Replacements. Wherever the walk of cloneAndReplace meets a key of the map, its value goes into the target instead:
/// the attributes (class and uuid included) are those of the replacement, the contained elements those of the key, and
/// plain references are not copied. A key that is mapped to null is left out. The classes of both must have the
/// properties that are read, or else the framework throws.
///
/// Order: collections keep the order of their members. Top-level elements stand in the target in the order in which the
/// walk, depth first, makes them.
///
/// Failures: what the framework throws passes through. The target model is then as it was before the call (one made by
/// the call stays, empty); the cloner is spent and must be discarded. Null elements are passed over.
///
/// Time grows with the size of what is copied; chains of any length may be cloned (bedrock/deep_call.h).
/// Threads: one per cloner. Nobody else may change the target model during a call.
class NIMBO_EXPORT Cloner {
 public:
  using Model = tarn::kern::Model;
  using ModelElement = tarn::kern::ModelElement;
  using Property = tarn::kern::meta::Property;

  /// The first clone makes the target model.
  Cloner();
  explicit Cloner(const Model& target);
  Cloner(const Cloner& other);
  Cloner(Cloner&& other) noexcept;
  Cloner& operator=(const Cloner& other);
  Cloner& operator=(Cloner&& other) noexcept;
  ~Cloner();

  void setTargetModel(const Model& model);
  /// Null until it was set or made.
  [[nodiscard]] Model getTargetModel() const;

  /// Clones the elements in their order, in one transaction. It may lie within one that the caller has open.
  void clone(const std::vector<ModelElement>& elements);
  /// Clones the top-level elements of a model, without replacements. @throws std::invalid_argument for a null model
  void clone(const Model& model);
  /// Clones the elements; each key of the map is swapped for its value. The map is used during the call alone.
  void cloneAndReplace(const std::vector<ModelElement>& elements,
                       const std::unordered_map<ModelElement, ModelElement>& replacements);

 private:
  ModelElement cloneModelElement(const ModelElement& source);
  void cloneClassProperty(const ModelElement& source, ModelElement& target, const Property& property);
  void clonePrimitiveProperty(const ModelElement& source, ModelElement& target, const Property& property);

  [[nodiscard]] bool isFirstIntoEmpty(const std::vector<ModelElement>& elements) const;
  void cloneElements(const ModelElement& source, const ModelElement& target, const Property& property, bool isNew);
  void restoreOrder(const ModelElement& source, const ModelElement& target, const Property& property) const;
  [[nodiscard]] const ModelElement& replacementOf(const ModelElement& source) const;

  Model fTargetModel;
  const std::unordered_map<ModelElement, ModelElement>* fReplacements = nullptr;  ///< set during cloneAndReplace alone
  /// The elements whose walk has begun (the keys of replacements, not what replaces them) and what they became. Empty
  /// between two calls.
  detail::PtrMap<ModelElement, ModelElement> fVisited;
};

}  // namespace quillon::nimbo
