#pragma once

#include <iosfwd>
#include <memory>
#include <string>

#include <tarn/kern/Model.h>

#include "quillon/nimbo/StreamIArchive.h"
#include "quillon/nimbo/export.h"

namespace quillon::nimbo {

struct BinParserTables;

/// Reads one container that BinSerializer wrote into a model. The bytes: docs/formats/binary.md.
///
/// Elements get the uuids of the stream. An element that the stream only refers to may be in the model already; one
/// whose contents the stream brings may not. Whatever else the model holds stays as it is, so that several containers
/// can be read into one model, one after the other; ids of one mean nothing in the next.
///
/// Reading is one transaction, inside those that are open. It is rolled back when an exception leaves `parse`. Elements
/// that the stream refers to but never brings are destroyed after the commit, each with a warning in the log.
///
/// Bad input ends in an exception, in time and memory proportional to what is there, however deep its elements nest:
/// - BinSerializationException: a tag out of place, an unknown name, an id that was never defined, a class that has no
///   instances, contents of an element that has some already. A failed check names its source and expression.
/// - the framework's exceptions, unchanged: a value that does not fit its property (the cast failure), a property
///   that a class lacks, elements that would contain each other, an abstract class, a text that is no time.
/// - what decompression (Compression.h) and StreamIArchive throw.
/// - what tarn::kern::io::JSONParser throws, for the containers of JSON text and for streams of older package versions:
///   these are read by way of their dump, see `parseToJSON`.
/// - whatever custom serializers throw.
/// Bytes that do not begin with a container's letter are no error: nothing is read.
///
/// A value: copies share the model and nothing else. A moved-from parser is as good as a new one, but for its flag.
/// Threads: one at a time, which also must be the model's.
class NIMBO_EXPORT BinParser {
 public:
  /// No model; evolution is on.
  BinParser();
  BinParser(const BinParser& other);
  BinParser(BinParser&& other) noexcept;
  BinParser& operator=(const BinParser& other);
  BinParser& operator=(BinParser&& other) noexcept;
  ~BinParser();

  /// The model to read into. Null asks for a new one.
  void setModel(const tarn::kern::Model& model) { fModel = model; }
  /// The model that was set or made; null before the first `parse` without one.
  [[nodiscard]] tarn::kern::Model getModel() const { return fModel; }

  /// Whether content of an older package version is brought up to date while it is read. It does not choose how a
  /// stream is read: one that names an older version goes the long way round by JSON in either case.
  void setEvolveIfNeeded(bool evolveIfNeeded) { fEvolveIfNeeded = evolveIfNeeded; }
  [[nodiscard]] bool getEvolveIfNeeded() const { return fEvolveIfNeeded; }

  /// Reads one container. A model is made first if there is none, even if there are no bytes. Of a "B" container the
  /// eight bytes behind the end tag stay unread; beyond that the position of the stream afterwards is not specified.
  void parse(std::istream& stream);
  void parse(StreamIArchive& archive);
  void parse(const std::string& bytes);

  /// The content of one container as JSON text (docs/formats/binary.md), without a model and without the meta-model:
  /// the names in the stream are taken as they are. One line; the keys of each object in ascending order of their
  /// bytes, one "type" and "uuid" for each mention of an element, its "content" where the stream has it, no check
  /// beyond those that finding the next value takes. The text of the containers "J", "C" and "c" is returned as it
  /// stands. Empty for bytes that do not begin with a container's letter.
  ///
  /// The model and the flag play no part and stay as they are. Of a "B" container the eight bytes behind the end tag
  /// stay unread. A custom value needs its type, and a serializer for it, in this process: see
  /// CustomBinSerializerBase::parseToJSON.
  ///
  /// An id that the stream skipped stands for an empty name of a type or literal and for no element: null, or the
  /// "content" alone where the stream has some.
  ///
  /// @throws BinSerializationException for a tag that is out of place, an id above all that were defined, a custom
  /// value without a serializer; nlohmann::json::type_error (a std::exception) for text that is no valid UTF-8, which
  /// is what half a surrogate pair becomes, too; std::length_error for collections of absent entries (tag "n") that
  /// hold more than 2^20 of them in one stream: they take no bytes, and no writer writes them; what decompression and
  /// StreamIArchive throw.
  [[nodiscard]] std::string parseToJSON(std::istream& stream);
  [[nodiscard]] std::string parseToJSON(StreamIArchive& archive);

 private:
  void parseBinaryPayload(StreamIArchive& archive);
  void parseCompressedPayload(StreamIArchive& archive, char letter);
  void parseJsonPayload(StreamIArchive& archive, char letter);
  void readRoots(StreamIArchive& archive);
  void destroyDangling();
  void reset() noexcept;

  tarn::kern::Model fModel;
  /// What the ids of the payload being read stand for; null until a payload is read. An exception leaves the entries
  /// behind until the next one begins.
  std::unique_ptr<BinParserTables> fTables;
  bool fEvolveIfNeeded = true;
};

}  // namespace quillon::nimbo
