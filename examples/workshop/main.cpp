// The plan of a workshop on the command line. A small application on the wrapper of one model.

#include <cstdlib>
#include <exception>
#include <iostream>
#include <stdexcept>
#include <string>
#include <vector>

#include <bedrock/filesystem.h>
#include <bedrock/i18n.h>

#include "WorkshopPlan.h"

namespace {

using bedrock::i18n::utf8_to_ustring;
using Words = std::vector<std::u16string>;

constexpr const char* kUsage =
    "usage: workshop PLAN [COMMAND]\n"
    "PLAN ends in .db for a store, in .json or .xml for text, in anything else for a binary file; it is made if "
    "missing.\n"
    "Without a command the plan is printed.\n"
    "  name NAME                    names the workshop\n"
    "  tool CODE NAME               enters a tool\n"
    "  job TITLE HOURS [CODE]...    plans a job and the tools that it needs\n"
    "  step TITLE TEXT              adds a step to a job\n"
    "  done TITLE                   ends a job\n"
    "  save-as FILE                 completes the plan and saves it as a file";

struct UsageError : std::runtime_error {
  using std::runtime_error::runtime_error;
};

double hoursOf(const std::u16string& word) {
  const std::string text = bedrock::i18n::ustring_to_utf8(word);
  char* end = nullptr;
  const double hours = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != '\0' || !(hours > 0)) throw UsageError("not a number of hours: " + text);
  return hours;
}

void openPlan(workshop::WorkshopPlan& plan, const std::u16string& path) {
  const bool isStore = path.ends_with(u".db");
  // What is missing would be opened as a new store, whatever its name: a new file begins with an empty plan instead.
  if (isStore || bedrock::filesystem::exists(path)) plan.open(path);
}

/// False when the plan is only to be printed.
bool change(workshop::WorkshopPlan& plan, const std::u16string& command, const Words& words) {
  const std::size_t count = words.size();
  if (command == u"name" && count == 1) {
    plan.rename(words[0]);
  } else if (command == u"tool" && count == 2) {
    plan.addTool(words[0], words[1]);
  } else if (command == u"job" && count >= 2) {
    plan.addJob(words[0], hoursOf(words[1]), Words(words.begin() + 2, words.end()));
  } else if (command == u"step" && count == 2) {
    plan.addStep(words[0], words[1]);
  } else if (command == u"done" && count == 1) {
    plan.finishJob(words[0]);
  } else {
    return false;
  }
  return true;
}

void run(const std::u16string& path, const Words& words) {
  workshop::WorkshopPlan plan;
  openPlan(plan, path);
  if (words.empty()) {
    plan.list(std::cout);
  } else if (words[0] == u"save-as" && words.size() == 2) {
    plan.complete();
    plan.close();  // from here on the plan is in memory, and the store is let go
    plan.save(words[1]);
  } else if (!change(plan, words[0], Words(words.begin() + 1, words.end()))) {
    throw UsageError(kUsage);
  } else if (!plan.isInStore()) {
    plan.save(path);
  }
}

}  // namespace

int main(int argc, char** argv) {
  Words words;
  for (int i = 2; i < argc; ++i) words.push_back(utf8_to_ustring(argv[i]));
  try {
    if (argc < 2) throw UsageError(kUsage);
    run(utf8_to_ustring(argv[1]), words);
    return EXIT_SUCCESS;
  } catch (const UsageError& error) {
    std::cerr << error.what() << '\n';
    return 2;
  } catch (const std::exception& error) {
    std::cerr << "workshop: " << error.what() << '\n';
    return EXIT_FAILURE;
  }
}
