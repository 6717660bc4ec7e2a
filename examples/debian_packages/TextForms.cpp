#include "TextForms.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <iterator>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <bedrock/i18n.h>
#include <quillon/nimbo/BinParser.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/Transaction.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>

#include "DebianMetaModel.h"
#include "DebianModel.h"
#include "Report.h"
#include "RoundTrip.h"
#include "Stopwatch.h"

namespace debian_packages {
namespace {

namespace fs = std::filesystem;
using quillon::nimbo::BinFormat;
using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::StringToStringMap;
using tarn::kern::ustring;

constexpr const char* kOlderFile = "debian-0.9.z";

[[noreturn]] void fail(const fs::path& file, const std::string& what) {
  const int reason = errno;  // of the system call that the stream made; 0 where there was none
  throw RoundTripError(file.native() + ": " + what + (reason == 0 ? "" : std::string(": ") + std::strerror(reason)));
}

void writeText(const fs::path& file, const std::string& text) {
  errno = 0;
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  if (!out) fail(file, "cannot be created");
  out << text;
  out.close();
  if (!out) fail(file, "cannot be written");
}

std::string readText(const fs::path& file) {
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  if (!in) fail(file, "cannot be opened");
  std::string text((std::istreambuf_iterator<char>(in)), {});
  if (in.bad()) fail(file, "cannot be read");
  return text;
}

Model modelOf(const fs::path& file) {
  Model model = Model::create(tarn::kern::ModelSpec());
  tarn::kern::io::JSONParser parser;
  parser.getCustomizer()->setSourceName(file.native());
  parser.setModel(model);
  parser.parseString(readText(file));
  return model;
}

std::string jsonOf(const Model& model) {
  std::string text;
  tarn::kern::io::JSONSerializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(true);
  serializer.serialize(model, tarn::kern::io::SerializationOutput::forUTF8String(text));
  return text;
}

std::string dumpOf(const fs::path& file) {
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  if (!in) fail(file, "cannot be opened");
  return quillon::nimbo::BinParser().parseToJSON(in);
}

/// The fields of a package in the order of the bytes of their names, which is the order that a dump has for all keys.
StringToStringMap inDumpOrder(const StringToStringMap& fields) {
  std::vector<std::pair<ustring, ustring>> sorted(fields.begin(), fields.end());
  std::sort(sorted.begin(), sorted.end(), [](const auto& left, const auto& right) {
    return bedrock::i18n::ustring_to_utf8(left.first) < bedrock::i18n::ustring_to_utf8(right.first);
  });
  StringToStringMap map;
  for (const auto& [name, value] : sorted) map.insert(name, value, tarn::kern::CollisionResolution::KeepOld);
  return map;
}

/// Compares with what went through a dump. Of all that the model holds only the order of fields is lost there, so the
/// model has them in the dump's order for as long as the comparison lasts.
void requireEqualButForFieldOrder(const Model& model, const Model& loaded) {
  tarn::kern::Transaction transaction = model->beginTransaction(false);
  const auto& meta = debianMetaModel().anyPackage;
  for (const ModelElement& element : model->getAllElements(tarn::kern::FindElementBehavior::InMemory)) {
    if (!element->getMetaClass()->conformsTo(meta.type)) continue;
    const auto* const fields = element->peek<StringToStringMap>(meta.otherFields);
    if (fields != nullptr && fields->size() > 1) element->set(meta.otherFields, inDumpOrder(*fields));
  }
  requireEqual(model, loaded);
  transaction.rollBack();
}

std::string seconds(double value) {
  std::ostringstream text;
  text << std::fixed << std::setprecision(3) << value << " s";
  return text.str();
}

std::ostream& lineAbout(std::ostream& out, const fs::path& file) {
  return out << std::left << std::setw(18) << file.filename().native() << std::right << std::setw(13)
             << grouped(fs::file_size(file)) << " bytes  ";
}

void showJson(const Model& model, const fs::path& file, std::ostream& out) {
  Stopwatch watch;
  writeText(file, jsonOf(model));
  const double writing = watch.lap();
  const Model loaded = modelOf(file);
  const double reading = watch.lap();
  requireEqual(model, loaded);
  lineAbout(out, file) << "written in " << seconds(writing) << ", read in " << seconds(reading) << '\n';
}

void showDump(const Model& model, const fs::path& binaryFile, const fs::path& file, std::ostream& out) {
  Stopwatch watch;
  writeText(file, dumpOf(binaryFile));
  const double dumping = watch.lap();
  const Model loaded = modelOf(file);
  const double reading = watch.lap();
  requireEqualButForFieldOrder(model, loaded);
  lineAbout(out, file) << "dumped in " << seconds(dumping) << " without the meta-model, read in " << seconds(reading)
                       << '\n';
}

void showOlderVersion(const Model& model, const fs::path& file, std::ostream& out) {
  Stopwatch watch;
  const Model loaded = loadModel(file);
  const double reading = watch.lap();
  requireEqualButForFieldOrder(model, loaded);
  lineAbout(out, file) << "version 0.9 of the meta-model, read in " << seconds(reading) << " and up to date\n";
}

/// The libraries know no file.
template <class Step>
void aboutFile(const fs::path& file, Step step) {
  try {
    step();
  } catch (const RoundTripError&) {
    throw;
  } catch (const std::exception& e) {
    throw RoundTripError(file.native() + ": " + e.what());
  }
}

}  // namespace

void saveOlderVersion(const PlainDatabase& database, const fs::path& outDirectory) {
  saveModel(buildModel(database, olderDebianMetaModel()), BinFormat::BinaryZstd, outDirectory / kOlderFile);
}

void showTextForms(const Model& model, const fs::path& outDirectory, std::ostream& out) {
  out << '\n';
  const fs::path json = outDirectory / "debian.json";
  aboutFile(json, [&] { showJson(model, json, out); });
  const fs::path dump = outDirectory / "debian.dump.json";
  aboutFile(dump, [&] { showDump(model, outDirectory / "debian.z", dump, out); });
  const fs::path older = outDirectory / kOlderFile;
  aboutFile(older, [&] { showOlderVersion(model, older, out); });
  out << "Each of the three was read into a new model that is equal to the one saved; a dump has the fields of a map "
         "in "
         "order of their names.\n";
}

}  // namespace debian_packages
