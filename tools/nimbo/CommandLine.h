#pragma once

namespace nimbo_tool {

/// Reads the command line, runs the verb, and tells what went wrong. @return the process's exit code
int runCommandLine(int argc, char** argv);

}  // namespace nimbo_tool
