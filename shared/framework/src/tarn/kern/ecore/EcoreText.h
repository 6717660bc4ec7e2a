#pragma once

#include <functional>
#include <string>
#include <string_view>

#include "EcoreDocument.h"

/// Writing nodes of Ecore documents as text.
namespace tarn::kern::ecore {

/// Appends ` name="value"`. @throws KernelError for a value that XML cannot carry.
void appendAttribute(std::string& out, std::string_view name, std::string_view value);

/// Gives a single reference the spelling that it is to have.
using ReferenceSpelling = std::function<std::string(const EcoreNode& holder, const std::string& reference)>;

/// Appends a node with all inside, one element per line. The tree may have any depth.
void appendNode(std::string& out, const EcoreNode& node, std::size_t depth, const ReferenceSpelling& spell);

void appendIndent(std::string& out, std::size_t depth);

}  // namespace tarn::kern::ecore
