#include "LimitText.h"

#include <cstddef>
#include <string_view>

#include "ValueText.h"

namespace bench::limit {
namespace {

std::string_view className(const Item& item) { return item.isFolder ? "Folder" : "Item"; }

class TextWriter {
 public:
  TextWriter(ByteBuffer& out, const Sink& sink) : fOut(out), fSink(sink) {}

  void putItem(const Item& item) {
    drainWhenFull(fOut, fSink);
    putChars(fOut, className(item));
    putChars(fOut, " {\n");
    fIndent += 4;
    putAttributes(item);
    if (item.isFolder) putChildren(static_cast<const Folder&>(item));
    fIndent -= 4;
    putBlanks(fOut, fIndent);
    putChars(fOut, "}\n");
  }

  void putLineStart(std::string_view name) {
    putBlanks(fOut, fIndent);
    putChars(fOut, name);
    putChars(fOut, ": ");
  }

 private:
  void putText(std::u16string_view text) {
    putChars(fOut, "\"");
    putUtf8(fOut, text);
    putChars(fOut, "\"");
  }

  void endLine() { putChars(fOut, "\n"); }

  void putAttributes(const Item& item) {
    putLineStart("documentation");
    if (item.documentation) {
      putText(*item.documentation);
    } else {
      putChars(fOut, "<null>");
    }
    endLine();
    putLineStart("name");
    putText(item.name);
    endLine();
    if (item.abstract) putLine("abstract", "true");
    if (item.base != nullptr) putLine("base", className(*item.base));
    if (!item.marks.empty()) putMarks(item);
    putLineStart("modified");
    if (item.modified == kNoTime) {
      putChars(fOut, "<null>");
    } else {
      putTime(fOut, item.modified);
    }
    endLine();
    if (item.multiplicity != 1) putNumberLine("multiplicity", item.multiplicity);
    if (item.parent != nullptr) putLine("parent", "Folder");
    if (!item.related.empty()) putRelated(item);
    putNumberLine("revision", item.revision);
    if (!item.tags.empty()) putTags(item);
    putLine("visibility", kVisibilities[static_cast<std::size_t>(item.visibility)]);
    putLineStart("weight");
    putReal(fOut, item.weight);
    endLine();
  }

  void putLine(std::string_view name, std::string_view text) {
    putLineStart(name);
    putChars(fOut, text);
    endLine();
  }

  template <class Number>
  void putNumberLine(std::string_view name, Number number) {
    putLineStart(name);
    putNumber(fOut, number);
    endLine();
  }

  void putMarks(const Item& item) {
    putLineStart("marks");
    const char* separator = "{";
    for (const std::int32_t mark : item.marks) {
      putChars(fOut, separator);
      putNumber(fOut, mark);
      separator = ", ";
    }
    putChars(fOut, "}\n");
  }

  void putTags(const Item& item) {
    putLineStart("tags");
    const char* separator = "{";
    for (const std::u16string& tag : item.tags) {
      putChars(fOut, separator);
      putText(tag);
      separator = ", ";
    }
    putChars(fOut, "}\n");
  }

  void putMemberStart(std::size_t index) {
    putBlanks(fOut, fIndent);
    putChars(fOut, "[");
    putNumber(fOut, index);
    putChars(fOut, "]: ");
  }

  void openList(std::string_view name) {
    putLineStart(name);
    putChars(fOut, "{\n");
    fIndent += 4;
  }

  void closeList() {
    fIndent -= 4;
    putBlanks(fOut, fIndent);
    putChars(fOut, "}\n");
  }

  void putRelated(const Item& item) {
    openList("related");
    for (std::size_t i = 0; i < item.related.size(); ++i) {
      putMemberStart(i);
      putChars(fOut, className(*item.related[i]));
      endLine();
    }
    closeList();
  }

  void putChildren(const Folder& folder) {
    if (folder.children.empty()) return;
    openList("children");
    for (std::size_t i = 0; i < folder.children.size(); ++i) {
      putMemberStart(i);
      putItem(*folder.children[i]);
    }
    closeList();
  }

  ByteBuffer& fOut;
  const Sink& fSink;
  std::size_t fIndent = 2;
};

}  // namespace

void writeText(const Model& model, const Sink& sink) {
  ByteBuffer out;
  putBlanks(out, 2);
  TextWriter(out, sink).putItem(*model.root());
  sink(out.view());
}

}  // namespace bench::limit
