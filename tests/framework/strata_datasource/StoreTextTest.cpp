#include <string>

#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>
#include <tarn/kern/io/JSONParser.h>
#include <tarn/kern/io/JSONSerializer.h>
#include <tarn/kern/io/ParseError.h>
#include <tarn/kern/io/XmlParser.h>
#include <tarn/kern/io/XmlSerializer.h>

#include "framework/strata_datasource/StoreTestSupport.h"
#include "framework/tarn/kern/KernelTestModel.h"
#include "framework/tarn/kern/RandomEditor.h"

using namespace tarn::kern;  // NOLINT: the vocabulary of these tests

namespace {

/// A model whose elements still lie in its store gives the text that it gives from memory, and takes one in likewise.
class StoreTextTest : public testing::Test {
 protected:
  void SetUp() override {
    fPlain = storetest::newModel();
    kerneltest::RandomEditor editor(fPlain, 11);
    for (int i = 0; i < 400; ++i) editor.edit();
    storetest::bindTo(fPlain, fPath);
    fPlain->resetDataSource();
  }

  template <class Serializer>
  static std::string textOf(const Model& model) {
    std::string text;
    Serializer().serialize(model, io::SerializationOutput::forUTF8String(text));
    return text;
  }

  template <class Serializer, class Parser>
  void expectTheSameText() {
    const std::string expected = textOf<Serializer>(fPlain);
    EXPECT_GT(fPlain->getElementCount(), 10U);
    {
      const Model bound = storetest::open(fPath);
      EXPECT_EQ(textOf<Serializer>(bound), expected);
    }
    const std::string path = fFolder / "other.db";
    {
      const Model other = storetest::open(path);
      Parser parser;
      parser.setModel(other);
      Transaction reading = other->beginTransaction(false);
      parser.parseString(expected);
      reading.commit(boost::none);
    }
    const Model again = storetest::open(path);
    EXPECT_EQ(textOf<Serializer>(again), expected);
    boost::optional<ModelDifference> difference;
    EXPECT_TRUE(modelsEqual(again, fPlain, &difference)) << difference->text();
  }

  storetest::Folder fFolder;
  std::string fPath = fFolder / "model.db";
  Model fPlain;
};

}  // namespace

TEST_F(StoreTextTest, JsonIsTheSame) { expectTheSameText<io::JSONSerializer, io::JSONParser>(); }

TEST_F(StoreTextTest, XmlIsTheSame) { expectTheSameText<io::XmlSerializer, io::XmlParser>(); }

TEST_F(StoreTextTest, ATextThatRefersIntoTheStoreFindsItThere) {
  const Model bound = storetest::open(fPath);
  const std::string uuid = [&] {
    const std::string json = textOf<io::JSONSerializer>(fPlain);
    const std::string mark = R"("entries":[{"type":"kerneltest.Node","uuid":")";
    return json.substr(json.find(mark) + mark.size(), 36);
  }();
  const std::string text =
      R"({"version":"1.0","packageUris":["urn:kerneltest"],"entries":[{"type":"kerneltest.Node",)"
      R"("uuid":"00000000-0000-0000-0000-000000000077","content":{"name":"new","next":{"type":"kerneltest.Node","uuid":")" +
      uuid + R"("}}}]})";
  io::JSONParser parser;
  parser.setModel(bound);
  parser.parseString(text);
  EXPECT_EQ(bound->getElementCount(), fPlain->getElementCount() + 1);
  const ModelElement made = bound->getTopLevelElements().back();
  EXPECT_EQ(made->get<ModelElement>(u"next"), bound->getTopLevelElements().front());
}

TEST_F(StoreTextTest, ATextThatIsRefusedLeavesTheStoreAsItWas) {
  const std::string before = storetest::bytesOf(fPath);
  {
    const Model bound = storetest::open(fPath);
    io::JSONParser parser;
    parser.setModel(bound);
    std::string text = textOf<io::JSONSerializer>(fPlain);  // whose elements are all there already
    EXPECT_THROW(parser.parseString(text), io::ParseError);
    EXPECT_EQ(bound->getElementCount(), fPlain->getElementCount());
  }
  EXPECT_EQ(storetest::bytesOf(fPath), before);
}
