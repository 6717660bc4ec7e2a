#include "RoundTrip.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <exception>
#include <fstream>
#include <iterator>
#include <ostream>
#include <streambuf>
#include <string>

#include <boost/optional.hpp>

#include <quillon/nimbo/BinParser.h>
#include <quillon/nimbo/BinSerializer.h>
#include <tarn/kern/ModelCompare.h>

#include "Stopwatch.h"

namespace debian_packages {
namespace {

namespace fs = std::filesystem;
using quillon::nimbo::BinFormat;
using quillon::nimbo::BinParser;
using quillon::nimbo::BinSerializer;
using tarn::kern::Model;

[[noreturn]] void fail(const fs::path& file, const std::string& what) {
  const int reason = errno;  // of the system call that the stream made; 0 where there was none
  throw RoundTripError(file.native() + ": " + what + (reason == 0 ? "" : std::string(": ") + std::strerror(reason)));
}

std::ifstream openForReading(const fs::path& file) {
  errno = 0;
  std::ifstream in(file, std::ios::binary);
  if (!in) fail(file, "cannot be opened");
  return in;
}

void serialize(const Model& model, BinFormat format, std::ostream& out) {
  BinSerializer().serialize(model->getTopLevelElements(), out, format);
}

void writeFile(const Model& model, BinFormat format, const fs::path& file) {
  errno = 0;
  std::ofstream out(file, std::ios::binary | std::ios::trunc);
  if (!out) fail(file, "cannot be created");
  serialize(model, format, out);
  out.close();  // only now the last bytes have gone out, so only now the state tells
  if (!out) fail(file, "cannot be written");
}

/// Takes bytes and compares them with those of a stream.
class ComparingBuffer : public std::streambuf {
 public:
  explicit ComparingBuffer(std::istream& expected) : fExpected(expected) {}

  bool isDifferent() const noexcept { return fIsDifferent; }
  std::uintmax_t sameBytes() const noexcept { return fSameBytes; }

 protected:
  std::streamsize xsputn(const char* bytes, std::streamsize count) override {
    for (std::streamsize done = 0; done < count && !fIsDifferent;) {
      const std::streamsize part = std::min(count - done, std::ssize(fPart));
      compare(bytes + done, part);
      done += part;
    }
    return count;
  }
  int_type overflow(int_type c) override {
    const char byte = traits_type::to_char_type(c);
    xsputn(&byte, 1);
    return traits_type::not_eof(c);
  }

 private:
  void compare(const char* bytes, std::streamsize count) {
    fExpected.read(fPart.data(), count);
    const std::streamsize present = fExpected.gcount();
    const auto same = std::mismatch(bytes, bytes + present, fPart.data()).first - bytes;
    fSameBytes += static_cast<std::uintmax_t>(same);
    fIsDifferent = same < count;
  }

  std::istream& fExpected;
  std::array<char, 65536> fPart{};
  std::uintmax_t fSameBytes = 0;
  bool fIsDifferent = false;
};

}  // namespace

void saveModel(const Model& model, BinFormat format, const fs::path& file) {
  try {
    writeFile(model, format, file);
  } catch (...) {
    std::error_code ignored;  // what went wrong first is what the user must know
    if (fs::is_regular_file(file, ignored)) fs::remove(file, ignored);
    throw;
  }
}

Model loadModel(const fs::path& file) {
  std::ifstream in = openForReading(file);
  BinParser parser;
  parser.parse(in);
  if (in.bad()) fail(file, "cannot be read");
  return parser.getModel();
}

void requireEqual(const Model& original, const Model& loaded) {
  boost::optional<tarn::kern::ModelDifference> difference;
  if (tarn::kern::modelsEqual(original, loaded, &difference)) return;
  throw RoundTripError("the loaded model is not the saved one: " + difference.value().text());
}

void requireSameBytes(const Model& model, BinFormat format, const fs::path& file) {
  std::ifstream expected = openForReading(file);
  ComparingBuffer buffer(expected);
  std::ostream out(&buffer);
  serialize(model, format, out);
  if (expected.bad()) fail(file, "cannot be read");
  errno = 0;
  if (buffer.isDifferent())
    fail(file, "saving the loaded model gives other bytes from byte " + std::to_string(buffer.sameBytes()) + " on");
  if (expected.peek() != std::ifstream::traits_type::eof()) {
    fail(file, "saving the loaded model gives only the first " + std::to_string(buffer.sameBytes()) + " bytes");
  }
}

RoundTripFigures roundTrip(const Model& model, BinFormat format, const fs::path& file) {
  try {
    RoundTripFigures figures;
    Stopwatch watch;
    saveModel(model, format, file);
    figures.saveSeconds = watch.lap();
    const Model loaded = loadModel(file);
    figures.loadSeconds = watch.lap();
    requireEqual(model, loaded);
    figures.compareSeconds = watch.lap();
    requireSameBytes(loaded, format, file);
    figures.saveAgainSeconds = watch.lap();
    figures.fileBytes = fs::file_size(file);
    return figures;
  } catch (const RoundTripError&) {
    throw;
  } catch (const std::exception& e) {  // the libraries know no file
    throw RoundTripError(file.native() + ": " + e.what());
  }
}

}  // namespace debian_packages
