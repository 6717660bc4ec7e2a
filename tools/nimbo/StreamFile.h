#pragma once

#include <string>

#include <quillon/nimbo/BinEventReader.h>

#include "InputFile.h"

namespace nimbo_tool {

/// Walks the container in a file, a wrapper's header in front of it or not. Faults come out as they are.
/// @return how many bytes of the file the container took, header left out
std::uint64_t walkContainer(InputFile& file, quillon::nimbo::BinEventHandler& handler);

/// @throws ToolError when the file is no container, with what it is instead
void requireContainer(const InputFile& file, const std::string& verb);

/// One line for an exception of the reader: "offset 17: expected ..., found ...".
[[nodiscard]] std::string faultText(const std::exception& error);

}  // namespace nimbo_tool
