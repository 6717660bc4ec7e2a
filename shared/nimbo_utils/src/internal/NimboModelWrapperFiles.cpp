// The half of NimboModelWrapperBase that reads and writes: files, strings, streams and stores.

#include <array>
#include <cstddef>
#include <ios>
#include <istream>
#include <ostream>
#include <sstream>
#include <string>
#include <utility>

#include <nlohmann/json.hpp>

#include <bedrock/filesystem.h>
#include <bedrock/i18n.h>
#include <strata/SQLiteUri.h>
#include <strata/Uri.h>
#include <strata_datasource/DataSource.h>
#include <tarn/kern/datasource/DataSource.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>
#include <tarn/kern/meta/MetaRegistry.h>

#include "quillon/nimbo/BinFormat.h"
#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"
#include "quillon/nimbo/internal/NimboModelWrapperBase.h"

namespace quillon::nimbo::internal {

using bedrock::i18n::ustring_to_utf8;
using bedrock::i18n::utf8_to_ustring;
using tarn::kern::io::JSONParser;
using tarn::kern::io::JSONSerializer;
using tarn::kern::io::SerializationOutput;
using tarn::kern::io::XmlParser;
using tarn::kern::io::XmlSerializer;

namespace {

using ustring = std::u16string;

/// What is left of the stream, behind the bytes that are in `text` already.
std::string withRest(std::string text, std::istream& stream) {
  std::array<char, 1U << 16U> chunk{};
  do {
    stream.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
    text.append(chunk.data(), static_cast<std::size_t>(stream.gcount()));
  } while (stream);
  return text;
}

/// For reading: nothing has changed when this throws.
class SourceFile : public bedrock::filesystem::basic_ifstream<char> {
 public:
  explicit SourceFile(const ustring& path)
      : bedrock::filesystem::basic_ifstream<char>(path, std::ios_base::in | std::ios_base::binary) {
    if (!is_open()) throw NimboModelWrapperException(NimboModelWrapperException::Kind::NonExistingFile);
  }
};

/// For writing: whatever was in the file is gone.
class TargetFile : public bedrock::filesystem::basic_ofstream<char> {
 public:
  explicit TargetFile(const ustring& path)
      : bedrock::filesystem::basic_ofstream<char>(path,
                                                  std::ios_base::out | std::ios_base::trunc | std::ios_base::binary) {
    if (!is_open()) throw NimboModelWrapperException(NimboModelWrapperException::Kind::FailedToCreateFile);
  }
};

std::string readFile(const ustring& path) {
  SourceFile file(path);
  return withRest({}, file);
}

/// Signed, as files have always been told apart: see NimboModelWrapperBase::open.
bool beginsLike(const std::string& magic, int firstByte) {
  return !magic.empty() && firstByte == static_cast<signed char>(magic.front());
}

/// Whether the file goes on as `magic` does, of which the first byte has been read.
bool goesOnLike(const std::string& magic, int firstByte, std::istream& file) {
  std::string head(magic.size(), ' ');
  head.front() = static_cast<char>(firstByte);
  const auto wanted = static_cast<std::streamsize>(magic.size() - 1);
  file.read(head.data() + 1, wanted);
  return file.gcount() == wanted && head == magic;
}

/// When the question cannot be answered, as in a folder that may not be searched, binding will say so better.
bool existsForSure(const ustring& path) {
  try {
    return bedrock::filesystem::exists(path);
  } catch (...) {
    return false;
  }
}

/// Binds the model to the store. A framework whose stores can be told whether to evolve is told.
template <class Store>
void bind(const strata::Uri& place, const tarn::kern::Model& model, bool evolveIfNeeded) {
  using tarn::kern::datasource::DataSource;  // of its enumerators only the numbers are the same everywhere
  const auto toModel = static_cast<DataSource::ToModelSync>(0);            // as elements are touched
  const auto toDataSource = static_cast<DataSource::ToDataSourceSync>(1);  // what changes
  const auto timing = static_cast<DataSource::SyncTiming>(0);              // with each commit
  if constexpr (requires { Store::Options::evolveIfNeeded; }) {
    typename Store::Options options;
    options.evolveIfNeeded = evolveIfNeeded;
    Store::create(place, model, toModel, toDataSource, timing, options);  // the model owns the result
  } else {
    Store::create(place, model, toModel, toDataSource, timing);
  }
}

template <class Reader>
void readText(const std::string& text, const tarn::kern::Model& model, bool evolveIfNeeded) {
  Reader reader;
  reader.getCustomizer()->setEvolveIfNeeded(evolveIfNeeded);
  reader.setModel(model);
  reader.parseString(text);
}

template <class Writer>
std::string writeText(const tarn::kern::Model& model) {
  Writer writer;
  writer.getCustomizer()->setShouldSkipDefaultValues(true);
  std::string text;
  {
    const SerializationOutput output = SerializationOutput::forUTF8String(text);
    writer.serialize(model, output);
  }  // only now is the text complete
  return text;
}

}  // namespace

// --- Opening.

void NimboModelWrapperBase::open(const ustring& path) {
  if (path.empty()) {
    reset();
  } else if (!openFile(path)) {
    openStore(path);
  }
}

/// Opens what is no store; false when it is one. The file is closed then.
bool NimboModelWrapperBase::openFile(const ustring& path) {
  bedrock::filesystem::basic_ifstream<char> file(path, std::ios_base::in | std::ios_base::binary);
  const int first = file.get();
  if (first == '{') {
    parseJSONString(withRest("{", file));
    return true;
  }
  if (first == '<') {
    parseXMLString(withRest("<", file));
    return true;
  }
  if (!beginsLike(magic, first) || !goesOnLike(magic, first, file)) return false;
  openFromBinString(withRest({}, file));
  return true;
}

void NimboModelWrapperBase::openStore(const ustring& path) {
  reset();
  makeModel();
  const bool existed = existsForSure(path);
  strata::SQLiteUri place = strata::Uri::createSQLite();
  place.setLocation(ustring_to_utf8(path));
  bind<strata_datasource::DataSource>(place, model, evolveIfNeeded);
  if (!existed) makeRootInTransaction();
  strataFilePath_ = path;
  setRoot();
}

void NimboModelWrapperBase::openFromBinString(const std::string& data) {
  if (!keepSerializedData) {
    parseBinString(data);
    return;
  }
  reset();
  if (&data != &serializedData) serializedData = data;
}

// --- Reading.

void NimboModelWrapperBase::parseBinFile(const ustring& path) {
  SourceFile file(path);
  std::string head(magic.size(), ' ');
  file.read(head.data(), static_cast<std::streamsize>(head.size()));
  if (head != magic) throw NimboModelWrapperException(NimboModelWrapperException::Kind::InvalidBinaryFile);
  openFromBinString(withRest({}, file));
}

void NimboModelWrapperBase::parseJSONFile(const ustring& path) { parseJSONString(readFile(path)); }

void NimboModelWrapperBase::parseXMLFile(const ustring& path) { parseXMLString(readFile(path)); }

void NimboModelWrapperBase::parseBinString(const std::string& data) {
  std::stringstream stream(data, std::ios_base::in | std::ios_base::out | std::ios_base::binary);
  StreamIArchive archive(stream);
  parseBinStream(archive);
}

void NimboModelWrapperBase::parseBinStream(StreamIArchive& archive) {
  reset();
  makeModel();
  BinParser parser;
  parser.setModel(model);
  parser.setEvolveIfNeeded(evolveIfNeeded);
  parser.parse(archive);
  setRoot();
}

void NimboModelWrapperBase::parseJSONString(const std::string& text) {
  reset();
  makeModel();
  readText<JSONParser>(text, model, evolveIfNeeded);
  setRoot();
}

void NimboModelWrapperBase::parseXMLString(const std::string& text) {
  reset();
  makeModel();
  readText<XmlParser>(text, model, evolveIfNeeded);
  setRoot();
}

std::string NimboModelWrapperBase::parseBinStreamToJSON(StreamIArchive& archive) {
  BinParser parser;
  parser.setEvolveIfNeeded(true);
  return parser.parseToJSON(archive);
}

// --- Writing.

bool NimboModelWrapperBase::writeCachedSerializedData(StreamOArchive& archive) const {
  if (serializedData.empty()) return false;
  archive.stream()->write(serializedData.data(), static_cast<std::streamsize>(serializedData.size()));
  return true;
}

void NimboModelWrapperBase::serializeToBinStream(StreamOArchive& archive) const {
  if (writeCachedSerializedData(archive)) return;
  BinSerializer serializer;
  createModelIfNeeded();
  serializer.serialize(model->getTopLevelElements(), archive, BinFormat::Default);
}

std::string NimboModelWrapperBase::serializeToBinString() const {
  std::stringstream stream(std::ios_base::in | std::ios_base::out | std::ios_base::binary);
  StreamOArchive archive(stream);
  serializeToBinStream(archive);
  std::string bytes = std::move(stream).str();
  if (!keepSerializedData || !serializedData.empty()) return bytes;
  serializedData = std::move(bytes);
  return serializedData;
}

void NimboModelWrapperBase::writeBinFile(std::ostream& stream) const {
  stream.write(magic.data(), static_cast<std::streamsize>(magic.size()));
  StreamOArchive archive(stream);
  serializeToBinStream(archive);
}

void NimboModelWrapperBase::serializeToBinFile(const ustring& path) const {
  TargetFile file(path);
  writeBinFile(file);
}

std::string NimboModelWrapperBase::serializeToJSON() const { return writeText<JSONSerializer>(getModelRef()); }

std::string NimboModelWrapperBase::serializeToXML() const { return writeText<XmlSerializer>(getModelRef()); }

void NimboModelWrapperBase::serializeToJSONFile(const ustring& path) const {
  TargetFile file(path);
  file << serializeToJSON();
}

void NimboModelWrapperBase::serializeToXMLFile(const ustring& path) const {
  TargetFile file(path);
  file << serializeToXML();
}

// --- The packages that the content needs.

std::string NimboModelWrapperBase::getUsedPackageUrisAsJSON() const {
  nlohmann::json uris = nlohmann::json::array();
  for (const ustring& uri : getModelRef()->getUsedPackageUris()) uris.push_back(ustring_to_utf8(uri));
  return uris.dump();
}

bool NimboModelWrapperBase::evolveIsNeeded(const std::string& text) {
  const auto uris = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/true, /*ignore_comments=*/false);
  const tarn::kern::meta::MetaRegistry& registry = *tarn::kern::meta::MetaRegistry::getInstance();
  for (const nlohmann::json& uri : uris) {  // a single value is its own entry, null has none
    if (!registry.isVersionCurrentForFamily(utf8_to_ustring(uri.get<std::string>()))) return true;
  }
  return false;
}

}  // namespace quillon::nimbo::internal
