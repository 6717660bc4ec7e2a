#include <cstdint>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <tarn/kern/Collections.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "quillon/nimbo/BinFormat.h"
#include "support/Loading.h"
#include "support/SampleContent.h"
#include "support/Saving.h"

/// A model that goes through one format after the other stays what it is.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using testsupport::emptyModel;
using testsupport::loaded;
using testsupport::saved;

/// The text without the units that XML has no characters for.
std::u16string carried(const std::u16string& text) {
  std::u16string carried;
  for (const char16_t unit : text) {
    const bool isRefused = (unit < 0x20 && unit != u'\t' && unit != u'\n' && unit != u'\r') ||
                           (unit >= 0xD800 && unit < 0xE000) || unit >= 0xFFFE;
    carried += isRefused ? u'?' : unit;
  }
  return carried;
}

void leaveOutWhatXmlRefuses(const Model& model) {
  const kern::ReflectionPrivateTag& access = kern::ReflectionPrivateTag::PRIVILEGED_ACCESS;
  for (const kern::ModelElement& element : model->getAllElements(kern::FindElementBehavior::InMemory)) {
    for (const kern::meta::Property& property : element->getMetaClass()->getAllPrimitiveProperties()) {
      if (property->isOmitted || property->getType() != kern::meta::StandardTypes::stringMeta) continue;
      const kern::Value value = element->getPropertyValue(property, access);
      if (property->isCollection()) {
        std::vector<kern::Value> texts = value.toPrimitiveCollection().getAllValues();
        for (kern::Value& text : texts) text = kern::Value(carried(text.get<std::u16string>()));
        value.toPrimitiveCollection().assignValues(std::move(texts));
      } else if (value.hasObject()) {
        element->set(property, carried(value.get<std::u16string>()), access);
      }
    }
  }
}

template <class Serializer, class Parser>
Model throughText(const Model& model) {
  std::string text;
  Serializer serializer;
  serializer.getCustomizer()->setShouldSkipDefaultValues(true);
  serializer.serialize(model, kern::io::SerializationOutput::forUTF8String(text));
  const Model again = emptyModel();
  Parser parser;
  parser.setModel(again);
  parser.parseString(text);
  return again;
}

Model through(std::size_t format, const Model& model) {
  switch (format) {
    case 0:
      return throughText<kern::io::JSONSerializer, kern::io::JSONParser>(model);
    case 1:
      return throughText<kern::io::XmlSerializer, kern::io::XmlParser>(model);
    case 2:
      return loaded(saved(model->getTopLevelElements(), BinFormat::BinaryZlib));
    default:
      return loaded(saved(model->getTopLevelElements(), BinFormat::BinaryZstd));
  }
}

TEST(FormatsRoundTrip, EndsInTheSameBytesWhateverTheOrder) {
  std::mt19937 random(20);
  for (std::uint32_t seed = 1; seed <= 40; ++seed) {
    SCOPED_TRACE(seed);
    Model model = emptyModel();
    testsupport::fillByChance(model, seed, 3 * seed);
    leaveOutWhatXmlRefuses(model);
    const std::string bytes = saved(model->getTopLevelElements());
    for (int step = 0; step < 6; ++step) model = through(random() % 4, model);
    ASSERT_TRUE(saved(model->getTopLevelElements()) == bytes);
  }
}

}  // namespace
}  // namespace quillon::nimbo
