#pragma once

#include <string>
#include <vector>

namespace nimbo_tool {

/// An option or argument as its help tells of it.
struct OptionHelp {
  std::vector<std::string> names;  ///< "-h", "--help"; empty for an argument
  std::string value;               ///< what it takes; for an argument its name
  std::string text;
  bool isRequired = false;
  bool isRepeatable = false;
  std::vector<std::string> choices;
  bool isFile = false;
};

/// A verb as its help tells of it.
struct VerbHelp {
  std::string name;
  std::string text;  ///< one line
  std::string details;
  std::vector<std::string> examples;
  std::vector<OptionHelp> options;
};

/// The whole command, taken from the parser itself, so that manual, completions and help cannot disagree.
struct CommandHelp {
  std::string name;
  std::string text;
  std::string version;
  std::vector<OptionHelp> options;
  std::vector<VerbHelp> verbs;
};

[[nodiscard]] std::string manualPage(const CommandHelp& command);
[[nodiscard]] std::string markdownManual(const CommandHelp& command);
[[nodiscard]] std::string bashCompletion(const CommandHelp& command);
[[nodiscard]] std::string zshCompletion(const CommandHelp& command);

/// "nimbo VERB [OPTIONS] FILE..."
[[nodiscard]] std::string usageLine(const CommandHelp& command, const VerbHelp& verb);

}  // namespace nimbo_tool
