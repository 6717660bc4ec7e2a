#include "Talk.h"

#include <iostream>

#include <unistd.h>

namespace nimbo_tool {

void keepLibraryQuiet() { std::cerr.rdbuf(nullptr); }

void talk(const std::string& text) {
  if (::write(STDERR_FILENO, text.data(), text.size()) < 0) return;
}

void warn(const std::string& text) { talk("nimbo: warning: " + text + "\n"); }

}  // namespace nimbo_tool
