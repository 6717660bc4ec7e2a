#include "MetaModelText.h"

#include <bedrock/i18n.h>
#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>

namespace nimbo_tool {

namespace {

using namespace tarn::kern::meta;
using bedrock::i18n::to_string;

std::string bounds(const Property& property) {
  const std::string upper = property->upper == Property::Impl::kUnlimited ? "*" : std::to_string(property->upper);
  const std::string lower = std::to_string(property->lower);
  return lower == upper ? "[" + lower + "]" : "[" + lower + ".." + upper + "]";
}

/// The simple name within the package, the qualified one beyond.
std::string typeName(const Type& type, const Package& package) {
  const bool isNear = !type->getOwningPackage() || type->getOwningPackage() == package;
  return to_string(isNear ? type->getName() : type->getQualifiedName());
}

std::string defaultText(const Property& property) {
  const auto& value = property->defaultValue();
  if (!value || !value->hasObject()) return {};
  const auto type = tarn::kern::narrow<Enum>(property->getType());
  if (!type) return " = " + value->describe();
  const auto literal = type->getLiteral(value->get<std::int64_t>());
  return literal ? " = " + to_string(literal->getName()) : std::string();
}

std::string propertyLine(const Property& property, const Package& package) {
  std::string line = to_string(property->getName()) + ": " + typeName(property->getType(), package) + " " +
                     bounds(property) + defaultText(property);
  const auto word = [&line](bool on, const std::string& text) {
    if (on) line += ", " + text;
  };
  word(property->isComposite, "composite");
  word(static_cast<bool>(property->getOpposite()),
       property->getOpposite() ? "opposite " + to_string(property->getOpposite()->getName()) : "");
  word(static_cast<bool>(property->getQualifiedBy()),
       property->getQualifiedBy() ? "qualified by " + to_string(property->getQualifiedBy()->getName()) : "");
  // A collection of elements is unique and one of values is not, unless it says so.
  word(property->isCollection() && property->isUnique && !property->isReference(), "unique");
  word(property->isCollection() && !property->isUnique && property->isReference(), "not unique");
  word(property->isCollection() && !property->isOrdered, "unordered");
  word(property->isDerived, "derived");
  word(property->isTransient, "transient");
  word(property->isReadOnly, "read-only");
  word(property->isGuarded, "guarded");
  return line;
}

class TextWriter {
 public:
  void package(const Package& package) {
    line("package " + to_string(package->getName()) + " (" + to_string(package->getUri()) + ")");
    ++fDepth;
    for (const Type& type : package->getTypesInOrder()) writeType(type, package);
    for (const Package& inner : package->getPackages()) this->package(inner);
    --fDepth;
  }
  [[nodiscard]] std::string take() { return std::move(fText); }

 private:
  void line(const std::string& text) { fText += std::string(2 * fDepth, ' ') + text + "\n"; }

  void writeType(const Type& type, const Package& package) {
    if (const auto asEnum = tarn::kern::narrow<Enum>(type)) {
      writeEnum(asEnum);
    } else if (const auto asClass = tarn::kern::narrow<Class>(type)) {
      line(std::string(asClass->isAbstract() ? "abstract " : "") + "class " + to_string(type->getName()) +
           supertypes(asClass, package));
      writeProperties(asClass, package);
    } else if (const auto asData = tarn::kern::narrow<DataType>(type)) {
      line("datatype " + to_string(type->getName()));
      writeProperties(asData, package);
    } else {
      line("primitive " + to_string(type->getName()));
    }
  }

  void writeEnum(const Enum& type) {
    std::string text = "enum " + to_string(type->getName()) + ":";
    const char* separator = " ";
    for (const EnumLiteral& literal : type->getLiteralsInOrder()) {
      text += separator + to_string(literal->getName()) + " = " + std::to_string(literal->getValue());
      separator = ", ";
    }
    line(text);
  }

  static std::string supertypes(const Class& type, const Package& package) {
    std::string text;
    if (type->getSuperclass() && type->getSuperclass() != tarn::kern::ModelElement::metaClass()) {
      text += " extends " + typeName(type->getSuperclass(), package);
    }
    for (const Class& further : type->getFurtherSupertypes()) {
      text += (text.empty() ? " extends " : ", ") + typeName(further, package);
    }
    return text;
  }

  void writeProperties(const StructuredType& type, const Package& package) {
    ++fDepth;
    for (const Property& property : type->getOwnedAttributesInOrder()) {
      if (!property->getOrigin()) line(propertyLine(property, package));  // copies stand where they came from
    }
    --fDepth;
  }

  std::string fText;
  std::size_t fDepth = 0;
};

/// Graphviz's escapes within a record label.
std::string forDot(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (std::string_view("\\\"{}<>|").find(c) != std::string_view::npos) result += '\\';
    result += c;
  }
  return result;
}

class DiagramWriter {
 public:
  std::string write(const std::vector<Package>& packages) {
    fText =
        "digraph metamodel {\n"
        "  graph [rankdir=BT, fontname=\"sans-serif\"];\n"
        "  node [shape=record, fontname=\"sans-serif\", fontsize=10];\n"
        "  edge [fontname=\"sans-serif\", fontsize=9];\n";
    for (const Package& package : packages) cluster(package, 1);
    fText += fEdges + "}\n";
    return std::move(fText);
  }

 private:
  void cluster(const Package& package, std::size_t depth) {
    const std::string indent(2 * depth, ' ');
    fText += indent + "subgraph \"cluster_" + forDot(to_string(package->getQualifiedName())) + "\" {\n" + indent +
             "  label=\"" + forDot(to_string(package->getName())) + "\";\n";
    for (const Type& type : package->getTypesInOrder()) node(type, package, indent + "  ");
    for (const Package& inner : package->getPackages()) cluster(inner, depth + 1);
    fText += indent + "}\n";
  }

  static std::string name(const Type& type) { return "\"" + forDot(to_string(type->getQualifiedName())) + "\""; }

  void node(const Type& type, const Package& package, const std::string& indent) {
    std::string label = forDot(to_string(type->getName()));
    std::string rows;
    if (const auto asEnum = tarn::kern::narrow<Enum>(type)) {
      label = "\\<enum\\>\\n" + label;
      for (const EnumLiteral& literal : asEnum->getLiteralsInOrder())
        rows += forDot(to_string(literal->getName())) + "\\l";
    } else if (const auto structured = tarn::kern::narrow<StructuredType>(type)) {
      if (tarn::kern::narrow<DataType>(type)) label = "\\<datatype\\>\\n" + label;
      rows = properties(structured, package);
    }
    const auto asClass = tarn::kern::narrow<Class>(type);
    if (asClass) generalizations(asClass);
    fText += indent + name(type) + " [label=\"{" + label + (rows.empty() ? "" : "|" + rows) + "}\"" +
             (asClass && asClass->isAbstract() ? ", style=dashed" : "") + "];\n";
  }

  /// Plain properties are rows; references are edges.
  std::string properties(const StructuredType& type, const Package& package) {
    std::string rows;
    for (const Property& property : type->getOwnedAttributesInOrder()) {
      if (property->getOrigin()) continue;
      if (!property->isReference()) {
        rows += forDot(to_string(property->getName()) + ": " + typeName(property->getType(), package) + " " +
                       bounds(property)) +
                "\\l";
      } else {
        reference(type, property);
      }
    }
    return rows;
  }

  void reference(const Type& owner, const Property& property) {
    const Property& opposite = property->getOpposite();
    // Of a pair one edge is drawn: from the whole to the part, or else from the name that comes first.
    if (opposite && (opposite->isComposite || (!property->isComposite && opposite->getName() < property->getName())))
      return;
    fEdges += "  " + name(owner) + " -> " + name(property->getType()) + " [label=\"" +
              forDot(to_string(property->getName()) + " " + bounds(property)) + "\"" +
              (property->isComposite ? ", dir=both, arrowtail=diamond, arrowhead=vee" : ", arrowhead=vee") + "];\n";
  }

  void generalizations(const Class& type) {
    const auto edge = [&](const Class& super) {
      fEdges += "  " + name(type) + " -> " + name(super) + " [arrowhead=onormal];\n";
    };
    if (type->getSuperclass() && type->getSuperclass() != tarn::kern::ModelElement::metaClass())
      edge(type->getSuperclass());
    for (const Class& further : type->getFurtherSupertypes()) edge(further);
  }

  std::string fText;
  std::string fEdges;
};

}  // namespace

std::string metaModelText(const std::vector<Package>& packages) {
  TextWriter writer;
  for (const Package& package : packages) writer.package(package);
  return writer.take();
}

std::string classDiagram(const std::vector<Package>& packages) { return DiagramWriter().write(packages); }

}  // namespace nimbo_tool
