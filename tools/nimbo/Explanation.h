#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include <boost/uuid/uuid.hpp>

#include <quillon/nimbo/BinEventReader.h>

namespace nimbo_tool {

/// Makes an annotated listing of a stream: a line per record, with its offset, its bytes and what they mean. Every byte
/// stands in exactly one line.
class Explanation final : public quillon::nimbo::BinEventHandler {
 public:
  /// What is listed: everything, the records around one byte, or one element.
  struct Selection {
    std::optional<std::uint64_t> offset;
    std::optional<boost::uuids::uuid> element;
  };
  using Line = std::function<void(const std::string&)>;

  /// `container`: the bytes that are read. `line` takes each line, with its end.
  Explanation(std::string_view container, Selection selection, Line line);

  /// True when something was listed.
  [[nodiscard]] bool hasLines() const noexcept { return fHasLines; }

  void container(const quillon::nimbo::ContainerEvent& event) override;
  void decompression(const quillon::nimbo::DecompressionEvent& event) override;
  void jsonText(const quillon::nimbo::ByteRange& bytes, std::string_view text) override;
  void packageCount(const quillon::nimbo::PackageCountEvent& event) override;
  void package(const quillon::nimbo::PackageEvent& event) override;
  void tag(const quillon::nimbo::TagEvent& event) override;
  void noElement(const quillon::nimbo::ByteRange& bytes) override;
  void elementId(const quillon::nimbo::ElementIdEvent& event) override;
  void type(const quillon::nimbo::NameEvent& event) override;
  void beginElement(const quillon::nimbo::ElementEvent& event) override;
  void endElement(const quillon::nimbo::ElementEndEvent& event) override;
  void property(const quillon::nimbo::NameEvent& event) override;
  void plainValue(const quillon::nimbo::ValueEvent& event) override;
  void literal(const quillon::nimbo::NameEvent& event) override;
  void beginCollection(const quillon::nimbo::CollectionEvent& event) override;
  void endCollection() override;
  void beginMap(const quillon::nimbo::MapEvent& event) override;
  void mapEntry(const quillon::nimbo::MapEntryEvent& event) override;
  void endMap() override;
  void beginData(std::string_view typeName) override;
  void endData(const quillon::nimbo::DataEndEvent& event) override;
  void custom(const quillon::nimbo::CustomEvent& event) override;
  void end(const quillon::nimbo::ByteRange& bytes) override;
  void dangling(const quillon::nimbo::DanglingEvent& event) override;
  void blockLength(const quillon::nimbo::BlockLengthEvent& event) override;

 private:
  void show(const quillon::nimbo::ByteRange& bytes, const std::string& meaning, bool isOfContainer = false);
  [[nodiscard]] bool isWanted(const quillon::nimbo::ByteRange& bytes) const;
  [[nodiscard]] std::string hex(const quillon::nimbo::ByteRange& bytes, bool isOfContainer) const;
  void flushPending();

  struct Pending {
    quillon::nimbo::ByteRange bytes;
    std::string meaning;
  };

  std::string_view fContainer;
  std::string fDecompressed;
  std::string_view fPayload;
  Selection fSelection;
  Line fLine;
  bool fHasLines = false;
  std::size_t fDepth = 0;
  /// Of the wanted element: the depth of its contents; none while it is not open.
  std::optional<std::size_t> fWantedDepth;
  /// The tag, id and type in front of an element of which the uuid is not known yet.
  std::vector<Pending> fPending;
};

}  // namespace nimbo_tool
