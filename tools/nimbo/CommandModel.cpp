#include "CommandModel.h"

namespace nimbo_tool {

namespace {

bool isVerbWord(const OptionHelp& option) { return option.names.empty() && !option.isFile; }

std::string joined(const std::vector<std::string>& words, const char* separator) {
  std::string text;
  for (const std::string& word : words) text += (text.empty() ? "" : separator) + word;
  return text;
}

// --- troff

std::string forTroff(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '\\') {
      result += "\\e";
    } else if (c == '-') {
      result += "\\-";
    } else {
      result += c;
    }
  }
  if (result.starts_with('.') || result.starts_with('\'')) result.insert(0, "\\&");
  return result;
}

std::string troffOptions(const std::vector<OptionHelp>& options) {
  std::string text;
  for (const OptionHelp& option : options) {
    text += ".TP\n.B " + forTroff(joined(option.names, ", "));
    if (!option.value.empty()) text += option.names.empty() ? forTroff(option.value) : " " + forTroff(option.value);
    text += "\n" + forTroff(option.text) + ".\n";
  }
  return text;
}

constexpr const char* kExitCodes[][2] = {{"0", "All is well; nothing differs, nothing is violated"},
                                         {"1", "A difference or a violation was found"},
                                         {"2", "The command line is wrong"},
                                         {"3", "Input cannot be read, or output cannot be written"},
                                         {"4", "A fault of the program itself"}};

// --- completions

/// Words for a shell's single quotes.
std::string quotedForShell(const std::string& text) {
  std::string result = "'";
  for (const char c : text) result += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return result + "'";
}

std::string optionWords(const std::vector<OptionHelp>& options) {
  std::vector<std::string> words;
  for (const OptionHelp& option : options) {
    words.insert(words.end(), option.names.begin(), option.names.end());
    if (isVerbWord(option) && option.value.find_first_of(" .|") == std::string::npos) words.push_back(option.value);
  }
  return joined(words, " ");
}

/// In zsh's descriptions brackets and colons have a meaning.
std::string forZsh(const std::string& text) {
  std::string result;
  for (const char c : text) {
    if (c == '[' || c == ']' || c == ':' || c == '\\') result += '\\';
    result += c;
  }
  return result;
}

}  // namespace

std::string usageLine(const CommandHelp& command, const VerbHelp& verb) {
  std::string line = command.name + " " + verb.name;
  std::string arguments;
  bool hasOptions = false;
  for (const OptionHelp& option : verb.options) {
    if (option.names.empty()) {
      (isVerbWord(option) ? line : arguments) += " " + option.value;
    } else {
      hasOptions = true;
    }
  }
  return line + (hasOptions ? " [OPTIONS]" : "") + arguments;
}

std::string manualPage(const CommandHelp& command) {
  std::string text = ".TH NIMBO 1 \"\" \"" + command.name + " " + command.version + "\" \"User Commands\"\n.SH NAME\n" +
                     command.name + " \\- " + "models in binary, JSON, XML and SQLite form\n.SH SYNOPSIS\n";
  for (const VerbHelp& verb : command.verbs) text += ".B " + forTroff(usageLine(command, verb)) + "\n.br\n";
  text += ".SH DESCRIPTION\n" + forTroff(command.text) +
          "\nThe form of an input is told by its content; \\- is standard input or output. Data goes to standard "
          "output, all "
          "else to standard error. Nothing that exists is overwritten unless asked, and a file appears when it is "
          "complete.\n"
          ".SH OPTIONS\n" +
          troffOptions(command.options) + ".SH VERBS\n";
  for (const VerbHelp& verb : command.verbs) {
    text += ".SS " + forTroff(usageLine(command, verb)) + "\n" + forTroff(verb.text) + ".\n" + forTroff(verb.details) +
            "\n" + troffOptions(verb.options) + ".PP\nExamples:\n.PP\n.nf\n";
    for (const std::string& example : verb.examples) text += ".RS\n" + forTroff(example) + "\n.RE\n";
    text += ".fi\n";
  }
  text += ".SH EXIT STATUS\n";
  for (const auto& code : kExitCodes) text += ".TP\n.B " + std::string(code[0]) + "\n" + code[1] + ".\n";
  text += ".SH ENVIRONMENT\n.TP\n.B NO_COLOR\nWhere it is set and not empty, nothing is coloured.\n";
  return text;
}

std::string markdownManual(const CommandHelp& command) {
  std::string text =
      "# The command `" + command.name + "`\n\n" + command.text +
      "\n\nThe form of an input is told by its content; `-` is standard input or output. Data goes to standard "
      "output, all\nelse to standard error. Nothing that exists is overwritten unless asked, and a file appears "
      "when it is complete.\n\n";
  const auto table = [&text](const std::vector<OptionHelp>& options) {
    text += "| | |\n|---|---|\n";
    for (const OptionHelp& option : options) {
      std::string head = joined(option.names, ", ");
      if (!option.value.empty()) head += (head.empty() ? "" : " ") + option.value;
      for (std::size_t at = head.find('|'); at != std::string::npos; at = head.find('|', at + 2))
        head.replace(at, 1, "\\|");
      text += "| `" + head + "` | " + option.text + " |\n";
    }
  };
  table(command.options);
  for (const VerbHelp& verb : command.verbs) {
    text += "\n## `" + usageLine(command, verb) + "`\n\n" + verb.text + ". " + verb.details + "\n\n";
    table(verb.options);
    text += "\n```sh\n" + joined(verb.examples, "\n") + "\n```\n";
  }
  text += "\n## Exit codes\n\n| | |\n|---|---|\n";
  for (const auto& code : kExitCodes) text += "| " + std::string(code[0]) + " | " + code[1] + " |\n";
  return text;
}

std::string bashCompletion(const CommandHelp& command) {
  std::vector<std::string> verbs;
  for (const VerbHelp& verb : command.verbs) verbs.push_back(verb.name);
  std::string text = "# bash completion for " + command.name +
                     "\n_nimbo() {\n"
                     "  local word=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} verb= i\n"
                     "  for ((i = 1; i < COMP_CWORD; i++)); do\n"
                     "    case ${COMP_WORDS[i]} in\n"
                     "      " +
                     joined(verbs, "|") +
                     ") verb=${COMP_WORDS[i]}; break ;;\n"
                     "    esac\n"
                     "  done\n"
                     "  if [[ $previous == --to ]]; then\n"
                     "    local forms='B Z z J C c json xml store ecore'\n"
                     "    [[ $verb == metamodel ]] && forms='text ecore json dot'\n"
                     "    COMPREPLY=($(compgen -W \"$forms\" -- \"$word\"))\n"
                     "    return\n"
                     "  fi\n"
                     "  local words=\n"
                     "  case $verb in\n"
                     "    '') words=" +
                     quotedForShell(joined(verbs, " ") + " " + optionWords(command.options)) + " ;;\n";
  for (const VerbHelp& verb : command.verbs) {
    text += "    " + verb.name + ") words=" + quotedForShell(optionWords(verb.options)) + " ;;\n";
  }
  return text +
         "  esac\n"
         "  COMPREPLY=($(compgen -W \"$words\" -- \"$word\"))\n"
         "  if [[ -n $verb && $word != -* ]]; then COMPREPLY+=($(compgen -f -- \"$word\")); fi\n"
         "}\n"
         "complete -o filenames -F _nimbo " +
         command.name + "\n";
}

std::string zshCompletion(const CommandHelp& command) {
  std::string text = "#compdef " + command.name + "\n_nimbo() {\n  local -a verbs\n  verbs=(\n";
  for (const VerbHelp& verb : command.verbs) {
    text += "    " + quotedForShell(verb.name + ":" + forZsh(verb.text)) + "\n";
  }
  text += "  )\n  if (( CURRENT == 2 )); then _describe verb verbs; return; fi\n  case $words[2] in\n";
  for (const VerbHelp& verb : command.verbs) {
    text += "    " + verb.name + ") _arguments \\\n";
    for (const OptionHelp& option : verb.options) {
      for (const std::string& name : option.names) {
        const std::string value =
            option.value.empty() ? "" : ":" + forZsh(option.value) + ":" + (option.isFile ? "_files" : "");
        text += "      " + quotedForShell(name + "[" + forZsh(option.text) + "]" + value) + " \\\n";
      }
    }
    text += "      '*:file:_files' ;;\n";
  }
  return text + "  esac\n}\n_nimbo \"$@\"\n";
}

}  // namespace nimbo_tool
