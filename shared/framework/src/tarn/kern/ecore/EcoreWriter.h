#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include <tarn/kern/meta/Class.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/Package.h>

namespace tarn::kern::ecore {

/// Writes one Ecore document.
class EcoreWriter {
 public:
  using Locations = std::map<ustring, std::string>;
  EcoreWriter(const std::vector<meta::Package>& packages, const Locations& locations);

  [[nodiscard]] std::string write();

 private:
  struct Notes {
    std::vector<std::pair<std::string, std::string>> details;
    void add(std::string_view key, std::string_view value) { details.emplace_back(key, value); }
  };

  void noteBeginnings(const meta::Package& package, const std::string& path);
  void writePackage(const meta::Package& package, std::string_view tag, bool isRoot);
  void writeContents(const meta::Package& package);
  void writeClass(const meta::StructuredType& type);
  void writeEnum(const meta::Enum& type);
  void writeCustom(const meta::PrimitiveType& type);
  void writeFeature(const meta::Property& property);
  void writeType(const meta::Property& property, Notes& notes);
  void writeBounds(const meta::Property& property);
  void writeFlags(const meta::Property& property, Notes& notes);
  void writeDefault(const meta::Property& property);
  void writeTies(const meta::Property& property, Notes& notes);

  /// Ends the start tag, and writes the notes inside it and `body`, if there is any of them, and the end tag.
  template <class Body>
  void finish(std::string_view tag, const meta::NamedElement& element, const Notes& notes, bool hasBody, Body&& body);
  void writeAnnotation(const ustring& source, const std::vector<std::pair<std::string, std::string>>& details);
  /// Nodes that were kept as text.
  void writeKept(const ustring& text);

  void attribute(std::string_view name, std::string_view value);
  void attribute(std::string_view name, const ustring& value);
  void copyFacet(const meta::NamedElement& element, const char16_t* key);
  [[nodiscard]] ustring nameOf(const meta::NamedElement& element) const;
  [[nodiscard]] std::string referenceTo(const meta::Type& type);
  [[nodiscard]] std::string referenceTo(const meta::Property& property);
  /// `ecore:EClass http://...#//Name` as this document spells it.
  [[nodiscard]] std::string localized(const std::string& reference) const;

  const std::vector<meta::Package>& fPackages;
  const Locations& fLocations;
  std::map<std::string, std::string> fBeginnings;  // URI of a package in this document to where its paths begin
  std::string fText;
  std::size_t fDepth = 0;
};

}  // namespace tarn::kern::ecore
