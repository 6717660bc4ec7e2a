#pragma once

#include <string>
#include <unordered_set>
#include <vector>

#include <quillon/nimbo/BinEventReader.h>
#include <tarn/kern/meta/Class.h>

#include "Violation.h"

namespace nimbo_tool {

/// The rules of a binary stream beyond what every reader insists on: what a writer of ours would never write. What the
/// registered meta-model says about uniqueness is looked at too, since a model that was read no longer shows it.
class StreamRules final : public quillon::nimbo::BinEventHandler {
 public:
  explicit StreamRules(Violations& violations) noexcept : fViolations(violations) {}

  void package(const quillon::nimbo::PackageEvent& event) override;
  void elementId(const quillon::nimbo::ElementIdEvent& event) override;
  void type(const quillon::nimbo::NameEvent& event) override;
  void noElement(const quillon::nimbo::ByteRange& bytes) override;
  void beginElement(const quillon::nimbo::ElementEvent& event) override;
  void endElement(const quillon::nimbo::ElementEndEvent& event) override;
  void property(const quillon::nimbo::NameEvent& event) override;
  void plainValue(const quillon::nimbo::ValueEvent& event) override;
  void literal(const quillon::nimbo::NameEvent& event) override;
  void mapEntry(const quillon::nimbo::MapEntryEvent& event) override;
  void beginMap(const quillon::nimbo::MapEvent& event) override;
  void beginData(std::string_view typeName) override;
  void endData(const quillon::nimbo::DataEndEvent& event) override;
  void dangling(const quillon::nimbo::DanglingEvent& event) override;
  void blockLength(const quillon::nimbo::BlockLengthEvent& event) override;

 private:
  /// A class or data value whose properties are being read.
  struct Owner {
    std::string name;
    tarn::kern::meta::StructuredType type;  ///< null: nobody has registered it
    std::unordered_set<std::string> properties;
    std::string property;
    bool isUniqueCollection = false;
    std::unordered_set<std::string> members;
  };

  void add(const char* rule, std::uint64_t offset, std::string text);
  void checkId(std::int64_t id, std::int64_t& highest, const char* what, std::uint64_t offset);
  void checkMember(const std::string& member, std::uint64_t offset);
  [[nodiscard]] std::string where() const;
  void open(std::string_view typeName);

  Violations& fViolations;
  std::vector<std::string> fPackages;
  std::int64_t fElements = 0;
  std::int64_t fTypes = 0;
  std::int64_t fProperties = 0;
  std::int64_t fLiterals = 0;
  std::vector<Owner> fOwners;
  std::unordered_set<std::string> fKeys;
};

}  // namespace nimbo_tool
