#include "LimitPage.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "TimeText.h"
#include "ValueText.h"

namespace bench::limit {
namespace {

std::string_view className(const Item& item) { return item.isFolder ? "Folder" : "Item"; }

void putAddress(ByteBuffer& out, const void* address) {
  std::array<char, 20> text;
  const auto end = std::to_chars(text.data(), text.data() + text.size(), reinterpret_cast<std::uintptr_t>(address), 16);
  putChars(out, "0x");
  out.putBytes(text.data(), static_cast<std::size_t>(end.ptr - text.data()));
}

/// A text of the model. The benchmark's have no line ends.
void putEscaped(ByteBuffer& out, std::u16string_view text) {
  std::size_t from = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    std::string_view instead;
    switch (text[i]) {
      case u' ':
        instead = "&nbsp;";
        break;
      case u'"':
        instead = "&quot;";
        break;
      case u'&':
        instead = "&amp;";
        break;
      case u'<':
        instead = "&lt;";
        break;
      case u'>':
        instead = "&gt;";
        break;
      default:
        continue;
    }
    putUtf8(out, text.substr(from, i - from));
    putChars(out, instead);
    from = i + 1;
  }
  putUtf8(out, text.substr(from));
}

class PageWriter {
 public:
  PageWriter(ByteBuffer& out, const Model& model, const Sink& sink)
      : fOut(out), fModel(model), fSink(sink), fNumbers(model.items().size()) {}

  void putTree() { putItem(*fModel.root()); }

  void putDescriptions() {
    for (const Item* item : fModel.items()) putDescription(*item);
  }

 private:
  /// Given at first mention, from 1.
  std::uint32_t numberOf(const Item& item) {
    std::uint32_t& number = fNumbers[item.number];
    if (number == 0) number = ++fLastNumber;
    return number;
  }

  void put(std::string_view text) { putChars(fOut, text); }

  void putIndent(std::size_t more) {
    for (std::size_t i = fIndent + more; i > 0; --i) put("&nbsp;");
  }

  void putSpan(std::string_view opening, std::string_view text) {
    put(opening);
    put(text);
    put("</span>");
  }

  void putKeyword(std::string_view name) {
    putSpan("<span class='keyword'>", name);
    put(":&nbsp;");
  }

  void putEntry(const Item& item) {
    put("<span class='entry' id='J");
    putNumber(fOut, numberOf(item));
    put("'>");
    put(className(item));
    put("</span>");
  }

  template <class PutId>
  void putAnchor(PutId putId) {
    put("<a name=\"");
    putId();
    put("\"></a>");
  }

  template <class PutId>
  void putExpander(PutId putId) {
    putAnchor(putId);
    put("<span class='expander' id='Q");
    putId();
    put("'>-</span>&nbsp;");
  }

  template <class PutId>
  void putOpening(PutId putId) {
    put("{<span class='tree' id='O");
    putId();
    put("'><br/>\n");
  }

  void putClosing() {
    putIndent(2);
    put("</span>}<br/>\n");
  }

  // --- The tree.

  void putItem(const Item& item) { putMember(item, -1); }

  void putMember(const Item& item, std::ptrdiff_t index) {
    drainWhenFull(fOut, fSink);
    const auto putId = [&, number = numberOf(item)] { putNumber(fOut, number); };
    putExpander(putId);
    putIndent(0);
    if (index >= 0) putLabel(index);
    putEntry(item);
    put("&nbsp;");
    putOpening(putId);
    fIndent += 4;
    putAttributes(item);
    if (item.isFolder) putChildren(static_cast<const Folder&>(item));
    fIndent -= 4;
    putClosing();
  }

  void putLabel(std::ptrdiff_t index) {
    put("<span class='keyword'>[");
    putNumber(fOut, index);
    put("]</span>:&nbsp;");
  }

  void startLine(std::string_view name) {
    putIndent(2);
    putKeyword(name);
  }
  void endLine() { put("<br/>\n"); }

  void putText(std::u16string_view text) {
    put("&quot;");
    putEscaped(fOut, text);
    put("&quot;");
  }

  void putAttributes(const Item& item) {
    startLine("documentation");
    if (item.documentation) {
      putText(*item.documentation);
    } else {
      put("&lt;null&gt;");
    }
    endLine();
    startLine("name");
    putText(item.name);
    endLine();
    if (item.abstract) putLine("abstract", "true");
    if (item.base != nullptr) putReference("base", *item.base);
    if (!item.marks.empty()) putMarks(item);
    putModified(item);
    if (item.multiplicity != 1) putNumberLine("multiplicity", item.multiplicity);
    if (item.parent != nullptr) putReference("parent", *item.parent);
    if (!item.related.empty()) putRelated(item);
    putNumberLine("revision", item.revision);
    if (!item.tags.empty()) putTags(item);
    putLine("visibility", kVisibilities[static_cast<std::size_t>(item.visibility)]);
    startLine("weight");
    putReal(fOut, item.weight);
    endLine();
  }

  void putModified(const Item& item) {
    startLine("modified");
    if (item.modified == kNoTime) {
      put("&lt;null&gt;");
    } else {
      ByteBuffer text;
      putTime(text, item.modified);
      put(text.view().substr(0, 11));
      put("&nbsp;");
      put(text.view().substr(12));
    }
    endLine();
  }

  void putLine(std::string_view name, std::string_view text) {
    startLine(name);
    put(text);
    endLine();
  }

  template <class Number>
  void putNumberLine(std::string_view name, Number number) {
    startLine(name);
    putNumber(fOut, number);
    endLine();
  }

  void putReference(std::string_view name, const Item& target) {
    startLine(name);
    putEntry(target);
    endLine();
  }

  template <class Values, class PutValue>
  void putValues(std::string_view name, const Values& values, PutValue putValue) {
    putAnchor([&] { putAddress(fOut, &values); });
    startLine(name);
    const char* separator = "{";
    for (const auto& value : values) {
      put(separator);
      putValue(value);
      separator = ",&nbsp;";
    }
    put("}<br/>\n");
  }

  void putMarks(const Item& item) {
    putValues("marks", item.marks, [this](std::int32_t mark) { putNumber(fOut, mark); });
  }
  void putTags(const Item& item) {
    putValues("tags", item.tags, [this](const std::u16string& tag) { putText(tag); });
  }

  template <class PutOne>
  void putItems(std::string_view name, const std::vector<Item*>& items, PutOne putOne) {
    const auto putId = [&] { putAddress(fOut, &items); };
    putExpander(putId);
    putIndent(0);
    putKeyword(name);
    putOpening(putId);
    fIndent += 4;
    for (std::size_t i = 0; i < items.size(); ++i) putOne(*items[i], static_cast<std::ptrdiff_t>(i));
    fIndent -= 4;
    putClosing();
  }

  void putRelated(const Item& item) {
    putItems("related", item.related, [this](const Item& target, std::ptrdiff_t index) {
      putIndent(2);
      putLabel(index);
      putEntry(target);
      endLine();
    });
  }

  void putChildren(const Folder& folder) {
    if (folder.children.empty()) return;
    putItems("children", folder.children, [this](const Item& child, std::ptrdiff_t index) { putMember(child, index); });
  }

  // --- The descriptions.

  void putDescription(const Item& item) {
    drainWhenFull(fOut, fSink);
    putHeader(item);
    startRow("UUID");
    put("<span class='attrId'>");
    putUuid(fOut, item.uuid);
    put("</span>");
    endRow();
    if (item.parent != nullptr) putEntryRow("container", *item.parent);
    putAttributeRows(item);
    if (item.isFolder) putLinkRow("children", static_cast<const Folder&>(item).children);
    put("</div>\\\n");
  }

  void putHeader(const Item& item) {
    const std::uint32_t number = numberOf(item);
    const auto putView = [&](std::string_view before) {
      put(before);
      putNumber(fOut, number);
    };
    putView("\",\n'D");
    putView("': \"<div class='desc' id='D");
    putView("'>\\\n<div class='desc_hdr' id='B");
    putView("'>\\\n<span class='descName' id='S");
    put("'>");
    put(className(item));
    putView("</span><span class='descAddr' id='T");
    putView("'><a href='#");
    put("'>");
    put(className(item));
    put("</a></span></div>\\\n");
  }

  void startRow(std::string_view name) {
    put("<div class='descItem'>\\\n<span class='attrName'>");
    put(name);
    put("</span>");
  }
  void endRow() { put("</div>\\\n"); }

  void putEntryRow(std::string_view name, const Item& target) {
    startRow(name);
    putEntry(target);
    endRow();
  }

  void putTextRow(std::string_view name, std::string_view opening, std::string_view text) {
    startRow(name);
    putSpan(opening, text);
    endRow();
  }

  void putUtf16Row(std::string_view name, std::u16string_view text) {
    startRow(name);
    put("<span class='attrId'>");
    putEscaped(fOut, text);
    put("</span>");
    endRow();
  }

  template <class Number>
  void putNumberRow(std::string_view name, Number number) {
    startRow(name);
    put("<span class='attrNum'>");
    if constexpr (std::is_floating_point_v<Number>) {
      putReal(fOut, number);
    } else {
      putNumber(fOut, number);
    }
    put("</span>");
    endRow();
  }

  template <class Values>
  void putLinkRow(std::string_view name, const Values& values) {
    if (values.empty()) return;
    startRow(name);
    put("<a class='attrId' href='#");
    putAddress(fOut, &values);
    put("'>{...}</a>");
    endRow();
  }

  void putAttributeRows(const Item& item) {
    if (item.documentation) {
      putUtf16Row("documentation", *item.documentation);
    } else {
      putTextRow("documentation", "<span class='attrId'>", "&lt;null&gt;");
    }
    putUtf16Row("name", item.name);
    if (item.abstract) putTextRow("abstract", "<span class='attrBool'>", "TRUE");
    if (item.base != nullptr) putEntryRow("base", *item.base);
    putLinkRow("marks", item.marks);
    if (item.modified == kNoTime) {
      putTextRow("modified", "<span class='attrId'>", "&lt;null&gt;");
    } else {
      const TimeText text = toText(item.modified);
      putUtf16Row("modified", {text.data(), text.size()});
    }
    if (item.multiplicity != 1) putNumberRow("multiplicity", item.multiplicity);
    if (item.parent != nullptr) putEntryRow("parent", *item.parent);
    putLinkRow("related", item.related);
    putNumberRow("revision", item.revision);
    putLinkRow("tags", item.tags);
    putTextRow("visibility", "<span class='attrEnum'>", kVisibilities[static_cast<std::size_t>(item.visibility)]);
    putNumberRow("weight", item.weight);
  }

  ByteBuffer& fOut;
  const Model& fModel;
  const Sink& fSink;
  std::vector<std::uint32_t> fNumbers;  ///< by the item's own number; 0: not mentioned yet
  std::uint32_t fLastNumber = 0;
  std::size_t fIndent = 0;
};

}  // namespace

void writePage(const Model& model, const PageFrame& frame, const Sink& sink) {
  ByteBuffer out;
  PageWriter writer(out, model, sink);
  putChars(out, frame.before);
  writer.putTree();
  putChars(out, frame.between);
  writer.putDescriptions();
  putChars(out, frame.after);
  sink(out.view());
}

}  // namespace bench::limit
