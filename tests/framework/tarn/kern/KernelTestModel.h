#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <tarn/kern/Model.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/MetaRegistry.h>

/// The meta-model on which the kernel's rules are tested, and ways to look at a whole model at once.
namespace kerneltest {

using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::ustring;
using tarn::kern::Value;

/// Node: every shape of property, each with its counterpart.
///   name (String, required), note (String), count (Integer, default 5), big (Integer64), flag (Boolean), when
///   (DateTime) color (Color, required, default green), place (Place, required), fields (StringToStringMap, required)
///   numbers (Integer, many), labels (String, many, unique), times (DateTime, many), places (Place, many)
///   children (Node, composite, many, opposite parent), only (Node, composite, single, opposite onlyOf), parent, onlyOf
///   next (Node), others (Node, many, unique), path (Node, many, not unique)
///   left/right (single to single), owner/owned (single to many), friends/friendOf (many to many)
///   hidden (Integer, guarded), fixed (Integer, read-only)
/// Special extends Node. Unrelated: a class of its own with name (String).
struct Types {
  tarn::kern::meta::Class node;
  tarn::kern::meta::Class special;
  tarn::kern::meta::Class unrelated;
  tarn::kern::meta::Class abstractNode;
  tarn::kern::meta::DataType place;
  tarn::kern::meta::Enum color;
};
const Types& types();

/// The property of Node of that name.
tarn::kern::meta::Property property(const char16_t* name);

Model newModel();
ModelElement newNode(const Model& model, const char16_t* name = u"node");

/// The value of a collection property; keep it while using the view.
Value live(const ModelElement& element, const char16_t* name);
/// The names of the members of a class-typed collection, in order; "-" for null.
std::vector<std::string> names(const ModelElement& element, const char16_t* collection);
/// The name of the target of a single reference, "-" for null.
std::string nameOf(const ModelElement& element, const char16_t* reference);
std::string nameOf(const ModelElement& element);

void add(const ModelElement& element, const char16_t* collection, const ModelElement& member);
void set(const ModelElement& element, const char16_t* reference, const ModelElement& target);

/// The whole content as text: elements in the model's order with uuid, class, container and every property. Two models,
/// or one model at two times, are equal when these texts are.
std::string dump(const Model& model);

/// What is wrong with the model's consistency: opposites that disagree, members without container, duplicates in unique
/// collections, references to destroyed elements, wrong lists of top-level elements. Empty when all is well.
std::string inconsistencies(const Model& model);

}  // namespace kerneltest
