#include "CommandLine.h"

int main(int argc, char** argv) { return nimbo_tool::runCommandLine(argc, argv); }
