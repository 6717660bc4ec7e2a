#include "CommandLine.h"

#include <cerrno>
#include <clocale>
#include <cstring>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <new>

#include <CLI/CLI.hpp>
#include <quillon/logging/Logger.h>
#include <sys/resource.h>

#include "CommandModel.h"
#include "Interruption.h"
#include "Listing.h"
#include "OutputFile.h"
#include "Progress.h"
#include "Talk.h"
#include "Verbs.h"

namespace nimbo_tool {

namespace {

constexpr const char* kAboutText =
    "Looks into, converts, compares and checks models in all their forms: binary containers, JSON, XML, SQLite stores.";

constexpr const char* kFormsText = "B, Z, z, J, C, c, json, xml, store or ecore; without it the name of OUT tells";

/// Builds the parser: one function per verb, each with its options, its details and its examples.
class CommandLine {
 public:
  CommandLine() : fApp(kAboutText, "nimbo") {
    fApp.require_subcommand(1);
    fApp.set_help_flag("-h,--help", "Tell how to use the command");
    fApp.set_version_flag("--version", "nimbo " NIMBO_VERSION_TEXT);
    fApp.add_flag("-q,--quiet", fQuiet, "No progress on the terminal");
    fApp.add_option("--max-memory", fMaxMemory, "Give up when more memory is needed, such as 500M or 2G")
        ->option_text("SIZE");
    fApp.add_option("--generate", fGenerate, "Write man page, manual or completion")
        ->option_text("man|markdown|bash|zsh")
        ->group("");
    fApp.fallthrough();
    addInfo();
    addDump();
    addExplain();
    addConvert();
    addPrint();
    addReport();
    addCheck();
    addDiff();
    addExtract();
    addMetamodel();
    addImport();
    addGenerate();
  }

  int run(int argc, char** argv) {
    try {
      fApp.require_subcommand(wantsGeneration(argc, argv) ? 0 : 1);
      fApp.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
      return guarded([this] { return writeHelp(); });
    } catch (const CLI::CallForVersion&) {
      return guarded([] {
        writeOut("nimbo " NIMBO_VERSION_TEXT "\n");
        return kFine;
      });
    } catch (const CLI::ParseError& error) {
      return usageFault(error.what(), argc);
    }
    return guarded([this] { return execute(); });
  }

 private:
  using Work = std::function<ExitCode()>;
  struct Verb {
    CLI::App* app = nullptr;
    Work work;
    std::string details;
    std::vector<std::string> examples;
  };

  // --- Parts that verbs share.

  CLI::App* addVerb(const std::string& name, const std::string& text, const std::string& details,
                    std::vector<std::string> examples, Work work) {
    CLI::App* app = fApp.add_subcommand(name, text);
    app->set_help_flag("-h,--help", "Tell how to use this verb");
    fVerbs.push_back({app, std::move(work), details, std::move(examples)});
    return app;
  }

  static void addReading(CLI::App* app, ReadingOptions& reading) {
    app->add_option("-m,--metamodel", reading.metaModels,
                    "Meta-model of the files: Ecore, our JSON form, or a folder of such files; can be given again")
        ->option_text("FILE")
        ->allow_extra_args(false);
    addMagic(app, reading.magic);
    app->add_flag("--evolve,!--no-evolve", reading.evolve,
                  "Bring content of older package versions up to date (the default), or not");
  }

  static void addMagic(CLI::App* app, std::string& magic) {
    app->add_option("--magic", magic, "The header in front of the container in files of an application")
        ->option_text("TEXT");
  }

  static void addForce(CLI::App* app, bool& force) { app->add_flag("-f,--force", force, "Replace an existing file"); }

  static void addTo(CLI::App* app, std::string& to) {
    app->add_option("--to", to, std::string("Form of the output: ") + kFormsText)->option_text("FORM");
  }

  static CLI::Option* addFile(CLI::App* app, const std::string& name, std::string& file, const std::string& text) {
    return app->add_option(name, file, text)->required()->option_text(name);
  }

  static CLI::Option* addFiles(CLI::App* app, std::vector<std::string>& files) {
    return app->add_option("FILE", files, "Files; - is standard input")->required()->option_text("FILE...");
  }

  // --- The verbs.

  void addInfo() {
    CLI::App* app = addVerb(
        "info", "Tell what is in a file",
        "Form, sizes, compression, packages and their versions, elements by class, roots, references "
        "and how many lead nowhere. Needs no meta-model for containers and JSON.",
        {"nimbo info library.z", "nimbo info --json library.z library.json"}, [this] { return runInfo(fInfo); });
    addFiles(app, fInfo.files);
    addReading(app, fInfo.reading);
    app->add_flag("--json", fInfo.json, "Answer as JSON");
  }

  void addDump() {
    CLI::App* app = addVerb("dump", "Turn a binary file into JSON without its meta-model",
                            "Exactly the text that the library's dump gives, on one line.",
                            {"nimbo dump library.z", "nimbo dump --pretty library.z -o dumped.json"},
                            [this] { return runDump(fDump); });
    addFile(app, "FILE", fDump.file, "The file; - is standard input");
    app->add_option("-o,--output", fDump.out, "Where to; standard output without it")->option_text("OUT");
    app->add_flag("--pretty", fDump.pretty, "In lines, with indentation");
    addMagic(app, fDump.magic);
    addForce(app, fDump.force);
  }

  void addExplain() {
    CLI::App* app =
        addVerb("explain", "List every byte of a binary file with its meaning",
                "Offsets count from the first byte of the payload; lines that begin with \"file\" are of the "
                "container around it. A damaged file is listed up to the fault, which is named.",
                {"nimbo explain library.B", "nimbo explain library.z --offset 40",
                 "nimbo explain library.z --element 11111111-2222-4333-8444-555555555501"},
                [this] { return runExplain(fExplain); });
    addFile(app, "FILE", fExplain.file, "The file; - is standard input");
    CLI::Option* offset =
        app->add_option("--offset", fExplain.offset, "Only the record that holds this byte of the payload")
            ->option_text("N");
    app->add_option("--element", fExplain.element, "Only the records of this element")
        ->option_text("UUID")
        ->excludes(offset);
    addMagic(app, fExplain.magic);
  }

  void addConvert() {
    CLI::App* app =
        addVerb("convert", "Write a model in another form",
                "The same model gives the same bytes. What a form cannot hold is refused before anything is "
                "written. An Ecore file is converted as what it is, a model of Ecore.",
                {"nimbo convert -m library.metamodel.json library.z library2.json",
                 "nimbo convert -m library.metamodel.json library.z copy --to B"},
                [this] { return runConvert(fConvert); });
    addFile(app, "IN", fConvert.in, "The file to read; - is standard input");
    addFile(app, "OUT", fConvert.out, "The file to write; - is standard output");
    addTo(app, fConvert.to);
    addReading(app, fConvert.reading);
    app->add_flag("--header", fConvert.withHeader,
                  "Put a header in front of a container: what --magic says, or the tool's own");
    addForce(app, fConvert.force);
  }

  void addPrint() {
    CLI::App* app = addVerb("print", "Print a model as indented text",
                            "What equals its default, and empty collections, are left out.",
                            {"nimbo print -m library.metamodel.json library.z",
                             "nimbo print -m library.metamodel.json library.z --select Book"},
                            [this] { return runPrint(fPrint); });
    addFile(app, "FILE", fPrint.file, "The file; - is standard input");
    app->add_option("--select", fPrint.select, "Only this element, or the elements of this class; can be given again")
        ->option_text("UUID|CLASS")
        ->allow_extra_args(false);
    app->add_flag("--defaults", fPrint.defaults, "Show values that equal their default");
    app->add_flag("--empty", fPrint.emptyCollections, "Show empty collections");
    addReading(app, fPrint.reading);
  }

  void addReport() {
    CLI::App* app = addVerb(
        "report", "Write a model as one HTML page to browse it in", "The page needs nothing but itself and a browser.",
        {"nimbo report -m library.metamodel.json library.z library.html"}, [this] { return runReport(fReport); });
    addFile(app, "FILE", fReport.file, "The file; - is standard input");
    addFile(app, "OUT", fReport.out, "The page");
    addReading(app, fReport.reading);
    addForce(app, fReport.force);
  }

  void addCheck() {
    CLI::App* app =
        addVerb("check", "Check files strictly",
                "Grammar, canonical ids, references into nothing; with the meta-model also bounds, opposites and "
                "uniqueness; of a store everything. Each violation names its rule.",
                {"nimbo check library.z", "nimbo check --json -m library.metamodel.json library.json"},
                [this] { return runCheck(fCheck); });
    addFiles(app, fCheck.files);
    addReading(app, fCheck.reading);
    app->add_flag("--json", fCheck.json, "Answer as JSON");
  }

  void addDiff() {
    CLI::App* app =
        addVerb("diff", "Compare two models, whatever their forms",
                "Elements are matched by uuid. Ends with 1 when there is a difference.",
                {"nimbo diff -m library.metamodel.json library.z library.json"}, [this] { return runDiff(fDiff); });
    addFile(app, "OLD", fDiff.oldFile, "The old state");
    addFile(app, "NEW", fDiff.newFile, "The new state");
    addReading(app, fDiff.reading);
    app->add_flag("--json", fDiff.json, "Answer as JSON");
  }

  void addExtract() {
    CLI::App* app =
        addVerb("extract", "Copy elements, and all they need, into a file of their own",
                "What the elements contain comes along, and what they refer to.",
                {"nimbo extract -m library.metamodel.json library.z 11111111-2222-4333-8444-555555555502 book.json"},
                [this] { return runExtract(fExtract); });
    addFile(app, "FILE", fExtract.file, "The file to read");
    app->add_option("UUID... OUT", fExtract.uuidsAndOut, "The elements, then the file to write")
        ->required()
        ->option_text("UUID... OUT");
    addTo(app, fExtract.to);
    addReading(app, fExtract.reading);
    addForce(app, fExtract.force);
  }

  void addMetamodel() {
    CLI::App* app = addVerb(
        "metamodel", "Show a meta-model, or write it in another form",
        "As text, as Ecore, in our JSON form, or as a class diagram for Graphviz.",
        {"nimbo metamodel library.metamodel.json", "nimbo metamodel library.metamodel.json --to ecore -o copy.ecore"},
        [this] { return runMetamodel(fMetamodel); });
    app->add_option("FILE", fMetamodel.files, "Ecore files, files of our JSON form, folders")
        ->required()
        ->option_text("FILE...");
    app->add_option("--to", fMetamodel.to, "text (the default), ecore, json or dot")
        ->option_text("FORM")
        ->check(CLI::IsMember({"text", "ecore", "json", "dot"}));
    app->add_option("-o,--output", fMetamodel.out, "Where to; standard output without it")->option_text("OUT");
    addForce(app, fMetamodel.force);
  }

  void addImport() {
    CLI::App* app =
        addVerb("import", "Read foreign data into a model", "debian: the package database of a Debian machine.",
                {"nimbo import debian packages.z"}, [this] { return runImportDebian(fImport); });
    CLI::App* debian = app->add_subcommand("debian", "The package database of a Debian machine");
    app->require_subcommand(1);
    addFile(debian, "OUT", fImport.out, "The file to write");
    addTo(debian, fImport.to);
    debian->add_option("--status", fImport.status, "The database, if it is not this machine's")->option_text("FILE");
    addForce(debian, fImport.force);
  }

  void addGenerate() {
    CLI::App* app =
        addVerb("generate", "Make a model by chance, for trying things out", "The same seed gives the same model.",
                {"nimbo generate -m library.metamodel.json --elements 1000 --seed 7 random.z"},
                [this] { return runGenerate(fGenerateVerb); });
    app->add_option("-m,--metamodel", fGenerateVerb.metaModels, "The meta-model; can be given again")
        ->required()
        ->option_text("FILE")
        ->allow_extra_args(false);
    app->add_option("--elements", fGenerateVerb.elements, "How many elements, about")->option_text("N");
    app->add_option("--seed", fGenerateVerb.seed, "Where chance begins")->option_text("S");
    addFile(app, "OUT", fGenerateVerb.out, "The file to write");
    addTo(app, fGenerateVerb.to);
    addForce(app, fGenerateVerb.force);
  }

  // --- Running.

  static bool wantsGeneration(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
      if (std::string_view(argv[i]).starts_with("--generate")) return true;
    }
    return false;
  }

  ExitCode execute() {
    Progress::allow(!fQuiet);
    quillon::logging::internal::Logger::setSink(
        [](unsigned, int, std::string_view) {});  // errors are told in our words
    limitMemory();
    if (!fGenerate.empty()) return writeGenerated();
    for (const Verb& verb : fVerbs) {
      if (verb.app->parsed()) return verb.work();
    }
    return kWrongUsage;
  }

  void limitMemory() const {
    if (fMaxMemory.empty()) return;
    std::size_t used = 0;
    std::uint64_t size = 0;
    try {
      size = std::stoull(fMaxMemory, &used);
    } catch (const std::exception&) {
      used = 0;
    }
    const std::string unit = fMaxMemory.substr(used);
    static const std::map<std::string, unsigned> kShifts = {{"", 0}, {"K", 10}, {"M", 20}, {"G", 30}};
    const auto shift = kShifts.find(unit);
    if (used == 0 || shift == kShifts.end() || size == 0 || size > (std::uint64_t{1} << 40U)) {
      throw ToolError(kWrongUsage, "--max-memory " + fMaxMemory + ": expected a number with K, M or G, such as 500M");
    }
    const rlimit limit{size << shift->second, size << shift->second};
    if (::setrlimit(RLIMIT_DATA, &limit) != 0) {
      throw ToolError(std::string("--max-memory cannot be set: ") + std::strerror(errno));
    }
  }

  int guarded(const Work& work) {
    try {
      return work();
    } catch (const ClosedPipe&) {
      return kFine;
    } catch (const ToolError& error) {
      return fault(error.code(), error.what());
    } catch (const std::bad_alloc&) {
      return fault(kUnusable, fMaxMemory.empty() ? "there is not enough memory"
                                                 : "more memory is needed than --max-memory " + fMaxMemory + " allows");
    } catch (const std::exception& error) {
      return fault(kInternal, std::string("internal fault: ") + error.what());
    }
  }

  /// One line, whatever the text holds.
  static int fault(ExitCode code, const std::string& text) {
    std::string line = text;
    for (char& c : line) {
      if (c == '\n' || c == '\r') c = ' ';
    }
    talk("nimbo: " + line + "\n");
    return code;
  }

  int usageFault(const std::string& text, int argc) {
    if (argc <= 1) return fault(kWrongUsage, "expected a verb, such as `nimbo info FILE`; `nimbo --help` lists them");
    std::string verb;
    for (const Verb& candidate : fVerbs) {
      if (candidate.app->parsed()) verb = candidate.app->get_name() + " ";
    }
    return fault(kWrongUsage, text + "; `nimbo " + verb + "--help` tells how it is used");
  }

  // --- Help.

  static std::vector<OptionHelp> optionsOf(const CLI::App& app) {
    std::vector<OptionHelp> result;
    for (const CLI::Option* option : app.get_options()) {
      if (option->get_group().empty()) continue;  // hidden
      OptionHelp help;
      help.text = option->get_description();
      help.isRequired = option->get_required();
      if (option->get_positional()) {
        help.value = option->get_option_text().empty() ? option->get_name(true) : option->get_option_text();
      } else {
        for (const std::string& name : option->get_snames()) help.names.push_back("-" + name);
        for (const std::string& name : option->get_lnames()) help.names.push_back("--" + name);
        if (option->get_items_expected_max() > 0) help.value = option->get_option_text();
      }
      help.isFile = help.value.starts_with("FILE") || help.value == "OUT" || help.value == "IN" ||
                    help.value == "OLD" || help.value == "NEW" || help.value == "UUID... OUT";
      result.push_back(std::move(help));
    }
    return result;
  }

  CommandHelp commandHelp() const {
    CommandHelp command{"nimbo", kAboutText, NIMBO_VERSION_TEXT, optionsOf(fApp), {}};
    for (const Verb& verb : fVerbs) {
      VerbHelp help{verb.app->get_name(), verb.app->get_description(), verb.details, verb.examples,
                    optionsOf(*verb.app)};
      for (const CLI::App* inner : verb.app->get_subcommands({})) {
        OptionHelp word;
        word.value = inner->get_name();
        word.text = inner->get_description();
        word.isRequired = true;
        help.options.push_back(word);
        for (OptionHelp& option : optionsOf(*inner)) {
          if (option.names.empty() || option.names.back() != "--help") help.options.push_back(std::move(option));
        }
      }
      command.verbs.push_back(std::move(help));
    }
    return command;
  }

  ExitCode writeHelp() const {
    const CommandHelp command = commandHelp();
    for (std::size_t i = 0; i < fVerbs.size(); ++i) {
      if (fVerbs[i].app->parsed()) {
        writeOut(verbHelpText(command, command.verbs[i]));
        return kFine;
      }
    }
    writeOut(commandHelpText(command));
    return kFine;
  }

  static std::string optionLines(const std::vector<OptionHelp>& options) {
    std::string text;
    for (const OptionHelp& option : options) {
      std::string head = "  ";
      for (const std::string& name : option.names) head += (head.size() > 2 ? ", " : "") + name;
      if (!option.value.empty()) head += (option.names.empty() ? "" : " ") + option.value;
      constexpr std::size_t kColumn = 30;
      head += head.size() < kColumn ? std::string(kColumn - head.size(), ' ') : "\n" + std::string(kColumn, ' ');
      text += head + option.text + "\n";
    }
    return text;
  }

  static std::string verbHelpText(const CommandHelp& command, const VerbHelp& verb) {
    std::string text = "Usage: " + usageLine(command, verb) + "\n\n" + verb.text + ".\n" + verb.details +
                       "\n\nOptions:\n" + optionLines(verb.options) + "\nExamples:\n";
    for (const std::string& example : verb.examples) text += "  " + example + "\n";
    return text;
  }

  static std::string commandHelpText(const CommandHelp& command) {
    std::string text = "Usage: nimbo [OPTIONS] VERB ...\n\n" + command.text + "\n\nVerbs:\n";
    for (const VerbHelp& verb : command.verbs) {
      text += "  " + verb.name + std::string(12 - verb.name.size(), ' ') + verb.text + "\n";
    }
    text += "\nOptions:\n" + optionLines(command.options) +
            "\n`nimbo VERB --help` tells more, with examples. Ends with 0 when all is well, 1 when a difference or "
            "violation\n"
            "was found, 2 for wrong usage, 3 for input or output that cannot be used, 4 for a fault of the program.\n";
    return text;
  }

  ExitCode writeGenerated() const {
    const CommandHelp command = commandHelp();
    if (fGenerate == "man") {
      writeOut(manualPage(command));
    } else if (fGenerate == "markdown") {
      writeOut(markdownManual(command));
    } else if (fGenerate == "bash") {
      writeOut(bashCompletion(command));
    } else if (fGenerate == "zsh") {
      writeOut(zshCompletion(command));
    } else {
      throw ToolError(kWrongUsage, "--generate takes man, markdown, bash or zsh");
    }
    return kFine;
  }

  CLI::App fApp;
  std::vector<Verb> fVerbs;
  bool fQuiet = false;
  std::string fMaxMemory;
  std::string fGenerate;
  InfoOptions fInfo;
  DumpOptions fDump;
  ExplainOptions fExplain;
  ConvertOptions fConvert;
  PrintOptions fPrint;
  ReportOptions fReport;
  CheckOptions fCheck;
  DiffOptions fDiff;
  ExtractOptions fExtract;
  MetamodelOptions fMetamodel;
  ImportOptions fImport;
  GenerateOptions fGenerateVerb;
};

}  // namespace

int runCommandLine(int argc, char** argv) {
  installInterruption();
  keepLibraryQuiet();
  return CommandLine().run(argc, argv);
}

}  // namespace nimbo_tool
