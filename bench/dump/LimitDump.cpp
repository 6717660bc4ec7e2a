#include "LimitDump.h"

#include <array>
#include <string_view>

#include <nlohmann/json.hpp>

#include "JsonBytes.h"
#include "TimeText.h"

namespace bench::limit {
namespace {

class Writer : private JsonBytes {
 public:
  explicit Writer(ByteBuffer& out) : JsonBytes(out) {}

  void document(const Item& root) {
    put(R"({"entries":[)");
    contained(root);
    put(R"(],"packageUris":[],"version":"1.0"})");
  }

 private:
  /// Recursion follows the containment, which is a few levels deep in this model.
  void contained(const Item& item) {
    put(item.abstract ? R"({"content":{"abstract":true,"base":)" : R"({"content":{"base":)");
    reference(item.base);
    if (item.isFolder) {
      put(R"(,"children":)");
      list(static_cast<const Folder&>(item).children, [&](const Item* child) { contained(*child); });
    }
    put(R"(,"documentation":)");
    if (item.documentation) {
      text(*item.documentation);
    } else {
      put("null");
    }
    put(R"(,"marks":)");
    list(item.marks, [&](std::int32_t mark) { number(mark); });
    modified(item.modified);
    if (item.multiplicity != 1) {
      put(R"(,"multiplicity":)");
      number(item.multiplicity);
    }
    put(R"(,"name":)");
    text(item.name);
    put(R"(,"related":)");
    list(item.related, [&](const Item* target) { reference(target); });
    put(R"(,"revision":)");
    number(item.revision);
    put(R"(,"tags":)");
    list(item.tags, [&](const std::u16string& tag) { text(tag); });
    visibility(item.visibility);
    put(R"(,"weight":)");
    real(item.weight);
    put("},");
    identity(item);
  }

  void modified(Microseconds value) {
    put(R"(,"modified":)");
    if (value == kNoTime) return put("null");
    const TimeText time = toText(value);
    text({time.data(), time.size()});
  }

  void visibility(Visibility value) {
    static constexpr std::array<std::string_view, 4> kMembers = {
        R"(,"visibility":"public")", R"(,"visibility":"protected")", R"(,"visibility":"private")",
        R"(,"visibility":"package")"};
    put(kMembers[static_cast<std::size_t>(value)]);
  }

  /// With the digits of the JSON library, which are part of the dump's form.
  void real(double value) {
    std::array<char, 64> digits;
    const char* const end = nlohmann::detail::to_chars(digits.data(), digits.data() + digits.size(), value);
    put({digits.data(), static_cast<std::size_t>(end - digits.data())});
  }

  void reference(const Item* target) {
    if (target == nullptr) return put("null");
    put("{");
    identity(*target);
  }

  void identity(const Item& item) {
    put(item.isFolder ? std::string_view(R"("type":"bench.Folder","uuid":")")
                      : std::string_view(R"("type":"bench.Item","uuid":")"));
    uuid(item.uuid);
    put("\"}");
  }
};

}  // namespace

ByteBuffer saveDump(const Model& model) {
  ByteBuffer text;
  Writer(text).document(*model.root());
  return text;
}

}  // namespace bench::limit
