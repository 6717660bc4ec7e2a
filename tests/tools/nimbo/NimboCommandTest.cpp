// The tool as people use it: from a shell, with files.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "LibraryFiles.h"
#include "RunTool.h"

namespace tool_test {
namespace {

using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

constexpr const char* kMeta = " -m library.metamodel.json ";

class NimboCommand : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    gFiles = new Scratch();
    writeLibraryFiles(*gFiles);
  }
  static void TearDownTestSuite() {
    delete gFiles;
    gFiles = nullptr;
  }
  void SetUp() override { std::filesystem::copy(gFiles->path(), fScratch.path()); }

  Outcome run(const std::string& line) { return shell(fScratch, line); }
  void expectFine(const std::string& line) {
    const Outcome outcome = run(line);
    EXPECT_EQ(outcome.code, 0) << line << "\n" << outcome.err;
    EXPECT_EQ(outcome.err, "") << line;
  }
  /// One line on standard error, nothing on standard output.
  void expectFault(const std::string& line, int code, const std::string& text) {
    const Outcome outcome = run(line);
    EXPECT_EQ(outcome.code, code) << line << "\n" << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr(text)) << line;
    EXPECT_THAT(outcome.err, StartsWith("nimbo: ")) << line;
    EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1) << outcome.err;
    EXPECT_EQ(outcome.out, "") << line;
  }

  Scratch fScratch;
  static Scratch* gFiles;
};
Scratch* NimboCommand::gFiles = nullptr;

// --- The command itself.

TEST_F(NimboCommand, TellsItsVersion) { EXPECT_EQ(run("nimbo --version").out, "nimbo " NIMBO_VERSION_TEXT "\n"); }

TEST_F(NimboCommand, HelpNamesEveryVerb) {
  const Outcome outcome = run("nimbo --help");
  EXPECT_EQ(outcome.code, 0);
  for (const char* verb : {"info", "dump", "explain", "convert", "print", "report", "check", "diff", "extract",
                           "metamodel", "import", "generate"}) {
    EXPECT_THAT(outcome.out, HasSubstr(std::string("\n  ") + verb + " ")) << verb;
  }
}

TEST_F(NimboCommand, WrongUsageEndsWithTwoAndSaysWhatToDo) {
  expectFault("nimbo", 2, "expected a verb");
  expectFault("nimbo frobnicate", 2, "--help");
  expectFault("nimbo info", 2, "nimbo info --help");
  expectFault("nimbo info --colour library.z", 2, "--colour");
  expectFault("nimbo convert library.z out.unknown", 2, "--to");
  expectFault("nimbo convert library.z out --to pdf", 2, "no such form");
  expectFault("nimbo explain library.z --element nonsense", 2, "is no uuid");
  expectFault("nimbo --max-memory lots info library.z", 2, "such as 500M");
}

TEST_F(NimboCommand, UnreadableInputEndsWithThree) {
  expectFault("nimbo info nowhere.z", 3, "nowhere.z: no such file");
  expectFault("nimbo info .", 3, "is a folder");
  expectFault("nimbo info library.ecore/x", 3, "Not a directory");
  expectFault(": > empty; nimbo info empty", 3, "empty: is an empty file");
  expectFault("echo hello > text; nimbo info text", 3, "of no known form");
  EXPECT_THAT(fScratch.names(), Not(Contains("nowhere.z")));
}

TEST_F(NimboCommand, AMissingMetaModelIsAskedFor) {
  expectFault("nimbo print library.z", 3, "--metamodel");
  expectFault("nimbo convert library.json out.z", 3, "--metamodel");
}

TEST_F(NimboCommand, ThePageOfTheDocumentationIsTheProgramsOwn) {
  EXPECT_EQ(run("nimbo --generate markdown").out, readFile(NIMBO_SOURCE_ROOT "/docs/nimbo.md"));
}

TEST_F(NimboCommand, CompletionsAreWellFormed) {
  const Outcome bash =
      run("nimbo --generate bash > completion; source completion; COMP_WORDS=(nimbo conv); COMP_CWORD=1; "
          "_nimbo; echo \"${COMPREPLY[*]}\"; COMP_WORDS=(nimbo convert a b --to ''); COMP_CWORD=5; _nimbo; "
          "echo \"${COMPREPLY[*]}\"");
  EXPECT_EQ(bash.out, "convert\nB Z z J C c json xml store ecore\n");
  EXPECT_EQ(bash.err, "");
  EXPECT_THAT(run("nimbo --generate zsh").out, StartsWith("#compdef nimbo\n"));
  const Outcome manual = run("nimbo --generate man");
  EXPECT_THAT(manual.out, StartsWith(".TH NIMBO 1 "));
  EXPECT_THAT(manual.out, HasSubstr("\n.SS nimbo info [OPTIONS] FILE...\n"));
}

TEST_F(NimboCommand, ExamplesOfTheHelpRun) {
  const Outcome manual = run("nimbo --generate markdown");
  ASSERT_EQ(manual.code, 0);
  std::size_t examples = 0;
  for (std::size_t at = manual.out.find("```sh\n"); at != std::string::npos; at = manual.out.find("```sh\n", at + 1)) {
    const std::size_t begin = at + 6;
    const std::string block = manual.out.substr(begin, manual.out.find("```", begin) - begin);
    if (block.find("import debian") != std::string::npos) continue;  // not every machine has such a database
    std::filesystem::remove_all(fScratch / "example");
    const Outcome outcome =
        run("mkdir example; cp library.* example; cd example; cp library.z library2.z; set -e; " + block);
    EXPECT_EQ(outcome.code, 0) << block << outcome.err;
    ++examples;
  }
  EXPECT_EQ(examples, 11u);
}

// --- info

TEST_F(NimboCommand, InfoCountsWithoutMetaModel) {
  const std::string size = std::to_string(std::filesystem::file_size(fScratch / "library.B"));
  const Outcome outcome = run("nimbo info library.B");
  EXPECT_EQ(outcome.out, "library.B: a plain binary container (B), " + size +
                             " bytes\n"
                             "  payload     " +
                             std::to_string(std::stoul(size) - 9) +
                             " bytes\n"
                             "  package     tarn://schema/library/1.0\n"
                             "  roots       2\n"
                             "  elements    4, at most 2 deep\n"
                             "  references  2, 0 elements missing\n"
                             "             2  library.Book\n"
                             "             1  library.Reader\n"
                             "             1  library.Shelf\n");
  EXPECT_EQ(outcome.err, "");
}

TEST_F(NimboCommand, InfoOfJsonAgreesWithThatOfTheBinaryForm) {
  const Outcome outcome = run("nimbo info --json library.z library.json");
  EXPECT_EQ(outcome.code, 0);
  EXPECT_THAT(outcome.out, HasSubstr("\"form\": \"z\""));
  EXPECT_THAT(outcome.out, HasSubstr("\"form\": \"json\""));
  std::size_t counts = 0;
  for (std::size_t at = 0; (at = outcome.out.find("\"references\": 2", at)) != std::string::npos; ++at) ++counts;
  EXPECT_EQ(counts, 2u);
}

TEST_F(NimboCommand, InfoReadsStandardInput) {
  EXPECT_THAT(run("cat library.z | nimbo info -").out, StartsWith("standard input: a zstd container (z), "));
}

TEST_F(NimboCommand, InfoOfADamagedFileSaysWhere) {
  expectFault("head -c 60 library.B > cut.B; nimbo info cut.B", 3, "cut.B: ");
  expectFault("head -c 60 library.z > cut.z; nimbo info cut.z", 3, "cut.z: ");
}

// --- dump

TEST_F(NimboCommand, DumpGivesTheLibrarysText) {
  const Outcome outcome = run("nimbo dump library.z");
  EXPECT_THAT(outcome.out, StartsWith("{\"entries\":[{\"content\":{\"books\":["));
  EXPECT_THAT(outcome.out, EndsWith("\"version\":\"1.0\"}"));
  expectFine("nimbo dump library.z -o dumped.json");
  EXPECT_EQ(readFile(fScratch / "dumped.json"), outcome.out);
  expectFine(std::string("nimbo diff") + kMeta + "library.z dumped.json > /dev/null");
}

TEST_F(NimboCommand, PrettyDumpIsTheSameDocument) {
  const std::string pretty = run("nimbo dump --pretty library.z").out;
  EXPECT_THAT(pretty, StartsWith("{\n  \"entries\": [\n    {\n"));
  expectFine(std::string("nimbo dump --pretty library.z > pretty.json; nimbo diff") + kMeta +
             "library.z pretty.json > /dev/null");
}

TEST_F(NimboCommand, DumpEndsQuietlyWhenNobodyReadsOn) {
  const Outcome outcome = run("nimbo generate" + std::string(kMeta) +
                              "--elements 20000 big.B; nimbo dump big.B | head -c 10; echo; echo ${PIPESTATUS[0]}");
  EXPECT_EQ(outcome.out, "{\"entries\"\n0\n");
  EXPECT_EQ(outcome.err, "");
}

TEST_F(NimboCommand, DumpOfTextSaysWhatItWants) {
  expectFault("nimbo dump library.json", 3, "`nimbo dump` reads containers");
}

// --- explain

TEST_F(NimboCommand, ExplainListsEveryByteOnce) {
  const Outcome outcome = run("nimbo explain library.B");
  EXPECT_EQ(outcome.code, 0);
  std::uint64_t next = 0;
  std::istringstream lines(outcome.out);
  for (std::string line; std::getline(lines, line);) {
    if (!line.starts_with("     ")) continue;  // the container's line
    const std::uint64_t offset = std::stoull(line.substr(5, 10));
    EXPECT_EQ(offset, next) << line;
    std::uint64_t length = 0;
    std::istringstream bytes(line.substr(17, 32));
    for (std::string word; bytes >> word;) length += word.starts_with("+") ? std::stoull(word.substr(1)) : 1;
    next = offset + length;
  }
  EXPECT_EQ(next, std::filesystem::file_size(fScratch / "library.B") - 1);
  EXPECT_THAT(outcome.out, HasSubstr("property name, from here on id 5"));
  EXPECT_THAT(outcome.out, HasSubstr("text \"Ulysses\""));
}

TEST_F(NimboCommand, ExplainShowsOneElement) {
  const Outcome outcome = run(std::string("nimbo explain library.z --element ") + kEmma);
  EXPECT_EQ(outcome.code, 0);
  EXPECT_THAT(outcome.out, HasSubstr("text \"Emma\""));
  EXPECT_THAT(outcome.out, HasSubstr("32-bit number 474"));
  EXPECT_THAT(outcome.out, Not(HasSubstr("Klassik")));
  expectFault("nimbo explain library.z --element 99999999-2222-4333-8444-555555555599", 3, "holds no element");
}

TEST_F(NimboCommand, ExplainShowsTheRecordAroundAByte) {
  const Outcome outcome = run("nimbo explain library.B --offset 3");
  EXPECT_EQ(std::count(outcome.out.begin(), outcome.out.end(), '\n'), 1) << outcome.out;
  expectFault("nimbo explain library.B --offset 100000", 3, "has no byte 100000");
}

TEST_F(NimboCommand, ExplainGoesUpToTheFault) {
  const Outcome outcome = run("head -c 100 library.B > cut.B; nimbo explain cut.B");
  EXPECT_EQ(outcome.code, 3);
  EXPECT_THAT(outcome.out, HasSubstr("package \"tarn://schema/library/1.0\""));
  EXPECT_THAT(outcome.out, HasSubstr("\nFAULT: "));
  EXPECT_THAT(outcome.err, StartsWith("nimbo: cut.B: "));
}

// --- convert

TEST_F(NimboCommand, ConvertsFromEveryFormToEveryForm) {
  const std::vector<std::string> forms = {"B", "Z", "z", "J", "C", "c", "json", "xml", "store"};
  for (const std::string& form : forms) {
    expectFine("nimbo convert" + std::string(kMeta) + "library.z first." + form + " --to " + form);
  }
  for (const std::string& from : forms) {
    for (const std::string& to : forms) {
      const std::string out = from + "-" + to;
      expectFine("nimbo convert" + std::string(kMeta) + "first." + from + " " + out + " --to " + to + " && nimbo diff" +
                 kMeta + "library.z " + out + " > /dev/null");
      if (to != "store") {
        EXPECT_EQ(readFile(fScratch / out), readFile(fScratch / ("first." + to))) << out;
      }
    }
  }
}

TEST_F(NimboCommand, ConvertTakesTheFormFromTheName) {
  expectFine("nimbo convert" + std::string(kMeta) + "library.z out.xmi");
  EXPECT_THAT(readFile(fScratch / "out.xmi"), StartsWith("<?xml"));
}

TEST_F(NimboCommand, ConvertWorksInAPipe) {
  expectFine("cat library.z | nimbo convert" + std::string(kMeta) + "- - --to json | cmp - library.json");
}

TEST_F(NimboCommand, NothingIsOverwrittenUnlessAsked) {
  writeFile(fScratch / "there.json", "precious");
  expectFault("nimbo convert" + std::string(kMeta) + "library.z there.json", 3, "exists already; --force replaces it");
  EXPECT_EQ(readFile(fScratch / "there.json"), "precious");
  expectFine("nimbo convert" + std::string(kMeta) + "library.z there.json --force && cmp there.json library.json");
}

TEST_F(NimboCommand, AFullDiskIsToldAndLeavesNothing) {
  expectFault("nimbo convert" + std::string(kMeta) + "library.z - --to json > /dev/full", 3, "standard output");
  const auto before = fScratch.names();
  const Outcome outcome =
      run("trap '' XFSZ; ulimit -f 1; nimbo generate" + std::string(kMeta) + "--elements 2000 big.B");
  EXPECT_EQ(outcome.code, 3) << outcome.err;
  EXPECT_EQ(fScratch.names(), before);
}

TEST_F(NimboCommand, WrapperFilesAreReadAndWritten) {
  expectFine("nimbo convert --header" + std::string(kMeta) + "library.z own.z");
  EXPECT_THAT(readFile(fScratch / "own.z"), StartsWith("nimbo model\nz"));
  expectFine("nimbo convert --header --magic 'Shelf 1.' " + std::string(kMeta) + "library.z shelf.z");
  EXPECT_THAT(readFile(fScratch / "shelf.z"), StartsWith("Shelf 1.z"));
  expectFine("nimbo diff" + std::string(kMeta) + "own.z library.z > /dev/null");
  expectFine("nimbo diff --magic 'Shelf 1.'" + std::string(kMeta) + "shelf.z library.z > /dev/null");
  EXPECT_EQ(run("nimbo info shelf.z").code, 3);
}

TEST_F(NimboCommand, APayloadThatXmlCannotCarryIsRefused) {
  std::string text = readFile(fScratch / "library.json");
  const std::size_t at = text.find("Ulysses");
  text.replace(at, 7, "Uly\\u0001es");
  writeFile(fScratch / "control.json", text);
  const auto before = fScratch.names();
  expectFault("nimbo convert" + std::string(kMeta) + "control.json out.xmi", 3, "json and store hold any text");
  EXPECT_EQ(fScratch.names(), before);
}

TEST_F(NimboCommand, TheBinaryFormSaysWhatItCannotHold) {
  const auto metaModel = [this](const std::string& properties) {
    writeFile(fScratch / "odd.metamodel.json",
              "{\"metamodel\": \"1.0\", \"packages\": [{\"name\": \"odd\", \"types\": [{\"class\": \"Thing\", "
              "\"properties\": [" +
                  properties + "]}]}]}");
    std::filesystem::remove(fScratch / "odd.json");
    expectFine("nimbo generate -m odd.metamodel.json --elements 3 odd.json");
  };
  metaModel("{\"attribute\": \"notes\", \"type\": \"StringToStringMap\"}");
  expectFault(
      "nimbo convert -m odd.metamodel.json odd.json odd.z", 3,
      "is an optional single value of the type StringToStringMap: the binary form holds data values, maps and custom "
      "values only where they are required; json, J, C, c, xml and store are the forms to try");
  metaModel(
      "{\"reference\": \"next\", \"type\": \"Thing\", \"opposite\": \"previous\"}, "
      "{\"reference\": \"previous\", \"type\": \"Thing\", \"opposite\": \"next\"}");
  expectFault("nimbo convert -m odd.metamodel.json odd.json odd.z", 3,
              "has the opposite previous and neither of the two is composite: the binary form has no such pairs");
  EXPECT_THAT(fScratch.names(), Not(Contains("odd.z")));
  expectFine(
      "nimbo convert -m odd.metamodel.json odd.json odd.xmi && nimbo convert -m odd.metamodel.json odd.xmi odd.sqlite "
      "&& "
      "nimbo diff -m odd.metamodel.json odd.json odd.sqlite > /dev/null");
}

TEST_F(NimboCommand, CheckFindsOneSidedOpposites) {
  writeFile(
      fScratch / "odd.metamodel.json",
      "{\"metamodel\": \"1.0\", \"packages\": [{\"name\": \"odd\", \"types\": [{\"class\": \"Thing\", \"properties\": ["
      "{\"reference\": \"next\", \"type\": \"Thing\", \"opposite\": \"previous\"}, "
      "{\"reference\": \"previous\", \"type\": \"Thing\", \"opposite\": \"next\"}]}]}]}");
  writeFile(fScratch / "odd.json",
            "{\"version\": \"1.0\", \"packageUris\": [], \"entries\": ["
            "{\"type\": \"odd.Thing\", \"uuid\": \"11111111-2222-4333-8444-555555555501\", \"content\": {\"next\": "
            "{\"type\": \"odd.Thing\", \"uuid\": \"11111111-2222-4333-8444-555555555502\"}}},"
            "{\"type\": \"odd.Thing\", \"uuid\": \"11111111-2222-4333-8444-555555555502\", \"content\": {}}]}");
  const Outcome outcome = run("nimbo check -m odd.metamodel.json odd.json");
  EXPECT_EQ(outcome.code, 1) << outcome.err;
  EXPECT_EQ(outcome.out,
            "odd.json: opposite.one-sided in {11111111-2222-4333-8444-555555555501}.next: refers to "
            "11111111-2222-4333-8444-555555555502, whose previous does not refer back\n");
}

TEST_F(NimboCommand, CheckReadsStoresInFull) {
  expectFine("nimbo convert" + std::string(kMeta) + "library.z library.sqlite && nimbo check" + kMeta +
             "library.sqlite > /dev/null");
  // The heads of pages behind the first one, which is all that binding looks at.
  const Outcome damaged =
      run("for page in 1 2 3 4; do printf 'XXXXXXXX' | dd of=library.sqlite bs=1 seek=$((4096 * page)) conv=notrunc 2> "
          "/dev/null; "
          "done; nimbo check library.sqlite");
  EXPECT_EQ(damaged.code, 1) << damaged.out << damaged.err;
  const Outcome foreign =
      run("printf 'SQLite format 3\\0' > foreign.sqlite; head -c 4080 /dev/zero >> foreign.sqlite; nimbo check "
          "foreign.sqlite");
  EXPECT_EQ(foreign.code, 1) << foreign.out << foreign.err;
  EXPECT_THAT(foreign.out, StartsWith("foreign.sqlite: store.unreadable: "));
}

TEST_F(NimboCommand, AnInterruptedRunLeavesNoFile) {
  const auto before = fScratch.names();
  const Outcome outcome = run("nimbo generate" + std::string(kMeta) +
                              "--elements 1000000 big.sqlite & sleep 0.5; kill -TERM $!; wait $!; echo $?");
  EXPECT_EQ(outcome.out, "143\n");
  EXPECT_EQ(fScratch.names(), before);
}

#ifndef NIMBO_SANITIZED  // the sanitizers' own memory is beyond any cap
TEST_F(NimboCommand, MemoryCanBeCapped) {
  const Outcome outcome = run("nimbo --max-memory 100M generate" + std::string(kMeta) + "--elements 1000000 big.z");
  EXPECT_EQ(outcome.code, 3);
  EXPECT_THAT(outcome.err, HasSubstr("--max-memory 100M"));
  EXPECT_THAT(fScratch.names(), Not(Contains("big.z")));
}
#endif

// --- print, report

TEST_F(NimboCommand, PrintsTheModel) {
  const Outcome outcome = run("nimbo print" + std::string(kMeta) + "library.z");
  EXPECT_THAT(outcome.out, HasSubstr("name: \"Ulysses\""));
  const Outcome selected = run("nimbo print" + std::string(kMeta) + "library.z --select " + kEmma);
  EXPECT_THAT(selected.out, HasSubstr("Emma"));
  EXPECT_THAT(selected.out, Not(HasSubstr("Ulysses")));
  EXPECT_THAT(run("nimbo print" + std::string(kMeta) + "library.z --select Reader").out, HasSubstr("Ada"));
  expectFault("nimbo print" + std::string(kMeta) + "library.z --select Painter", 3,
              "no element of a class \"Painter\"");
}

TEST_F(NimboCommand, WritesAReportPage) {
  expectFine("nimbo report" + std::string(kMeta) + "library.z library.html");
  EXPECT_THAT(readFile(fScratch / "library.html"), HasSubstr("Ulysses"));
  expectFault("nimbo report" + std::string(kMeta) + "library.z nowhere/library.html", 3, "nowhere/library.html");
}

// --- check

TEST_F(NimboCommand, CheckFindsNothingInGoodFiles) {
  EXPECT_EQ(run("nimbo check library.z").out, "library.z: fine, as far as can be told without --metamodel\n");
  EXPECT_EQ(run("nimbo check" + std::string(kMeta) + "library.z library.B library.json").out,
            "library.z: fine\nlibrary.B: fine\nlibrary.json: fine\n");
}

TEST_F(NimboCommand, CheckNamesTheRule) {
  const Outcome cut = run("head -c 60 library.B > cut.B; nimbo check cut.B");
  EXPECT_EQ(cut.code, 1);
  EXPECT_THAT(cut.out, StartsWith("cut.B: stream.grammar at offset "));
  const Outcome more = run("cat library.B library.z > two; nimbo check two");
  EXPECT_EQ(more.code, 1);
  EXPECT_THAT(more.out, HasSubstr("end.trailing-bytes"));
  const Outcome bounds = run("sed 's/\"reads\":\\[/&{\"type\":\"library.Book\",\"uuid\":\"" + std::string(kEmma) +
                             "\"},{\"type\":\"library.Book\",\"uuid\":\"99999999-2222-4333-8444-555555555599\"},/' "
                             "library.json > dangling.json; nimbo check --json" +
                             kMeta + "dangling.json");
  EXPECT_EQ(bounds.code, 1) << bounds.err;
  EXPECT_THAT(bounds.out, HasSubstr("\"rule\": \"reference.dangling\""));
}

// --- diff

TEST_F(NimboCommand, DiffTellsWhatChanged) {
  const Outcome outcome =
      run("sed 's/474/475/' library.json > other.json; nimbo diff" + std::string(kMeta) + "library.z other.json");
  EXPECT_EQ(outcome.code, 1);
  EXPECT_THAT(outcome.out, HasSubstr("pages: 474 -> 475"));
  const Outcome same = run("nimbo diff --json" + std::string(kMeta) + "library.z library.json");
  EXPECT_EQ(same.code, 0);
  EXPECT_EQ(same.out, "[]\n");
}

// --- extract

TEST_F(NimboCommand, ExtractsWhatAnElementNeeds) {
  expectFine("nimbo extract" + std::string(kMeta) + "library.z " + kUlysses + " some.json");
  const std::string text = readFile(fScratch / "some.json");
  EXPECT_THAT(text, HasSubstr("Ulysses"));
  EXPECT_THAT(text, HasSubstr("Emma"));
  EXPECT_THAT(text, Not(HasSubstr("Ada")));
  expectFault("nimbo extract" + std::string(kMeta) + "library.z " + kUlysses, 2, "expected FILE UUID... OUT");
}

// --- metamodel

TEST_F(NimboCommand, ShowsAMetaModel) {
  const std::string text =
      "package library (tarn://schema/library/1.0)\n"
      "  enum Genre: novel = 0, essay = 1\n"
      "  abstract class Named\n"
      "    name: String [1]\n"
      "  class Book extends Named\n"
      "    genre: Genre [1] = novel\n"
      "    pages: Integer [0..1]\n"
      "    tags: String [0..*]\n"
      "    sequelOf: Book [0..1]\n"
      "  class Shelf extends Named\n"
      "    books: Book [0..*], composite\n"
      "  class Reader extends Named\n"
      "    reads: Book [0..2]\n";
  EXPECT_EQ(run("nimbo metamodel library.metamodel.json").out, text);
  EXPECT_EQ(run("nimbo metamodel library.ecore").out, text);
  EXPECT_THAT(run("nimbo metamodel --to dot library.ecore").out, StartsWith("digraph metamodel {"));
  expectFine("nimbo metamodel --to ecore library.metamodel.json | cmp - library.ecore");
  expectFine("nimbo metamodel --to json library.metamodel.json | cmp - library.metamodel.json");
}

TEST_F(NimboCommand, AFaultyMetaModelNamesFileAndPlace) {
  expectFault(
      "sed 's/\"superclass\": *\"Named\"/\"superclass\": \"Nobody\"/' library.metamodel.json > faulty.json; nimbo "
      "metamodel "
      "faulty.json",
      3, "faulty.json");
  expectFault("nimbo info -m library.z library.z", 3, "a meta-model is an Ecore file or one of our JSON form");
}

TEST_F(NimboCommand, AFolderOfMetaModelsIsSearched) {
  expectFine("mkdir meta; cp library.metamodel.json meta; nimbo print -m meta library.z > /dev/null");
  expectFault("mkdir none; nimbo print -m none library.z", 3, "no meta-model in this folder");
}

// --- generate

TEST_F(NimboCommand, GeneratesTheSameModelFromTheSameSeed) {
  expectFine("nimbo generate" + std::string(kMeta) + "--elements 500 --seed 7 a.B; nimbo generate" + kMeta +
             "--elements 500 --seed 7 b.B; cmp a.B b.B; nimbo generate" + kMeta +
             "--elements 500 --seed 8 c.B; ! cmp -s a.B c.B");
  EXPECT_EQ(run("nimbo check" + std::string(kMeta) + "a.B").out, "a.B: fine\n");
}

}  // namespace
}  // namespace tool_test
