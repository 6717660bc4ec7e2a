#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include <tarn/kern/ModelElement.h>
#include <tarn/kern/ReflectiveDataType.h>
#include <tarn/kern/meta/Class.h>

#include "XmlText.h"

namespace tarn::kern::io::xml {

/// Writes one XMI document. Lives for one document.
///
/// The body is written first, and the packages that it names on the way are noted; the root's start tag, which declares
/// them, is put in front of it at the end.
class XmiWriter {
 public:
  using SchemaLocations = std::map<ustring, ustring>;

  XmiWriter(bool skipsDefaults, const SchemaLocations& schemaLocations);

  void write(const std::vector<ModelElement>& elements, std::string& text);

 private:
  /// How a property is written; worked out once per class.
  struct Step {
    meta::Property property;
    std::string name;  // as XML spells it
    StorageType storage;
    bool isCollection;
    bool isComposite;
    bool saysType;  // always names the class of what it contains
    bool hasDefault;
    const std::unordered_map<std::int64_t, std::string>* literals;  // of an enum
  };
  struct Plan {
    std::string qualifiedName;  // prefix:Class
    std::vector<Step> steps;
  };

  const Plan& planOf(const meta::StructuredType& type);
  [[nodiscard]] Step makeStep(const meta::Property& property);
  const std::unordered_map<std::int64_t, std::string>& literalsOf(const meta::Type& type);
  const std::string& prefixOf(const meta::Package& package);

  void noteSubset(const std::vector<ModelElement>& elements);
  [[nodiscard]] bool isWritten(const ModelElement::Impl& element) const;

  void writeElement(const ModelElement::Impl& element, const Plan& plan, std::string_view tag, std::string_view type);
  void writeIdentity(const ModelElement::Impl& element);
  /// @return true when something is left for child elements.
  bool writeAttributes(const ModelElement::Impl& element, const Plan& plan);
  void writeChildren(const ModelElement::Impl& element, const Plan& plan);
  bool writeSingle(const ModelElement::Impl& element, const Step& step);
  bool writeReferences(const ModelElement::Impl& element, const Step& step);
  void writeReferenceElements(const ModelElement::Impl& element, const Step& step);
  void writeReferenceElement(const ModelElement::Impl* target, const Step& step);
  void writeContained(const ModelElement::Impl* child, const Step& step);
  void writeValues(const ModelElement::Impl& element, const Step& step);
  void writeValueEntries(const Value& collection, const Step& step);
  void writeMapEntries(const StringToStringMap& map, const Step& step);
  void writeNil(const Step& step);

  void writeData(const ReflectiveDataType& data, const Step& step);
  bool writeDataAttributes(const ReflectiveDataType& data, const Plan& plan);
  void writeDataChildren(const ReflectiveDataType& data, const Plan& plan);

  template <class T>
  void writePlain(const T& object, const Step& step, TextPlace place);
  void writeValue(const Value& value, const Step& step, TextPlace place);
  void writeText(std::u16string_view text, const Step& step, TextPlace place);
  [[noreturn]] void refuse(std::size_t at, std::string_view what, const Step& step) const;

  void writeStart(std::string_view tag, std::string_view type);
  void writeId(const boost::uuids::uuid& uuid);
  void indent();
  [[nodiscard]] std::string namespaces() const;

  const bool fSkipsDefaults;
  const SchemaLocations& fSchemaLocations;
  bool fWritesAll = false;
  std::unordered_set<const ModelElement::Impl*> fSubset;

  std::unordered_map<const meta::StructuredType::Impl*, Plan> fPlans;
  std::unordered_map<const meta::Type::Impl*, std::unordered_map<std::int64_t, std::string>> fLiterals;
  std::unordered_map<const meta::Package::Impl*, std::string> fPrefixes;
  std::vector<std::pair<std::string, meta::Package>> fDeclared;  // prefix and package, in the order of their first use

  const ModelElement::Impl* fCurrent = nullptr;  // for errors
  std::size_t fDepth = 0;
  std::string fBody;
};

}  // namespace tarn::kern::io::xml
