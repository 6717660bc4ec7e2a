#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>

#include <bedrock/i18n.h>
#include <tarn/kern/io/ParseError.h>

/// A JSON text, read strictly (RFC 8259: valid UTF-8, no byte-order mark, nothing behind the value) to a flat tape: one
/// entry of 16 bytes per value and per key, in the order of the text, with the span that it covers. Strings and numbers
/// stay in the text until somebody asks for them, so reading costs no allocation per value, and whoever reads the
/// content can go over it in any order. Nesting may have any depth: nothing here recurses.
///
/// Keys may repeat; whether they may is for the reader of the content to say. Escapes may give lone surrogates.
/// Lines, columns and paths are worked out only when somebody asks for one.
namespace tarn::kern::io {

using bedrock::i18n::ustring;

class JsonDocument;

enum class JsonKind : std::uint8_t { Null, False, True, Number, String, Array, Object };

/// Names one value, or one key, of a JsonDocument; valid as long as that lives. Null by default.
class JsonNode {
 public:
  JsonNode() noexcept = default;
  JsonNode(const JsonDocument* document, std::size_t index) noexcept : fDocument(document), fIndex(index) {}

  [[nodiscard]] explicit operator bool() const noexcept { return fDocument != nullptr; }
  [[nodiscard]] inline JsonKind kind() const noexcept;
  [[nodiscard]] bool isNull() const noexcept { return kind() == JsonKind::Null; }
  [[nodiscard]] bool isBoolean() const noexcept { return kind() == JsonKind::True || kind() == JsonKind::False; }
  [[nodiscard]] bool isString() const noexcept { return kind() == JsonKind::String; }
  [[nodiscard]] bool isNumber() const noexcept { return kind() == JsonKind::Number; }
  [[nodiscard]] bool isArray() const noexcept { return kind() == JsonKind::Array; }
  [[nodiscard]] bool isObject() const noexcept { return kind() == JsonKind::Object; }

  /// A number or string as the text spells it: a string without its quotes, escapes as they stand.
  [[nodiscard]] inline std::string_view raw() const noexcept;
  /// Of a string: raw() is what it says, and all of it is ASCII.
  [[nodiscard]] inline bool isPlainAscii() const noexcept;
  /// Of a string: raw() is what it says.
  [[nodiscard]] inline bool isVerbatim() const noexcept;

  /// What a string says.
  [[nodiscard]] ustring text() const;
  /// The same in UTF-8. A lone surrogate, which only an escape can give, has its three-byte form.
  [[nodiscard]] std::string utf8() const;
  /// utf8() == expected
  [[nodiscard]] inline bool says(std::string_view expected) const;

  /// The entries of an array; the members of an object. @pre the kind
  class Entries;
  class Members;
  [[nodiscard]] inline Entries entries() const noexcept;
  [[nodiscard]] inline Members members() const noexcept;
  /// The value of the first member of an object that has that key, or a null node.
  [[nodiscard]] JsonNode find(std::string_view key) const;

  /// Of a string: where its quote stands.
  [[nodiscard]] ParsePlace place() const;
  /// "an object", "the number 7", "the text "seven""
  [[nodiscard]] std::string describe() const;
  /// Throws the ParseError of this place; what was found is this node.
  [[noreturn]] void fail(const std::string& expected, const std::string& advice = {}) const;
  [[noreturn]] void failWith(const std::string& problem) const;

  [[nodiscard]] std::size_t index() const noexcept { return fIndex; }
  /// Where it begins in the text; of a string, behind its quote.
  [[nodiscard]] inline std::size_t offset() const noexcept;
  [[nodiscard]] const JsonDocument& document() const noexcept { return *fDocument; }
  /// What follows behind this node and all in it.
  [[nodiscard]] inline JsonNode behind() const noexcept;
  /// Directly behind this node: the first node in a container, the value of a key.
  [[nodiscard]] JsonNode following() const noexcept { return {fDocument, fIndex + 1}; }

  friend bool operator==(const JsonNode&, const JsonNode&) noexcept = default;

 private:
  const JsonDocument* fDocument = nullptr;
  std::size_t fIndex = 0;
};

class JsonDocument {
 public:
  static constexpr const char* kDefaultSourceName = "JSON text";

  /// Reads the text, which must outlive the document. @throws ParseError
  explicit JsonDocument(std::string_view text, std::string sourceName = kDefaultSourceName);
  JsonDocument(const JsonDocument&) = delete;
  JsonDocument& operator=(const JsonDocument&) = delete;
  ~JsonDocument() = default;

  [[nodiscard]] JsonNode root() const noexcept { return {this, 0}; }
  [[nodiscard]] std::string_view text() const noexcept { return fText; }
  [[nodiscard]] std::size_t nodeCount() const noexcept { return fCount; }
  [[nodiscard]] const std::string& sourceName() const noexcept { return fSourceName; }

 private:
  friend class JsonNode;

  /// `where` holds the offset of the first byte (of a string: behind its quote), the kind and the flags. `what` is the
  /// length of a string's or number's spelling; of a container the index behind its last node, and while it is open the
  /// index of the container around it.
  struct Entry {
    std::uint64_t where;
    std::uint64_t what;
  };
  static constexpr unsigned kKindShift = 60;
  static constexpr std::uint64_t kEscaped = std::uint64_t{1} << 59U;
  static constexpr std::uint64_t kNotAscii = std::uint64_t{1} << 58U;
  static constexpr std::uint64_t kOpen = std::uint64_t{1} << 57U;
  static constexpr std::uint64_t kOffsetMask = kOpen - 1;

  class Builder;
  struct Free {
    void operator()(Entry* entries) const noexcept { std::free(entries); }
  };

  [[nodiscard]] JsonKind kindAt(std::size_t index) const noexcept {
    return static_cast<JsonKind>(fTape[index].where >> kKindShift);
  }
  [[nodiscard]] bool isContainer(std::size_t index) const noexcept { return kindAt(index) >= JsonKind::Array; }
  [[nodiscard]] std::uint64_t offsetOf(std::size_t index) const noexcept { return fTape[index].where & kOffsetMask; }
  [[nodiscard]] std::size_t behind(std::size_t index) const noexcept;
  [[nodiscard]] ParsePlace placeOf(std::uint64_t offset, std::size_t index) const;
  [[nodiscard]] std::string pathTo(std::size_t index) const;

  std::string_view fText;
  std::string fSourceName;
  // Grown by realloc, which moves the pages of a large tape instead of copying them.
  std::unique_ptr<Entry[], Free> fTape;
  std::size_t fCount = 0;
};

/// One member of an object.
struct JsonMember {
  JsonNode key;
  JsonNode value;
};

namespace detail {

/// A forward range over the children of a container. `Step` makes the item that begins at a node.
template <class Item, Item (*Step)(const JsonNode&), std::size_t kLead>
class JsonRange {
 public:
  class Iterator {
   public:
    using iterator_category = std::forward_iterator_tag;
    using value_type = Item;
    using difference_type = std::ptrdiff_t;
    using pointer = const Item*;
    using reference = Item;

    Iterator() noexcept = default;
    explicit Iterator(JsonNode at) noexcept : fAt(at) {}
    [[nodiscard]] Item operator*() const noexcept { return Step(fAt); }
    Iterator& operator++() noexcept {
      fAt = kLead == 0 ? fAt.behind() : fAt.following().behind();
      return *this;
    }
    Iterator operator++(int) noexcept {
      Iterator before = *this;
      ++*this;
      return before;
    }
    friend bool operator==(const Iterator&, const Iterator&) noexcept = default;

   private:
    JsonNode fAt;
  };

  explicit JsonRange(const JsonNode& container) noexcept : fBegin(container.following()), fEnd(container.behind()) {}
  [[nodiscard]] Iterator begin() const noexcept { return fBegin; }
  [[nodiscard]] Iterator end() const noexcept { return fEnd; }
  [[nodiscard]] bool empty() const noexcept { return fBegin == fEnd; }

 private:
  Iterator fBegin;
  Iterator fEnd;
};

inline JsonNode entryAt(const JsonNode& node) { return node; }
inline JsonMember memberAt(const JsonNode& node) { return {node, node.following()}; }

}  // namespace detail

class JsonNode::Entries : public detail::JsonRange<JsonNode, detail::entryAt, 0> {
  using JsonRange::JsonRange;
};
class JsonNode::Members : public detail::JsonRange<JsonMember, detail::memberAt, 1> {
  using JsonRange::JsonRange;
};

inline std::size_t JsonDocument::behind(std::size_t index) const noexcept {
  return isContainer(index) ? static_cast<std::size_t>(fTape[index].what) : index + 1;
}

inline JsonKind JsonNode::kind() const noexcept { return fDocument->kindAt(fIndex); }
inline std::string_view JsonNode::raw() const noexcept {
  return {fDocument->fText.data() + fDocument->offsetOf(fIndex),
          static_cast<std::size_t>(fDocument->fTape[fIndex].what)};
}
inline bool JsonNode::isPlainAscii() const noexcept {
  return (fDocument->fTape[fIndex].where & (JsonDocument::kEscaped | JsonDocument::kNotAscii)) == 0;
}
inline bool JsonNode::isVerbatim() const noexcept {
  return (fDocument->fTape[fIndex].where & JsonDocument::kEscaped) == 0;
}
inline bool JsonNode::says(std::string_view expected) const {
  return isVerbatim() ? raw() == expected : utf8() == expected;
}
inline std::size_t JsonNode::offset() const noexcept { return static_cast<std::size_t>(fDocument->offsetOf(fIndex)); }
inline JsonNode JsonNode::behind() const noexcept { return {fDocument, fDocument->behind(fIndex)}; }
inline JsonNode::Entries JsonNode::entries() const noexcept { return Entries(*this); }
inline JsonNode::Members JsonNode::members() const noexcept { return Members(*this); }

}  // namespace tarn::kern::io
