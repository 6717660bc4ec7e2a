#include <cstdint>
#include <exception>
#include <functional>
#include <iostream>
#include <streambuf>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"
#include "support/AllocationMeter.h"
#include "support/AnnotatedHex.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/SampleContent.h"
#include "support/Saving.h"

/// Good streams, cut at every byte and flipped at every bit: each reading ends in an exception or in a model, within
/// memory in proportion to the stream. The sanitizers look on.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using testsupport::emptyModel;
using testsupport::saved;

/// Drops what goes to std::cerr while it lives: each failure prints its text, of up to 64 MiB here.
class NoCerr {
 public:
  NoCerr() : fBefore(std::cerr.rdbuf(&fNowhere)) {}
  NoCerr(const NoCerr&) = delete;
  NoCerr& operator=(const NoCerr&) = delete;
  ~NoCerr() { std::cerr.rdbuf(fBefore); }

 private:
  struct Nowhere : std::streambuf {
    int_type overflow(int_type byte) override { return traits_type::not_eof(byte); }
    std::streamsize xsputn(const char*, std::streamsize count) override { return count; }
  } fNowhere;
  std::streambuf* fBefore;
};

struct GoodStream {
  const char* name;
  std::string container;
};

std::vector<GoodStream> goodStreams(BinFormat format) {
  testsupport::moneySerializer();
  testsupport::demoMetaModel();
  std::vector<GoodStream> streams;
  const auto add = [&](const char* name, const std::function<void(const Model&)>& fill) {
    const Model model = emptyModel();
    fill(model);
    streams.push_back({name, saved(model->getTopLevelElements(), format)});
  };
  add("nothing", [](const Model&) {});
  add("everything", [](const Model& model) { testsupport::fillEverything(model); });
  add("references", [](const Model& model) { testsupport::fillReferences(model); });
  add("lines", [](const Model& model) { testsupport::fillLines(model, testsupport::newSample(model, u"Box", 1)); });
  add("by chance", [](const Model& model) { testsupport::fillByChance(model, 5, 12); });
  return streams;
}

enum class Outcome { Model, Exception };

/// Reads damaged bytes. What comes of it is a whole model, which can be saved and dies in peace, or nothing.
Outcome outcomeOf(const std::string& damaged) {
  const Model model = emptyModel();
  try {
    testsupport::loadInto(model, damaged);
  } catch (const std::exception&) {
    EXPECT_EQ(model->getElementCount(), 0U);
    EXPECT_EQ(model->getTransactionDepth(), 0U);
    return Outcome::Exception;
  }
  try {
    static_cast<void>(saved(model->getTopLevelElements()));
  } catch (const std::exception&) {
    // A number for which an enum has no literal can be read but not saved.
  }
  model->destroy();
  return Outcome::Model;
}

TEST(BinParserDamage, RefusesEveryPlainStreamThatIsCut) {
  const NoCerr quiet;
  for (const GoodStream& good : goodStreams(BinFormat::Binary)) {
    SCOPED_TRACE(good.name);
    const std::size_t endTag = good.container.size() - 9;
    for (std::size_t size = 0; size <= good.container.size(); ++size) {
      const bool isWhole = size == 0 || size > endTag;  // no byte at all is no error; behind "n" nothing is read
      EXPECT_EQ(outcomeOf(good.container.substr(0, size)), isWhole ? Outcome::Model : Outcome::Exception) << size;
    }
  }
}

TEST(BinParserDamage, RefusesEveryCompressedStreamThatIsCut) {
  const NoCerr quiet;
  for (const BinFormat format : {BinFormat::BinaryZlib, BinFormat::BinaryZstd}) {
    for (const GoodStream& good : goodStreams(format)) {
      SCOPED_TRACE(good.name);
      for (std::size_t size = 1; size < good.container.size(); ++size) {
        const Outcome outcome = outcomeOf(good.container.substr(0, size));
        // What is missing is taken as 0xFF: one that was lost may be replaced by itself.
        if (good.container.find_first_not_of('\xff', size) == std::string::npos) continue;
        EXPECT_EQ(outcome, Outcome::Exception) << size;
      }
    }
  }
}

/// Flips every bit from an offset on. Returns how many of the damaged streams still gave a model.
std::size_t flipEveryBit(const std::string& container, std::size_t from) {
  const testsupport::AllocationMeter meter;
  std::size_t models = 0;
  std::string damaged = container;
  for (std::size_t byte = from; byte < damaged.size(); ++byte) {
    for (unsigned bit = 0; bit < 8; ++bit) {
      damaged[byte] = static_cast<char>(static_cast<unsigned char>(damaged[byte]) ^ (1U << bit));
      models += outcomeOf(damaged) == Outcome::Model ? 1 : 0;
      damaged[byte] = container[byte];
    }
  }
  // A text may be announced with up to 2^26 code units that do not come; it stands in the texts of failures, too.
  EXPECT_LT(meter.peak(), std::size_t{1} << 30U);
  return models;
}

TEST(BinParserDamage, SurvivesEveryFlippedBitOfAPlainStream) {
  const NoCerr quiet;
  for (const GoodStream& good : goodStreams(BinFormat::Binary)) {
    if (good.name == std::string("everything")) continue;  // its values are flipped one by one below
    SCOPED_TRACE(good.name);
    // The letter's flips alone give empty models, and those of the eight bytes behind the end do not matter.
    EXPECT_GE(flipEveryBit(good.container, 0), 6U + 64U);
  }
}

/// One element with a single property "value", holding what `source` holds in `property`.
std::string streamOfOneValue(const std::u16string& className, const kern::ModelElement& source,
                             const kern::meta::Property& property) {
  const auto& access = kern::ReflectionPrivateTag::PRIVILEGED_ACCESS;
  const Model model = emptyModel();
  const kern::ModelElement element = testsupport::newSample(model, className, 1);
  const kern::meta::Property target = element->property(u"value");
  const kern::Value value = source->getPropertyValue(property, access);
  if (!property->isCollection()) {
    element->setPropertyValue(target, value, access);
  } else {
    const kern::Value entries = element->getPropertyValue(target, access);
    for (const kern::Value& entry : value.toPrimitiveCollection().getAllValues()) {
      entries.toPrimitiveCollection().addValue(entry);
    }
  }
  return saved({element});
}

TEST(BinParserDamage, SurvivesEveryFlippedBitOfEachKindOfValue) {
  const NoCerr quiet;
  testsupport::moneySerializer();
  const Model model = emptyModel();
  const kern::ModelElement everything = testsupport::fillEverything(model);
  const std::string name("v\0a\0l\0u\0e\0", 10);
  for (const std::u16string& kind : testsupport::kindNames()) {
    for (const auto& [className, shape] :
         {std::pair(u"Required", u"required"), std::pair(u"Many", u"many"), std::pair(u"Generic", u"generic")}) {
      const kern::meta::Property property = everything->getMetaClass()->getProperty(shape + kind);
      if (!property) continue;
      SCOPED_TRACE(bedrock::i18n::to_string(className + kind));
      const std::string container = streamOfOneValue(className + kind, everything, property);
      // What stands in front of the value is the same for all; see the test above.
      EXPECT_GE(flipEveryBit(container, container.find(name) + name.size()), 64U);
    }
  }
}

TEST(BinParserDamage, SurvivesEveryFlippedBitOfAGzipStream) {
  const NoCerr quiet;
  for (const GoodStream& good : goodStreams(BinFormat::BinaryZlib)) {
    SCOPED_TRACE(good.name);
    EXPECT_GE(flipEveryBit(good.container, 0), 6U);
  }
}

TEST(BinParserDamage, SurvivesEveryFlippedBitOfAZstdStream) {
  const NoCerr quiet;
  for (const GoodStream& good : goodStreams(BinFormat::BinaryZstd)) {
    SCOPED_TRACE(good.name);
    EXPECT_GE(flipEveryBit(good.container, 0), 6U);
  }
}

TEST(BinParserDamage, SurvivesEveryCutAndEveryFlippedBitOfTextInEachContainer) {
  const NoCerr quiet;
  for (const BinFormat format : {BinFormat::Json, BinFormat::JsonZlib, BinFormat::JsonZstd}) {
    SCOPED_TRACE(static_cast<char>(format));
    const Model model = emptyModel();
    testsupport::fillReferences(model);
    const std::string good = saved(model->getTopLevelElements(), format);
    for (std::size_t size = 1; size < good.size(); ++size) {
      const bool misses = good.find_first_not_of('\xff', size) != std::string::npos;  // see above
      EXPECT_TRUE(outcomeOf(good.substr(0, size)) == Outcome::Exception || !misses) << size;
    }
    EXPECT_GE(flipEveryBit(good, 0), 6U);
  }
}

}  // namespace
}  // namespace quillon::nimbo
