#include "JsonDocument.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <limits>
#include <new>
#include <utility>
#include <vector>

#if defined(__linux__)
#include <sys/mman.h>
#endif
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace tarn::kern::io {

using bedrock::i18n::to_string;

namespace {

constexpr std::size_t kNone = std::numeric_limits<std::size_t>::max();

bool isBlank(char c) noexcept { return c == ' ' || c == '\n' || c == '\r' || c == '\t'; }
bool isDigit(char c) noexcept { return c >= '0' && c <= '9'; }
bool endsRun(char c) noexcept { return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20; }

/// The value of a hexadecimal digit, or -1.
int hexValue(char c) noexcept {
  if (isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

/// Passes bytes of a string that stand for themselves: up to a quote, a backslash, a control character or the end. Says
/// through `isAscii` whether one of them was not ASCII.
const char* passRun(const char* at, const char* end, bool& isAscii) noexcept {
#if defined(__SSE2__)
  // Sixteen at a time: most of a document is short strings, and this is where the time goes.
  const __m128i quote = _mm_set1_epi8('"');
  const __m128i backslash = _mm_set1_epi8('\\');
  const __m128i lastControl = _mm_set1_epi8(0x1F);
  while (end - at >= 16) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(at));
    const __m128i isControl = _mm_cmpeq_epi8(_mm_max_epu8(bytes, lastControl), lastControl);
    const __m128i isMark = _mm_or_si128(_mm_cmpeq_epi8(bytes, quote), _mm_cmpeq_epi8(bytes, backslash));
    const auto ends = static_cast<unsigned>(_mm_movemask_epi8(_mm_or_si128(isControl, isMark)));
    const auto high = static_cast<unsigned>(_mm_movemask_epi8(bytes));
    if (ends != 0) {
      const int run = std::countr_zero(ends);
      if ((high & ((1U << static_cast<unsigned>(run)) - 1U)) != 0) isAscii = false;
      return at + run;
    }
    if (high != 0) isAscii = false;
    at += 16;
  }
#endif
  for (; at != end && !endsRun(*at); ++at) {
    if (static_cast<unsigned char>(*at) >= 0x80) isAscii = false;
  }
  return at;
}

std::string quoted(std::string_view text) {
  constexpr std::size_t kLongest = 60;
  const bool isLong = text.size() > kLongest;
  std::string_view shown = text.substr(0, kLongest);
  while (isLong && !shown.empty() && !bedrock::i18n::isValidUtf8(shown)) shown.remove_suffix(1);
  return "\"" + std::string(shown) + (isLong ? "...\"" : "\"");
}

std::string describeByte(std::string_view rest) {
  if (rest.empty()) return "the end of the text";
  const auto byte = static_cast<unsigned char>(rest.front());
  if (byte > 0x20 && byte < 0x7F) return "'" + std::string(1, rest.front()) + "'";
  constexpr std::string_view kDigits = "0123456789abcdef";
  return std::string("the byte 0x") + kDigits[byte >> 4U] + kDigits[byte & 15U];
}

}  // namespace

/// Goes over the text once. Between two steps fAt stands behind a value; fOpen is the innermost open container.
class JsonDocument::Builder {
 public:
  explicit Builder(JsonDocument& document)
      : fDocument(document), fBegin(document.fText.data()), fAt(fBegin), fEnd(fBegin + document.fText.size()) {}

  void build() {
    reserve(std::max<std::size_t>(kFewest, fDocument.fText.size() / kUsualBytesPerNode));
    refuseByteOrderMark();
    value();
    while (fOpen != kNone) afterValue();
    skipBlanks();
    if (fAt != fEnd) fail("the end of the text");
  }

 private:
  static constexpr std::size_t kFewest = 64;
  static constexpr std::size_t kUsualBytesPerNode = 14;

  // --- The tape.

  void reserve(std::size_t capacity) {
    void* const moved = std::realloc(fDocument.fTape.get(), capacity * sizeof(Entry));
    if (moved == nullptr) throw std::bad_alloc();
    static_cast<void>(fDocument.fTape.release());  // realloc has freed it
    fDocument.fTape.reset(static_cast<Entry*>(moved));
    fCapacity = capacity;
    wishForLargePages();
  }

  /// Touching fresh memory for the first time costs as much as writing it; large pages make that a few hundred times
  /// rarer. A wish: where it cannot be had, nothing is lost.
  void wishForLargePages() const noexcept {
#if defined(__linux__) && defined(MADV_HUGEPAGE)
    constexpr std::size_t kPage = 4096;
    constexpr std::size_t kWorthwhile = std::size_t{8} * 1024 * 1024;
    if (fCapacity * sizeof(Entry) < kWorthwhile) return;
    auto* const begin = reinterpret_cast<std::byte*>(fDocument.fTape.get());
    const std::size_t toPage = (kPage - reinterpret_cast<std::uintptr_t>(begin) % kPage) % kPage;
    static_cast<void>(::madvise(begin + toPage, (fCapacity * sizeof(Entry) - toPage) / kPage * kPage, MADV_HUGEPAGE));
#endif
  }

  void push(JsonKind kind, const char* at, std::uint64_t flags, std::uint64_t what) {
    if (fDocument.fCount == fCapacity) reserve(fCapacity * 2);
    const auto offset = static_cast<std::uint64_t>(at - fBegin);
    fDocument.fTape[fDocument.fCount++] = {static_cast<std::uint64_t>(kind) << kKindShift | flags | offset, what};
  }

  void open(JsonKind kind) {
    const std::size_t index = fDocument.fCount;
    push(kind, fAt, kOpen, fOpen);
    fOpen = index;
    fIsInObject = kind == JsonKind::Object;
    ++fAt;
  }

  void close() {
    ++fAt;
    Entry& entry = fDocument.fTape[fOpen];
    fOpen = static_cast<std::size_t>(entry.what);
    entry.where &= ~kOpen;
    entry.what = fDocument.fCount;
    fIsInObject = fOpen != kNone && fDocument.kindAt(fOpen) == JsonKind::Object;
  }

  // --- The grammar.

  void skipBlanks() noexcept {
    while (fAt != fEnd && isBlank(*fAt)) ++fAt;
  }
  [[nodiscard]] char peek() const noexcept { return fAt != fEnd ? *fAt : '\0'; }

  /// Reads a value. Of a container that is not empty, the beginning up to its first value that is none.
  void value() {
    for (;;) {
      skipBlanks();
      switch (peek()) {
        case '{':
          open(JsonKind::Object);
          if (closesAtOnce('}')) return;
          key();
          continue;
        case '[':
          open(JsonKind::Array);
          if (closesAtOnce(']')) return;
          continue;
        case '"':
          return string();
        case 't':
          return word("true", JsonKind::True);
        case 'f':
          return word("false", JsonKind::False);
        case 'n':
          return word("null", JsonKind::Null);
        default:
          return number();
      }
    }
  }

  [[nodiscard]] bool closesAtOnce(char closing) {
    skipBlanks();
    if (peek() != closing) return false;
    close();
    return true;
  }

  void afterValue() {
    skipBlanks();
    const char c = peek();
    if (c == ',') {
      ++fAt;
      if (fIsInObject) key();
      value();
    } else if (c == (fIsInObject ? '}' : ']')) {
      close();
    } else {
      fail(fIsInObject ? "',' or '}'" : "',' or ']'");
    }
  }

  void key() {
    skipBlanks();
    if (peek() != '"') fail("a key in double quotes");
    string();
    skipBlanks();
    if (peek() != ':') fail("':'");
    ++fAt;
  }

  void string() {
    const char* const begin = ++fAt;
    bool isAscii = true;
    std::uint64_t flags = 0;
    for (;;) {
      fAt = passRun(fAt, fEnd, isAscii);
      if (peek() == '"') break;
      if (peek() != '\\') fail(fAt == fEnd ? "'\"' at the end of the string" : "control characters to be escaped");
      flags = kEscaped;
      escape();
    }
    if (!isAscii) {
      flags |= kNotAscii;
      refuseBadUtf8(begin);
    }
    push(JsonKind::String, begin, flags, static_cast<std::uint64_t>(fAt - begin));
    ++fAt;
  }

  void escape() {
    ++fAt;
    const char c = peek();
    constexpr std::string_view kLetters = "\"\\/bfnrt";
    if (c == 'u') {
      for (int digit = 0; digit < 4; ++digit) {
        ++fAt;
        if (fAt == fEnd || hexValue(*fAt) < 0) fail("four hexadecimal digits behind \\u");
      }
    } else if (fAt == fEnd || kLetters.find(c) == std::string_view::npos) {
      fail("one of \"\\/bfnrtu behind the backslash");
    }
    ++fAt;
  }

  void refuseBadUtf8(const char* begin) {
    const std::string_view bytes(begin, static_cast<std::size_t>(fAt - begin));
    const std::size_t bad = bedrock::i18n::findInvalidUtf8(bytes);
    if (bad == std::string_view::npos) return;
    fAt = begin + bad;
    fail("text in UTF-8");
  }

  void refuseByteOrderMark() {
    if (fDocument.fText.substr(0, 3) != "\xEF\xBB\xBF") return;
    throw ParseError(fDocument.placeOf(0, 0), "a JSON value", "a byte-order mark",
                     "; save the text as UTF-8 without one");
  }

  void word(std::string_view spelling, JsonKind kind) {
    const std::string_view rest(fAt, static_cast<std::size_t>(fEnd - fAt));
    if (rest.substr(0, spelling.size()) != spelling) fail("a JSON value");
    push(kind, fAt, 0, spelling.size());
    fAt += spelling.size();
  }

  void number() {
    const char* const begin = fAt;
    if (peek() == '-') ++fAt;
    if (!isDigit(peek())) fail(fAt == begin ? "a JSON value" : "a digit behind '-'");
    if (*fAt == '0') {
      ++fAt;
    } else {
      digits();
    }
    if (peek() == '.') {
      ++fAt;
      someDigits("a digit behind the decimal point");
    }
    if (peek() == 'e' || peek() == 'E') {
      ++fAt;
      if (peek() == '+' || peek() == '-') ++fAt;
      someDigits("a digit of the exponent");
    }
    push(JsonKind::Number, begin, 0, static_cast<std::uint64_t>(fAt - begin));
  }

  void someDigits(const char* expected) {
    if (!isDigit(peek())) fail(expected);
    digits();
  }
  void digits() noexcept {
    while (fAt != fEnd && isDigit(*fAt)) ++fAt;
  }

  [[noreturn]] void fail(const char* expected) const {
    const auto offset = static_cast<std::size_t>(fAt - fBegin);
    throw ParseError(fDocument.placeOf(offset, fDocument.fCount), expected,
                     describeByte(fDocument.fText.substr(offset)));
  }

  JsonDocument& fDocument;
  std::size_t fCapacity = 0;
  std::size_t fOpen = kNone;
  bool fIsInObject = false;
  const char* fBegin;
  const char* fAt;
  const char* fEnd;
};

JsonDocument::JsonDocument(std::string_view text, std::string sourceName)
    : fText(text), fSourceName(std::move(sourceName)) {
  Builder(*this).build();
}

// --- Places.

ParsePlace JsonDocument::placeOf(std::uint64_t offset, std::size_t index) const {
  const std::string_view before = fText.substr(0, static_cast<std::size_t>(offset));
  const std::size_t lastBreak = before.rfind('\n');
  return {fSourceName, static_cast<std::uint64_t>(std::count(before.begin(), before.end(), '\n')) + 1,
          before.size() - (lastBreak == std::string_view::npos ? 0 : lastBreak + 1) + 1, pathTo(index)};
}

namespace {

/// Steps from the top to a place, as text. Of a very long way only the first and the last steps are kept.
class PathText {
 public:
  void add(std::string step) {
    if (fFirst.size() < kKept) {
      fFirst.push_back(std::move(step));
    } else {
      fLast[fMore++ % kKept] = std::move(step);
    }
  }
  [[nodiscard]] std::string text() const {
    std::string text;
    for (const std::string& step : fFirst) text += step;
    if (fMore > kKept) text += "...";
    for (std::size_t i = fMore - std::min(fMore, kKept); i < fMore; ++i) text += fLast[i % kKept];
    return text.starts_with('.') && !text.starts_with("...") ? text.substr(1) : text;
  }

 private:
  static constexpr std::size_t kKept = 16;
  std::vector<std::string> fFirst;
  std::array<std::string, kKept> fLast;
  std::size_t fMore = 0;
};

bool isPlainName(std::string_view name) {
  return !name.empty() && !isDigit(name.front()) && std::all_of(name.begin(), name.end(), [](char c) {
    return isDigit(c) || c == '_' || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  });
}

std::string stepTo(const JsonNode& key) {
  const std::string name = to_string(key.text());
  return isPlainName(name) ? "." + name : "[" + quoted(name) + "]";
}

}  // namespace

/// `index` is a node's, or the one that comes next while the tape is being built: a container that is still open
/// reaches to the end then.
std::string JsonDocument::pathTo(std::size_t index) const {
  PathText path;
  std::size_t container = 0;
  while (container < index && container < fCount && isContainer(container)) {
    if ((fTape[container].where & kOpen) == 0 && behind(container) <= index) break;  // behind the whole value
    const bool isObject = kindAt(container) == JsonKind::Object;
    std::size_t position = 0;
    std::size_t child = container + 1;
    std::size_t key = kNone;
    for (; child <= index && child < fCount; ++position) {
      key = isObject ? child++ : kNone;
      if (child > index || child >= fCount) break;
      const bool isOpen = (fTape[child].where & kOpen) != 0;
      const std::size_t next = isOpen ? kNone : behind(child);
      if (index < next) break;
      child = next;
      key = kNone;
    }
    if (isObject && key == kNone) break;  // between two members
    path.add(isObject ? stepTo({this, key}) : "[" + std::to_string(position) + "]");
    container = child;
  }
  return path.text();
}

ParsePlace JsonNode::place() const {
  return fDocument->placeOf(fDocument->offsetOf(fIndex) - (isString() ? 1 : 0), fIndex);
}

std::string JsonNode::describe() const {
  switch (kind()) {
    case JsonKind::Null:
      return "null";
    case JsonKind::False:
      return "false";
    case JsonKind::True:
      return "true";
    case JsonKind::Number: {
      const std::string shown = quoted(raw());
      return "the number " + shown.substr(1, shown.size() - 2);
    }
    case JsonKind::String:
      return "the text " + quoted(to_string(text()));
    case JsonKind::Array:
      return "an array";
    case JsonKind::Object:
      return "an object";
  }
  return {};
}

void JsonNode::fail(const std::string& expected, const std::string& advice) const {
  throw ParseError(place(), expected, describe(), advice);
}

void JsonNode::failWith(const std::string& problem) const { throw ParseError(place(), problem); }

// --- Strings.

namespace {

char16_t unescaped(char letter) noexcept {
  switch (letter) {
    case 'b':
      return u'\b';
    case 'f':
      return u'\f';
    case 'n':
      return u'\n';
    case 'r':
      return u'\r';
    case 't':
      return u'\t';
    default:
      return static_cast<char16_t>(letter);
  }
}

char16_t unitOf(std::string_view fourDigits) noexcept {
  unsigned unit = 0;
  for (const char digit : fourDigits) unit = unit * 16U + static_cast<unsigned>(hexValue(digit));
  return static_cast<char16_t>(unit);
}

/// ASCII has one unit per byte. By way of a buffer, as a string cannot be made without being cleared first.
ustring widened(std::string_view ascii) {
  constexpr std::size_t kShort = 256;
  if (ascii.size() > kShort) return {ascii.begin(), ascii.end()};
  std::array<char16_t, kShort> units;  // NOLINT(cppcoreguidelines-pro-type-member-init): filled as far as it is read
  for (std::size_t i = 0; i < ascii.size(); ++i) units[i] = static_cast<unsigned char>(ascii[i]);
  return {units.data(), ascii.size()};
}

ustring resolved(std::string_view raw) {
  ustring text;
  while (!raw.empty()) {
    const std::size_t run = std::min(raw.find('\\'), raw.size());
    bedrock::i18n::appendUstring(text, raw.substr(0, run));
    raw.remove_prefix(run);
    if (raw.empty()) break;
    if (raw[1] == 'u') {
      text += unitOf(raw.substr(2, 4));
      raw.remove_prefix(6);
    } else {
      text += unescaped(raw[1]);
      raw.remove_prefix(2);
    }
  }
  return text;
}

}  // namespace

ustring JsonNode::text() const {
  if (isPlainAscii()) return widened(raw());
  return isVerbatim() ? bedrock::i18n::utf8_to_ustring(raw()) : resolved(raw());
}

std::string JsonNode::utf8() const {
  return isVerbatim() ? std::string(raw()) : bedrock::i18n::ustring_to_utf8(resolved(raw()));
}

JsonNode JsonNode::find(std::string_view key) const {
  for (const JsonMember& member : members()) {
    if (member.key.says(key)) return member.value;
  }
  return {};
}

}  // namespace tarn::kern::io
