#include "EcoreWriter.h"

#include <algorithm>
#include <limits>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <tarn/kern/ecore/EcoreExporter.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "../Layout.h"
#include "EcoreText.h"
#include "EcoreTypes.h"
#include "Facets.h"

namespace tarn::kern::ecore {

using bedrock::i18n::ustring_to_utf8;
using bedrock::i18n::utf8_to_ustring;
using meta::StandardTypes;

EcoreWriter::EcoreWriter(const std::vector<meta::Package>& packages, const Locations& locations)
    : fPackages(packages), fLocations(locations) {}

namespace {

const char* const kNamespaces =
    " xmi:version=\"2.0\" xmlns:xmi=\"http://www.omg.org/XMI\" xmlns:xsi=\"http://www.w3.org/2001/XMLSchema-instance\""
    " xmlns:ecore=\"http://www.eclipse.org/emf/2002/Ecore\"";

bool isSaid(const meta::NamedElement& element, const char16_t* key) {
  const ustring* value = findFacet(element, key);
  return value != nullptr && *value == u"true";
}

const char* kindOf(const meta::Type& type) {
  if (narrow<meta::StructuredType>(type)) return "EClass";
  return narrow<meta::Enum>(type) ? "EEnum" : "EDataType";
}

bool isMap(const meta::Property& property) { return property->getType() == StandardTypes::stringToStringMapMeta; }

bool isWrittenAsReference(const meta::Property& property) {
  return property->isReference() || isMap(property) || narrow<meta::DataType>(property->getType());
}

}  // namespace

// --- Pieces.

void EcoreWriter::attribute(std::string_view name, std::string_view value) { appendAttribute(fText, name, value); }
void EcoreWriter::attribute(std::string_view name, const ustring& value) {
  appendAttribute(fText, name, ustring_to_utf8(value));
}

void EcoreWriter::copyFacet(const meta::NamedElement& element, const char16_t* key) {
  if (const ustring* value = findFacet(element, key)) attribute(ustring_to_utf8(key), *value);
}

/// The name that the document had, where the kernel could not take it.
ustring EcoreWriter::nameOf(const meta::NamedElement& element) const {
  const ustring* original = findFacet(element, u"name");
  return original != nullptr ? *original : element->getName();
}

void EcoreWriter::writeAnnotation(const ustring& source,
                                  const std::vector<std::pair<std::string, std::string>>& details) {
  appendIndent(fText, fDepth);
  fText += "<eAnnotations";
  if (!source.empty()) attribute("source", source);
  if (details.empty()) {
    fText += "/>\n";
    return;
  }
  fText += ">\n";
  for (const auto& [key, value] : details) {
    appendIndent(fText, fDepth + 1);
    fText += "<details";
    attribute("key", key);
    attribute("value", value);
    fText += "/>\n";
  }
  appendIndent(fText, fDepth);
  fText += "</eAnnotations>\n";
}

void EcoreWriter::writeKept(const ustring& text) {
  EcoreDocument document;
  readEcoreFragment(document, ustring_to_utf8(text));
  for (const EcoreNode* node : document.roots) {
    // The kind of these nodes is the tag, where they have no type of their own.
    appendNode(fText, *node, fDepth,
               [&](const EcoreNode&, const std::string& reference) { return localized(reference); });
  }
}

template <class Body>
void EcoreWriter::finish(std::string_view tag, const meta::NamedElement& element, const Notes& notes, bool hasBody,
                         Body&& body) {
  std::vector<const meta::Annotation*> annotations;
  for (const meta::Annotation& annotation : element->getAnnotations()) {
    if (annotation.source != kFacetSource) annotations.push_back(&annotation);
  }
  const ustring* kept = findFacet(element, u"xml");
  if (annotations.empty() && notes.details.empty() && kept == nullptr && !hasBody) {
    fText += "/>\n";
    return;
  }
  fText += ">\n";
  ++fDepth;
  for (const meta::Annotation* annotation : annotations) {
    std::vector<std::pair<std::string, std::string>> details;
    for (const auto& [key, value] : annotation->details)
      details.emplace_back(ustring_to_utf8(key), ustring_to_utf8(value));
    writeAnnotation(annotation->source, details);
  }
  if (!notes.details.empty()) writeAnnotation(ustring(kFacetSource), notes.details);
  if (kept != nullptr) writeKept(*kept);
  body();
  --fDepth;
  appendIndent(fText, fDepth);
  fText += "</";
  fText += tag;
  fText += ">\n";
}

// --- References.

void EcoreWriter::noteBeginnings(const meta::Package& package, const std::string& path) {
  fBeginnings.emplace(ustring_to_utf8(package->getUri()), path);
  for (const meta::Package& inner : package->getPackages()) {
    bedrock::stack::callDeep([&] { noteBeginnings(inner, path + "/" + ustring_to_utf8(nameOf(inner))); });
  }
}

std::string EcoreWriter::localized(const std::string& reference) const {
  const std::size_t blank = reference.find(' ');
  const std::string kind = blank == std::string::npos ? std::string() : reference.substr(0, blank + 1);
  const std::string target = blank == std::string::npos ? reference : reference.substr(blank + 1);
  const std::size_t hash = target.find('#');
  if (hash == std::string::npos) return reference;
  const std::string uri = target.substr(0, hash);
  const std::string path = target.substr(hash + 1);
  if (const auto here = fBeginnings.find(uri); here != fBeginnings.end() && path.starts_with("/")) {
    return "#" + here->second + path.substr(1);
  }
  if (const auto location = fLocations.find(utf8_to_ustring(uri)); location != fLocations.end()) {
    return kind + location->second + "#" + path;
  }
  return reference;
}

std::string EcoreWriter::referenceTo(const meta::Type& type) {
  if (type == ModelElement::metaClass())
    return localized("ecore:EClass " + std::string(kEcoreNamespace) + "#//EObject");
  if (const ustring* stub = findFacet(type, u"stub")) return ustring_to_utf8(*stub);
  // Named from the top: the location is that of the document, which the package at the top stands for.
  std::string path = "/" + ustring_to_utf8(nameOf(type));
  meta::Package home = type->getOwningPackage();
  const bool isHere = fBeginnings.contains(ustring_to_utf8(home->getUri()));
  while (!isHere && home->getOwningPackage()) {
    path = "/" + ustring_to_utf8(nameOf(home)) + path;
    home = home->getOwningPackage();
  }
  return localized(std::string("ecore:") + kindOf(type) + " " + ustring_to_utf8(home->getUri()) + "#/" + path);
}

std::string EcoreWriter::referenceTo(const meta::Property& property) {
  const meta::Property origin = property->getOrigin() ? property->getOrigin() : property;
  const std::string owner = referenceTo(meta::Type(origin->getOwner()));
  const std::size_t blank = owner.find(' ');
  const std::string kind = blank == std::string::npos     ? std::string()
                           : isWrittenAsReference(origin) ? "ecore:EReference "
                                                          : "ecore:EAttribute ";
  return kind + (blank == std::string::npos ? owner : owner.substr(blank + 1)) + "/" + ustring_to_utf8(nameOf(origin));
}

// --- Packages and types.

std::string EcoreWriter::write() {
  const bool isOne = fPackages.size() == 1;
  for (std::size_t i = 0; i < fPackages.size(); ++i) {
    noteBeginnings(fPackages[i], isOne ? "/" : "/" + std::to_string(i));
  }
  fText = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  if (isOne) {
    writePackage(fPackages.front(), "ecore:EPackage", true);
    return std::move(fText);
  }
  fText += std::string("<xmi:XMI") + kNamespaces + ">\n";
  fDepth = 1;
  for (const meta::Package& package : fPackages) writePackage(package, "ecore:EPackage", false);
  fText += "</xmi:XMI>\n";
  return std::move(fText);
}

void EcoreWriter::writePackage(const meta::Package& package, std::string_view tag, bool isRoot) {
  appendIndent(fText, fDepth);
  fText += '<';
  fText += tag;
  if (isRoot) fText += kNamespaces;
  attribute("name", nameOf(package));
  attribute("nsURI", package->getUri());
  const ustring* prefix = findFacet(package, u"nsPrefix");
  attribute("nsPrefix", prefix != nullptr ? *prefix : nameOf(package));
  finish(tag, package, {}, true, [&] { writeContents(package); });
}

void EcoreWriter::writeContents(const meta::Package& package) {
  for (const meta::Type& type : package->getTypesInOrder()) {
    if (const auto structured = narrow<meta::StructuredType>(type)) {
      writeClass(structured);
    } else if (const auto ofLiterals = narrow<meta::Enum>(type)) {
      writeEnum(ofLiterals);
    } else if (const auto custom = narrow<meta::PrimitiveType>(type)) {
      writeCustom(custom);
    }
  }
  if (const meta::Annotation* facets = facetsOf(package)) {
    for (const auto& [key, value] : facets->details) {
      if (key.starts_with(u"dataType:")) writeKept(value);
    }
  }
  for (const meta::Package& inner : package->getPackages()) {
    bedrock::stack::callDeep([&] { writePackage(inner, "eSubpackages", false); });
  }
}

void EcoreWriter::writeClass(const meta::StructuredType& type) {
  appendIndent(fText, fDepth);
  fText += "<eClassifiers xsi:type=\"ecore:EClass\"";
  attribute("name", nameOf(type));
  copyFacet(type, u"instanceClassName");
  copyFacet(type, u"instanceTypeName");
  Notes notes;
  const auto made = narrow<meta::Class>(type);
  if (!made) notes.add("kind", "DataType");
  if (made && made->isAbstract()) attribute("abstract", "true");
  copyFacet(type, u"interface");
  const ustring* kept = findFacet(type, u"xml");
  const bool hasGenericSupertypes = kept != nullptr && kept->find(u"<eGenericSuperTypes") != ustring::npos;
  if (made && !hasGenericSupertypes) {
    std::string supertypes;
    if (made->getSuperclass() != ModelElement::metaClass()) supertypes = referenceTo(made->getSuperclass());
    for (const meta::Class& further : made->getFurtherSupertypes()) supertypes += " " + referenceTo(further);
    if (!supertypes.empty()) attribute("eSuperTypes", supertypes);
  }
  const ustring* skipped = findFacet(type, u"skippedXml");
  std::vector<meta::Property> own;
  for (const meta::Property& property : type->getOwnedAttributesInOrder()) {
    if (!property->getOrigin()) own.push_back(property);
  }
  finish("eClassifiers", type, notes, !own.empty() || skipped != nullptr, [&] {
    for (const meta::Property& property : own) writeFeature(property);
    if (skipped != nullptr) writeKept(*skipped);
  });
}

void EcoreWriter::writeEnum(const meta::Enum& type) {
  appendIndent(fText, fDepth);
  fText += "<eClassifiers xsi:type=\"ecore:EEnum\"";
  attribute("name", nameOf(type));
  for (const char16_t* key : {u"instanceClassName", u"instanceTypeName", u"serializable"}) copyFacet(type, key);
  finish("eClassifiers", type, {}, !type->getLiteralsInOrder().empty(), [&] {
    for (const meta::EnumLiteral& literal : type->getLiteralsInOrder()) {
      appendIndent(fText, fDepth);
      fText += "<eLiterals";
      attribute("name", literal->getName());
      const std::int64_t number = literal->getValue();
      // Ecore's numbers have 32 bits.
      const bool fits =
          number >= std::numeric_limits<std::int32_t>::min() && number <= std::numeric_limits<std::int32_t>::max();
      if (fits && number != 0) attribute("value", std::to_string(number));
      if (const ustring* shown = findFacet(type, u"literal:" + literal->getName())) attribute("literal", *shown);
      Notes notes;
      if (!fits) notes.add("number", std::to_string(number));
      const ustring* kept = findFacet(type, u"literalXml:" + literal->getName());
      finish("eLiterals", literal, notes, kept != nullptr, [&] {
        if (kept != nullptr) writeKept(*kept);
      });
    }
  });
}

void EcoreWriter::writeCustom(const meta::PrimitiveType& type) {
  appendIndent(fText, fDepth);
  fText += "<eClassifiers xsi:type=\"ecore:EDataType\"";
  attribute("name", nameOf(type));
  attribute("instanceClassName", "java.lang.String");  // its values are written as text
  finish("eClassifiers", type, {}, false, [] {});
}

// --- Features.

void EcoreWriter::writeFeature(const meta::Property& property) {
  appendIndent(fText, fDepth);
  fText += "<eStructuralFeatures xsi:type=\"ecore:";
  fText += isWrittenAsReference(property) ? "EReference\"" : "EAttribute\"";
  attribute("name", nameOf(property));
  Notes notes;
  writeBounds(property);
  writeType(property, notes);
  writeFlags(property, notes);
  writeDefault(property);
  writeTies(property, notes);
  finish("eStructuralFeatures", property, notes, false, [] {});
}

void EcoreWriter::writeBounds(const meta::Property& property) {
  if (isMap(property)) return attribute("upperBound", "-1");
  if (!property->isOrdered) attribute("ordered", "false");
  const ustring* unique = findFacet(property, u"unique");
  if (property->isCollection() && (!property->isUnique || unique != nullptr)) attribute("unique", "false");
  if (const ustring* lower = findFacet(property, u"lowerBound")) {
    attribute("lowerBound", *lower);
  } else if (property->lower != 0) {
    attribute("lowerBound", std::to_string(property->lower));
  }
  if (const ustring* upper = findFacet(property, u"upperBound")) return attribute("upperBound", *upper);
  constexpr std::uint32_t kLargest = std::numeric_limits<std::int32_t>::max();  // of Ecore
  if (property->upper != 1) {
    attribute("upperBound", property->upper > kLargest ? "-1" : std::to_string(property->upper));
  }
}

void EcoreWriter::writeType(const meta::Property& property, Notes& notes) {
  const ustring* kept = findFacet(property, u"xml");
  const bool isGeneric = kept != nullptr && kept->find(u"<eGenericType") != ustring::npos;
  if (isGeneric) return;  // it tells the type
  if (const ustring* original = findFacet(property, u"eType")) {
    if (*original != u"-") attribute("eType", localized(ustring_to_utf8(*original)));
    return;
  }
  const meta::Type& type = property->getType();
  if (isMap(property)) {
    if (property->lower != 0) notes.add("required", "true");  // a lower bound would ask for an entry
    return attribute("eType", localized("ecore:EClass " + std::string(kEcoreNamespace) + "#//EStringToStringMapEntry"));
  }
  const auto primitive = narrow<meta::PrimitiveType>(type);
  if (!primitive || !primitive->isStandard()) return attribute("eType", referenceTo(type));
  const bool canBeAbsent = !property->isCollection() && property->lower == 0 && !property->defaultValue() &&
                           !hasFacet(property, u"defaultValueLiteral");
  attribute("eType", localized(dataTypeFor(type, canBeAbsent)));
  if (!isToldByDataType(type)) notes.add("type", ustring_to_utf8(type->getQualifiedName()));
}

void EcoreWriter::writeFlags(const meta::Property& property, Notes& notes) {
  const bool isTransient = property->isTransient ? !hasFacet(property, u"transient") : isSaid(property, u"transient");
  if (property->isReadOnly || hasFacet(property, u"changeable")) attribute("changeable", "false");
  copyFacet(property, u"volatile");
  if (isTransient) attribute("transient", "true");
  copyFacet(property, u"unsettable");
  if (property->isDerived || isSaid(property, u"derived")) attribute("derived", "true");
  copyFacet(property, u"iD");
  const bool isContained = property->isComposite || isMap(property) || narrow<meta::DataType>(property->getType());
  if (isContained) attribute("containment", "true");
  copyFacet(property, u"resolveProxies");
  if (property->isGuarded) notes.add("guarded", "true");
  if (property->usesGenericStorage) notes.add("genericStorage", "true");
}

void EcoreWriter::writeDefault(const meta::Property& property) {
  if (const ustring* original = findFacet(property, u"defaultValueLiteral")) {
    return attribute("defaultValueLiteral", *original);
  }
  const boost::optional<Value>& value = property->defaultValue();
  if (!value || hasFacet(property, u"defaultImplied")) return;
  if (const auto ofLiterals = narrow<meta::Enum>(property->getType())) {
    const std::int64_t number = value->get<std::int64_t>();
    const meta::EnumLiteral literal = ofLiterals->getLiteral(number);
    return attribute("defaultValueLiteral", literal ? literal->getName() : utf8_to_ustring(std::to_string(number)));
  }
  attribute("defaultValueLiteral", textOfDefault(*value));
}

void EcoreWriter::writeTies(const meta::Property& property, Notes& notes) {
  if (const meta::Property& opposite = property->getOpposite()) {
    attribute("eOpposite", referenceTo(opposite));
  } else if (const ustring* original = findFacet(property, u"eOpposite")) {
    attribute("eOpposite", localized(ustring_to_utf8(*original)));
  }
  if (const meta::Property& qualifier = property->getQualifiedBy()) {
    attribute("eKeys", referenceTo(qualifier));
    if (!property->isComposite) notes.add("qualified", "true");
  } else if (const ustring* keys = findFacet(property, u"eKeys")) {
    std::string references;
    std::string text = ustring_to_utf8(*keys);
    // Words in pairs: the type, and the target.
    for (std::size_t at = 0; at < text.size();) {
      const std::size_t blank = text.find(' ', at);
      const std::size_t end = std::min(blank == std::string::npos ? blank : text.find(' ', blank + 1), text.size());
      references += (references.empty() ? "" : " ") + localized(text.substr(at, end - at));
      at = end + 1;
    }
    attribute("eKeys", references);
  }
}

// --- The way in.

EcoreExporter::EcoreExporter() = default;
EcoreExporter::~EcoreExporter() = default;

void EcoreExporter::setLocation(const ustring& packageUri, const std::string& location) {
  fLocations[packageUri] = location;
}

std::string EcoreExporter::toText(const meta::Package& package) const {
  return toText(std::vector<meta::Package>{package});
}

std::string EcoreExporter::toText(const std::vector<meta::Package>& packages) const {
  for (const meta::Package& package : packages) {
    if (!package) throw KernelError("a null package was to be written as Ecore");
  }
  return EcoreWriter(packages, fLocations).write();
}

}  // namespace tarn::kern::ecore
