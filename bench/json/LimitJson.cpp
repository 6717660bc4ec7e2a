#include "LimitJson.h"

#include <array>
#include <string_view>

#include "JsonBytes.h"
#include "TimeText.h"

namespace bench::limit {
namespace {

class Writer : private JsonBytes {
 public:
  explicit Writer(ByteBuffer& out) : JsonBytes(out) {}

  void document(const Item& root) {
    put(R"({"version":"1.0","packageUris":["urn:bench"],"entries":[)");
    contained(root);
    put("]}");
  }

 private:
  /// Recursion follows the containment, which is a few levels deep in this model.
  void contained(const Item& item) {
    head(item);
    put(R"(,"content":{)");
    if (item.documentation) {
      put(R"("documentation":)");
      text(*item.documentation);
      put(R"(,"name":)");
    } else {
      put(R"("name":)");
    }
    text(item.name);
    if (item.abstract) put(R"(,"abstract":true)");
    if (item.base != nullptr) {
      put(R"(,"base":)");
      reference(*item.base);
    }
    lists(item);
    put(R"(,"revision":)");
    number(item.revision);
    if (!item.tags.empty()) {
      put(R"(,"tags":)");
      list(item.tags, [&](const std::u16string& tag) { text(tag); });
    }
    visibility(item.visibility);
    put(R"(,"weight":)");
    number(item.weight);
    if (item.isFolder) children(static_cast<const Folder&>(item));
    put("}}");
  }

  void lists(const Item& item) {
    if (!item.marks.empty()) {
      put(R"(,"marks":)");
      list(item.marks, [&](std::int32_t mark) { number(mark); });
    }
    if (item.modified != kNoTime) {
      put(R"(,"modified":)");
      const TimeText time = toText(item.modified);
      text({time.data(), time.size()});
    }
    if (item.multiplicity != 1) {
      put(R"(,"multiplicity":)");
      number(item.multiplicity);
    }
    if (!item.related.empty()) {
      put(R"(,"related":)");
      list(item.related, [&](const Item* target) { reference(*target); });
    }
  }

  void children(const Folder& folder) {
    if (folder.children.empty()) return;
    put(R"(,"children":)");
    list(folder.children, [&](const Item* child) { contained(*child); });
  }

  void visibility(Visibility value) {
    static constexpr std::array<std::string_view, 4> kMembers = {
        R"(,"visibility":"public")", R"(,"visibility":"protected")", R"(,"visibility":"private")",
        R"(,"visibility":"package")"};
    put(kMembers[static_cast<std::size_t>(value)]);
  }

  void reference(const Item& target) {
    head(target);
    put("}");
  }

  void head(const Item& item) {
    put(item.isFolder ? std::string_view(R"({"type":"bench.Folder","uuid":")")
                      : std::string_view(R"({"type":"bench.Item","uuid":")"));
    uuid(item.uuid);
    put("\"");
  }
};

}  // namespace

ByteBuffer saveJson(const Model& model) {
  ByteBuffer text;
  Writer(text).document(*model.root());
  return text;
}

}  // namespace bench::limit
