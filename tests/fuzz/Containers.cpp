// Whole containers of every letter, and the four functions of compression. The first byte chooses.

#include <sstream>

#include "FuzzTarget.h"
#include "nimbo_utils/support/MoneySerializer.h"
#include "nimbo_utils/support/SampleContent.h"
#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"
#include "quillon/nimbo/Compression.h"

namespace {

using quillon::nimbo::BinFormat;
using tarn::kern::Model;

constexpr char kRead = 0;
constexpr char kGunzip = 1;
constexpr char kUnzstd = 2;
constexpr char kThereAndBack = 3;
constexpr std::size_t kChoices = 4;

void prepare() {
  static const bool kPrepared = [] {
    fuzz::silenceCerr();
    testsupport::moneySerializer();
    quillon::nimbo::setDecompressionLimit(std::uint64_t{1} << 20U);  // a true bomb would only take time
    return true;
  }();
  static_cast<void>(kPrepared);
}

void readContainer(std::string_view bytes) {
  quillon::nimbo::BinParser parser;
  const Model model = Model::create(tarn::kern::ModelSpec());
  parser.setModel(model);
  try {
    parser.parse(std::string(bytes));
  } catch (const std::exception&) {
    fuzz::require(model->getElementCount() == 0, "a refused container leaves nothing behind");
  }
}

void decompress(std::string_view bytes, bool isZstd) {
  try {
    const std::vector<std::uint8_t> copy(bytes.begin(), bytes.end());
    static_cast<void>(isZstd ? quillon::nimbo::uncompressZSTD(copy)
                             : quillon::nimbo::uncompress(bytes.data(), bytes.size()));
  } catch (const std::exception&) {
  }
}

void thereAndBack(const std::string& bytes) {
  std::vector<std::uint8_t> packed;
  quillon::nimbo::compressZSTD(packed, bytes, 1);
  fuzz::require(quillon::nimbo::uncompressZSTD(packed) == bytes, "zstd gives back what it was given");
  quillon::nimbo::compress(packed, bytes);
  fuzz::require(quillon::nimbo::uncompress(packed.data(), packed.size()) == bytes, "gzip gives back what it was given");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  prepare();
  if (size == 0) return 0;
  const std::string_view rest = fuzz::viewOf(data + 1, size - 1);
  switch (static_cast<char>(data[0] % kChoices)) {
    case kRead:
      readContainer(rest);
      break;
    case kGunzip:
      decompress(rest, false);
      break;
    case kUnzstd:
      decompress(rest, true);
      break;
    default:
      thereAndBack(std::string(rest));
      break;
  }
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  prepare();
  std::vector<std::string> all;
  const Model model = Model::create(tarn::kern::ModelSpec());
  testsupport::fillReferences(model);
  testsupport::fillByChance(model, 3, 10);
  for (const BinFormat format : {BinFormat::Binary, BinFormat::BinaryZlib, BinFormat::BinaryZstd, BinFormat::Json,
                                 BinFormat::JsonZlib, BinFormat::JsonZstd}) {
    try {
      std::ostringstream stream;
      quillon::nimbo::BinSerializer().serialize(model->getTopLevelElements(), stream, format);
      const std::string container = stream.str();
      all.push_back(std::string(1, kRead) + container);
      const bool isCompressed = format != BinFormat::Binary && format != BinFormat::Json;
      if (!isCompressed) continue;
      const bool isZstd = format == BinFormat::BinaryZstd || format == BinFormat::JsonZstd;
      all.push_back(std::string(1, isZstd ? kUnzstd : kGunzip) + container.substr(9));  // behind letter and length
    } catch (const std::exception&) {  // a form that this build does not write
    }
  }
  all.push_back(std::string(1, kThereAndBack) + "abcabcabcabcabcabcabcabcabcabcabcabc");
  return all;
}
