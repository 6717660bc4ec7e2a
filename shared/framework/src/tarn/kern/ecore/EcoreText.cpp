#include "EcoreText.h"

#include <algorithm>

#include <bedrock/deep_call.h>
#include <tarn/kern/Errors.h>

#include "../io/xml/XmlText.h"
#include "EcoreLinks.h"

namespace tarn::kern::ecore {

void appendIndent(std::string& out, std::size_t depth) {
  constexpr std::size_t kDeepest = 24;  // deep trees would be blanks mostly
  out.append(2 * std::min(depth, kDeepest), ' ');
}

void appendAttribute(std::string& out, std::string_view name, std::string_view value) {
  out += ' ';
  out += name;
  out += "=\"";
  if (io::xml::appendEscapedUtf8(out, value, io::xml::TextPlace::Attribute) != io::xml::kNoOffender) {
    throw KernelError("the " + std::string(name) + " of a meta-model holds a character that XML cannot carry");
  }
  out += '"';
}

void appendNode(std::string& out, const EcoreNode& node, std::size_t depth, const ReferenceSpelling& spell) {
  appendIndent(out, depth);
  out += "<" + node.tag;
  const bool needsKind = !node.kind.empty() && node.kind != node.tag;
  if (needsKind) appendAttribute(out, "xsi:type", "ecore:" + node.kind);
  for (const auto& [name, value] : node.attributes) {
    if (!isReferenceAttribute(name)) {
      appendAttribute(out, name, value);
      continue;
    }
    std::string references;
    for (const std::string& reference : referencesIn(value)) {
      references += (references.empty() ? "" : " ") + spell(node, reference);
    }
    appendAttribute(out, name, references);
  }
  if (node.children.empty()) {
    out += "/>\n";
    return;
  }
  out += ">\n";
  for (const EcoreNode* child : node.children) {
    bedrock::stack::callDeep([&] { appendNode(out, *child, depth + 1, spell); });
  }
  appendIndent(out, depth);
  out += "</" + node.tag + ">\n";
}

}  // namespace tarn::kern::ecore
