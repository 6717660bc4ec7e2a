#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include <quillon/nimbo/BinEventReader.h>

namespace nimbo_tool {

/// What can be told of a model without its meta-model.
struct Survey {
  char letter = 0;
  std::uint64_t payloadBytes = 0;
  std::vector<std::string> packages;
  std::uint64_t roots = 0;
  std::uint64_t elements = 0;    ///< with contents
  std::uint64_t references = 0;  ///< mentions of elements that stand elsewhere
  std::uint64_t dangling = 0;    ///< elements that are mentioned and never come
  std::uint64_t depth = 0;       ///< of the deepest element, roots having 1; 0 where it was not counted
  std::map<std::string, std::uint64_t> elementsPerClass;
};

/// Counts what a binary stream holds.
class StreamSurvey final : public quillon::nimbo::BinEventHandler {
 public:
  [[nodiscard]] Survey& result() noexcept { return fSurvey; }

  void container(const quillon::nimbo::ContainerEvent& event) override;
  void decompression(const quillon::nimbo::DecompressionEvent& event) override;
  void jsonText(const quillon::nimbo::ByteRange& bytes, std::string_view text) override;
  void package(const quillon::nimbo::PackageEvent& event) override;
  void beginElement(const quillon::nimbo::ElementEvent& event) override;
  void endElement(const quillon::nimbo::ElementEndEvent& event) override;
  void end(const quillon::nimbo::ByteRange& bytes) override;
  void dangling(const quillon::nimbo::DanglingEvent& event) override;

 private:
  Survey fSurvey;
  std::uint64_t fDepth = 0;
};

/// Counts what the JSON form of a model holds. @throws ToolError naming line and column when it is no JSON
void surveyJson(std::string_view text, Survey& survey, const std::string& name);

}  // namespace nimbo_tool
