#include <cmath>
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/io/ParseError.h>

#include "ModelLoader.h"
#include "framework/tarn/kern/io/JsonTestModel.h"

namespace tarn::kern::io {
namespace {

using namespace jsontest;  // NOLINT: the vocabulary of these tests
using testing::HasSubstr;

RawElement raw(const ustring& className, std::uint8_t last, std::vector<RawProperty> properties = {}) {
  return {u"jsontest." + className, uuidOf(last), std::move(properties), {}};
}

Model loaded(const std::vector<RawElement>& roots) {
  const Model model = emptyModel();
  ModelLoader loader(model, "a store");
  Transaction transaction = model->beginTransaction(false);
  for (std::size_t i = 0; i < roots.size(); ++i) loader.load(roots[i], "roots[" + std::to_string(i) + "]");
  loader.finish();
  transaction.commit(boost::none);
  loader.destroyDangling();
  return model;
}

std::string errorOfPlain(const char16_t* property, RawValue value) {
  value.position = {7, 3};
  try {
    static_cast<void>(loaded({raw(u"Plain", 1, {{property, std::move(value)}})}));
  } catch (const ParseError& error) {
    return error.what();
  }
  return "no error";
}

TEST(ModelLoader, TakesTheTextFormOfEveryPlainType) {
  const Model model = loaded({raw(u"Plain", 1,
                                  {{u"string", u"a"},
                                   {u"stdString", ustring{u'a', 0xDCFF}},
                                   {u"integer", u"-5"},
                                   {u"uInteger64", u"18446744073709551615"},
                                   {u"real", u"1e3"},
                                   {u"requiredReal", u"-inf"},
                                   {u"boolean", u"true"},
                                   {u"requiredBoolean", u"0"},
                                   {u"uUID", u"00000000-0000-0000-0000-0000000000ab"},
                                   {u"dateTime", u"2021-02-03T00:00:04"},
                                   {u"color", u"green"},
                                   {u"requiredColor", u"-99"},
                                   {u"money", u"3 EUR"},
                                   {u"manyInteger", RawValue::List{u"1", RawNumber{"2"}}},
                                   {u"map", RawValue::Map{{u"z", u"1"}, {u"a", u"2"}}}})});
  const ModelElement plain = elementOf(model, 1);
  EXPECT_EQ(plain->get<ustring>(u"string"), u"a");
  EXPECT_EQ(plain->get<std::string>(u"stdString"), "a\xFF");
  EXPECT_EQ(plain->get<std::int32_t>(u"integer"), -5);
  EXPECT_EQ(plain->get<std::uint64_t>(u"uInteger64"), 18446744073709551615U);
  EXPECT_EQ(plain->get<double>(u"real"), 1000.0);
  EXPECT_TRUE(std::isinf(plain->get<double>(u"requiredReal")));
  EXPECT_TRUE(plain->get<bool>(u"boolean"));
  EXPECT_FALSE(plain->get<bool>(u"requiredBoolean"));
  EXPECT_EQ(plain->get<boost::uuids::uuid>(u"uUID"), uuidOf(0xAB));
  EXPECT_EQ(plain->get<std::int64_t>(u"color"), 1);
  EXPECT_EQ(plain->get<std::int64_t>(u"requiredColor"), -99);
  EXPECT_EQ(plain->get<Money>(u"money"), (Money{3, u"EUR"}));
  EXPECT_EQ(plain->peekCollection<std::int32_t>(plain->property(u"manyInteger")), (std::vector<std::int32_t>{1, 2}));
  EXPECT_EQ(plain->get<StringToStringMap>(plain->property(u"map")), (StringToStringMap{{u"z", u"1"}, {u"a", u"2"}}));
}

TEST(ModelLoader, TakesReferencesThatNameNoClass) {
  const Model model = loaded({raw(u"Node", 1, {{u"next", RawReference{u"", uuidOf(2)}}}), raw(u"Node", 2)});
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"next"), elementOf(model, 2));
}

TEST(ModelLoader, FillsCollectionsInTheirOrder) {
  const Model model = loaded({raw(u"Node", 1,
                                  {{u"children", RawValue::List{raw(u"Node", 3), raw(u"Special", 2)}},
                                   {u"path", RawValue::List{RawValue(), RawReference{u"jsontest.Node", uuidOf(3)}}}})});
  EXPECT_EQ(elementOf(model, 1)->contents(), (std::vector{elementOf(model, 3), elementOf(model, 2)}));
  const auto path = elementOf(model, 1)->peekElements(elementOf(model, 1)->property(u"path"));
  ASSERT_EQ(path.size(), 2U);
  EXPECT_EQ(path[0], nullptr);
}

TEST(ModelLoader, TakesDataValuesWithAndWithoutTypeName) {
  RawData point;
  point.properties = {{u"x", RawNumber{"1"}}, {u"label", RawValue()}};
  RawData named = point;
  named.typeName = u"jsontest.Point";
  const Model model =
      loaded({raw(u"Plain", 1, {{u"point", point}, {u"manyPoint", RawValue::List{RawValue(named), RawValue(point)}}})});
  EXPECT_EQ(elementOf(model, 1)->get<ReflectiveDataType>(u"point").get<std::int32_t>(u"x"), 1);
  named.typeName = u"jsontest.Line";
  EXPECT_EQ(
      errorOfPlain(u"point", named),
      "a store:7:3, at roots[0].point: expected a data value of jsontest.Point, found a data value of jsontest.Line");
}

TEST(ModelLoader, NamesWhatDoesNotFitAndItsPlace) {
  EXPECT_EQ(errorOfPlain(u"integer8", RawNumber{"128"}),
            "a store:7:3, at roots[0].integer8: expected a whole number from -128 to 127, found the number 128");
  EXPECT_EQ(
      errorOfPlain(u"manyInteger", RawValue::List{u"1", u"x"}),
      "a store, at roots[0].manyInteger[1]: expected a whole number from -2147483648 to 2147483647, found the text "
      "\"x\"");
  EXPECT_THAT(errorOfPlain(u"integer", RawNumber{"1.5"}), HasSubstr("expected a whole number"));
  EXPECT_THAT(errorOfPlain(u"real", u"1,5"), HasSubstr("expected a number within the range of a Real"));
  EXPECT_THAT(errorOfPlain(u"boolean", u"yes"), HasSubstr("expected true or false, found the text \"yes\""));
  EXPECT_THAT(errorOfPlain(u"string", RawNumber{"1"}), HasSubstr("expected a text, found the number 1"));
  EXPECT_THAT(errorOfPlain(u"stdString", ustring(1, 0xD800)), HasSubstr("may stand alone"));
  EXPECT_THAT(errorOfPlain(u"uUID", u"x"), HasSubstr("expected a uuid such as"));
  EXPECT_THAT(errorOfPlain(u"dateTime", u"x"), HasSubstr("expected a time such as"));
  EXPECT_THAT(errorOfPlain(u"color", u"grean"), HasSubstr("did you mean \"green\"?"));
  EXPECT_THAT(errorOfPlain(u"money", u"x"), HasSubstr("money is an amount"));
  EXPECT_THAT(errorOfPlain(u"map", u"x"), HasSubstr("expected a map of texts, found the text \"x\""));
  EXPECT_THAT(errorOfPlain(u"manyInteger", u"x"), HasSubstr("expected a list of values"));
  EXPECT_THAT(errorOfPlain(u"nteger", u"x"), HasSubstr("did you mean \"integer\"?"));
  const auto errorOf = [](const RawElement& root) {
    try {
      static_cast<void>(loaded({root}));
    } catch (const ParseError& error) {
      return std::string(error.what());
    }
    return std::string("no error");
  };
  EXPECT_THAT(errorOf(raw(u"Nod", 1)), HasSubstr("did you mean \"jsontest.Node\"?"));
  EXPECT_THAT(errorOf(raw(u"Shape", 1)), HasSubstr("abstract"));
  EXPECT_THAT(errorOf(raw(u"Node", 0)), HasSubstr("a uuid that is not nil"));
  EXPECT_THAT(errorOf(raw(u"Node", 1, {{u"next", raw(u"Stranger", 2)}})),
              HasSubstr("at roots[0].next: expected an element of jsontest.Node"));
  EXPECT_THAT(errorOf(raw(u"Node", 1, {{u"next", u"x"}})), HasSubstr("expected an element or a reference to one"));
  EXPECT_THAT(errorOf(raw(u"Node", 1, {{u"others", u"x"}})), HasSubstr("expected a list of elements"));
  EXPECT_THAT(errorOf(raw(u"Node", 1, {{u"only", raw(u"Node", 1)}})), HasSubstr("already exists in the target model"));
}

TEST(ModelLoader, DestroysWhatNeverCameAndKeepsWhatWasThere) {
  const Model model = emptyModel();
  newElement(model, u"Node", 5);
  ModelLoader loader(model, "a store");
  Transaction transaction = model->beginTransaction(false);
  loader.load(raw(u"Node", 1, {{u"next", RawReference{u"", uuidOf(5)}}, {u"left", RawReference{u"", uuidOf(6)}}}));
  loader.mention(raw(u"Node", 7, {{u"nonsense", u"x"}}));
  EXPECT_TRUE(elementOf(model, 7));
  loader.finish();
  transaction.commit(boost::none);
  loader.destroyDangling();
  EXPECT_EQ(model->getElementCount(), 2U);
  EXPECT_FALSE(elementOf(model, 1)->get<ModelElement>(u"left"));
  EXPECT_EQ(elementOf(model, 1)->get<ModelElement>(u"next"), elementOf(model, 5));
}

}  // namespace
}  // namespace tarn::kern::io
