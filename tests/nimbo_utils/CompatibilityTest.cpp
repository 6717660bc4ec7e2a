#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <locale>
#include <map>
#include <string>

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/io/XmlSerializer.h>

#include "quillon/nimbo/BinFormat.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/SampleContent.h"
#include "support/Saving.h"
#include "support/TemporaryFolder.h"

/// What a release has written is read for ever, and the same model always gives the same bytes.
///
/// tests/compat has a folder for each release that changed a form, with one model in each container and the JSON text
/// that reading them must give. Folders are added, never changed: NIMBO_COMPAT_FOLDER=<folder> has this test write one.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;

constexpr const char* kCurrent = "0.1.0";
constexpr const char* kExpected = "expected.json";

/// Something in every kind of property; references forward, backward and to null; data values in each other.
Model sample() {
  testsupport::moneySerializer();
  const Model model = testsupport::emptyModel();
  testsupport::fillByChance(model, 7, 12);
  testsupport::fillLines(model, testsupport::newSample(model, u"Box", 101));
  testsupport::fillEverything(model);
  return model;
}

std::string jsonOf(const Model& model) {
  std::string text;
  kern::io::JSONSerializer().serialize(model, kern::io::SerializationOutput::forUTF8String(text));
  return text;
}

const std::map<std::string, BinFormat>& containers() {
  static const std::map<std::string, BinFormat> kContainers = {
      {"plain", BinFormat::Binary},    {"gzip", BinFormat::BinaryZlib},    {"zstd", BinFormat::BinaryZstd},
      {"json-plain", BinFormat::Json}, {"json-gzip", BinFormat::JsonZlib}, {"json-zstd", BinFormat::JsonZstd}};
  return kContainers;
}

std::string fileOf(const std::string& container) { return container + ".nimbo"; }

std::filesystem::path compat() { return std::filesystem::path(NIMBO_SOURCE_ROOT) / "tests" / "compat"; }

/// Every form that a model is saved in.
std::map<std::string, std::string> everyForm() {
  const Model model = sample();
  std::map<std::string, std::string> forms;
  for (const auto& [name, format] : containers()) {
    forms[name] = testsupport::saved(model->getTopLevelElements(), format);
  }
  forms["JSON"] = jsonOf(model);
  const Model plain = testsupport::emptyModel();  // without bytes that XML has no place for
  testsupport::fillReferences(plain);
  testsupport::fillLines(plain, testsupport::newSample(plain, u"Box", 101));
  kern::io::XmlSerializer().serialize(plain, kern::io::SerializationOutput::forUTF8String(forms["XML"]));
  return forms;
}

TEST(Compatibility, EveryReleasesFilesAreRead) {
  const Model model = sample();
  if (const char* const asked = std::getenv("NIMBO_COMPAT_FOLDER")) {
    std::filesystem::create_directories(asked);
    for (const auto& [name, format] : containers()) {
      testsupport::writeFile(std::filesystem::path(asked) / fileOf(name),
                             testsupport::saved(model->getTopLevelElements(), format));
    }
    testsupport::writeFile(std::filesystem::path(asked) / kExpected, jsonOf(model));
  }
  std::size_t releases = 0;
  for (const auto& release : std::filesystem::directory_iterator(compat())) {
    ++releases;
    const std::string expected = testsupport::contentOf(release.path() / kExpected);
    const Model fromText = testsupport::emptyModel();
    kern::io::JSONParser parser;
    parser.setModel(fromText);
    parser.parseString(expected);
    for (const auto& [name, format] : containers()) {
      SCOPED_TRACE(release.path().filename().string() + ", " + name);
      const Model read = testsupport::loaded(testsupport::contentOf(release.path() / fileOf(name)));
      EXPECT_EQ(jsonOf(read), expected);
      EXPECT_TRUE(kern::modelsEqual(read, fromText));
    }
  }
  EXPECT_GT(releases, 0U);
}

/// What compression makes of the bytes is its library's affair; these are ours.
TEST(Compatibility, TheCurrentFormIsWrittenByteForByte) {
  const Model model = sample();
  for (const char* const name : {"plain", "json-plain"}) {
    EXPECT_TRUE(testsupport::saved(model->getTopLevelElements(), containers().at(name)) ==
                testsupport::contentOf(compat() / kCurrent / fileOf(name)))
        << name << ": a changed form needs a version of its own, and a folder in tests/compat";
  }
  EXPECT_EQ(jsonOf(model), testsupport::contentOf(compat() / kCurrent / kExpected));
}

/// Numbers as hardly anybody writes them: "1.234.567,5", "ja".
class Strange : public std::numpunct<char> {
 protected:
  [[nodiscard]] char do_decimal_point() const override { return ','; }
  [[nodiscard]] char do_thousands_sep() const override { return '.'; }
  [[nodiscard]] std::string do_grouping() const override { return "\1"; }
  [[nodiscard]] std::string do_truename() const override { return "ja"; }
};

/// The surroundings of a process, put back at the end.
class Surroundings {
 public:
  Surroundings(const std::string& timeZone, mode_t mask, bool strangeNumbers) : fMask(::umask(mask)) {
    ::setenv("TZ", timeZone.c_str(), 1);
    ::tzset();
    if (strangeNumbers) std::locale::global(std::locale(std::locale::classic(), new Strange));
    std::setlocale(LC_ALL, strangeNumbers ? "tr_TR.UTF-8" : "C");  // where the machine has it
  }
  Surroundings(const Surroundings&) = delete;
  Surroundings& operator=(const Surroundings&) = delete;
  ~Surroundings() {
    ::umask(fMask);
    ::unsetenv("TZ");
    ::tzset();
    std::locale::global(std::locale::classic());
  }

 private:
  mode_t fMask;
};

TEST(Compatibility, TheSameModelGivesTheSameBytesEverywhere) {
  const std::map<std::string, std::string> forms = everyForm();
  EXPECT_TRUE(everyForm() == forms) << "written twice";
  for (const char* const timeZone : {"UTC", "Asia/Kathmandu", "America/St_Johns"}) {
    for (const mode_t mask : {mode_t{022}, mode_t{077}}) {
      for (const bool strangeNumbers : {false, true}) {
        const Surroundings surroundings(timeZone, mask, strangeNumbers);
        for (const auto& [name, bytes] : everyForm()) {
          EXPECT_TRUE(bytes == forms.at(name)) << name << ", " << timeZone << ", strange numbers: " << strangeNumbers;
        }
      }
    }
  }
}

}  // namespace
}  // namespace quillon::nimbo
