#include <cstddef>
#include <cstring>
#include <functional>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include <tarn/kern/Model.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "quillon/nimbo/BinSerializer.h"
#include "quillon/nimbo/Compression.h"
#include "quillon/nimbo/CustomBinSerializerBase.h"
#include "support/AnnotatedHex.h"
#include "support/MoneySerializer.h"
#include "support/Saving.h"
#include "support/TestMetaModel.h"

namespace {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::ModelElement;
using kern::Value;
using quillon::nimbo::BinFormat;
using quillon::nimbo::BinSerializer;
using quillon::nimbo::CustomBinSerializerBase;
using quillon::nimbo::StreamIArchive;
using quillon::nimbo::StreamOArchive;
using testsupport::emptyModel;
using testsupport::messageOfFailure;
using testsupport::Money;
using testsupport::moneySerializer;
using testsupport::MoneySerializer;
using testsupport::newSample;
using testsupport::saved;
using testsupport::uuidEndingIn;

/// A custom type of its own for one test, since nobody can unregister a serializer, and a class with one such property.
struct CustomType {
  meta::Type type;
  meta::Class owner;

  explicit CustomType(const std::u16string& package) {
    meta::PackageBuilder builder(package);
    builder.addPrimitive<Money>(
        u"Coin", [](const Money&) { return std::u16string(); }, [](const std::u16string&) { return Money(); });
    builder.addClass(u"Purse").attribute(u"coin", u"Coin").required();
    const meta::Package registered = builder.registerPackage();
    type = registered->getTypes().at(u"Coin");
    owner = kern::narrow<meta::Class>(registered->getTypes().at(u"Purse"));
  }

  [[nodiscard]] ModelElement newPurse(const kern::Model& model, std::int64_t cents) const {
    ModelElement purse = owner->instantiate(model, uuidEndingIn(1));
    purse->set(purse->property(u"coin"), Money{cents});
    return purse;
  }
};

/// Does with the archive what the test says.
class Scripted : public MoneySerializer {
 public:
  using Script = std::function<void(StreamOArchive&)>;
  Scripted(const meta::Type& type, Script script) : MoneySerializer(type), fScript(std::move(script)) {}
  void serialize(StreamOArchive& archive, const Value&) const override { fScript(archive); }

 private:
  Script fScript;
};

}  // namespace

TEST(CustomBinSerializer, IsFoundUnderItsType) {
  EXPECT_EQ(CustomBinSerializerBase::getCustomBinSerializer(testsupport::sampleMetaModel().type(u"Money")),
            &moneySerializer());
  EXPECT_EQ(moneySerializer().getType(), testsupport::sampleMetaModel().type(u"Money"));
}

TEST(CustomBinSerializer, IsNotFoundUnderOtherTypes) {
  EXPECT_EQ(CustomBinSerializerBase::getCustomBinSerializer(testsupport::sampleMetaModel().type(u"Opaque")), nullptr);
  EXPECT_EQ(CustomBinSerializerBase::getCustomBinSerializer(testsupport::sampleMetaModel().type(u"Box")), nullptr);
  EXPECT_EQ(CustomBinSerializerBase::getCustomBinSerializer(meta::Type()), nullptr);
}

TEST(CustomBinSerializer, StaysTheOneThatCameFirst) {
  const CustomType custom(u"customFirst");
  const MoneySerializer first(custom.type);
  const MoneySerializer second(custom.type);
  EXPECT_EQ(CustomBinSerializerBase::getCustomBinSerializer(custom.type), &first);
}

TEST(CustomBinSerializer, IsNotRegisteredByCopying) {
  const CustomType custom(u"customCopy");
  const CustomType other(u"customCopyOther");
  const auto first = std::make_unique<MoneySerializer>(custom.type);
  const MoneySerializer copy(*first);
  EXPECT_EQ(copy.getType(), custom.type);
  EXPECT_EQ(CustomBinSerializerBase::getCustomBinSerializer(custom.type), first.get());

  MoneySerializer assigned(other.type);
  assigned = *first;
  EXPECT_EQ(assigned.getType(), custom.type);
  EXPECT_EQ(CustomBinSerializerBase::getCustomBinSerializer(custom.type), first.get());
  EXPECT_EQ(CustomBinSerializerBase::getCustomBinSerializer(other.type), &assigned);
}

TEST(CustomBinSerializer, IsNotForgottenWhenItDies) {
  const CustomType custom(u"customDying");
  const void* address = nullptr;
  {
    const MoneySerializer shortLived(custom.type);
    address = &shortLived;
  }
  EXPECT_EQ(CustomBinSerializerBase::getCustomBinSerializer(custom.type), address);
}

TEST(CustomBinSerializer, HasItsOperationsInTheAgreedOrder) {
  // A plug-in that was built apart from us calls them by their place: the destructor's two entries, then these.
  struct Recorder : CustomBinSerializerBase {
    using CustomBinSerializerBase::CustomBinSerializerBase;
    void serialize(StreamOArchive&, const Value&) const override { called = "serialize"; }
    Value parse(StreamIArchive&) const override {
      called = "parse";
      return Value(std::int32_t{0});
    }
    std::string parseToJSON(StreamIArchive&) const override {
      called = "parseToJSON";
      return {};
    }
    mutable std::string called;
  };
  const CustomType custom(u"customSlots");
  const Recorder recorder(custom.type);
  const CustomBinSerializerBase& base = recorder;
  const auto slotOf = [](auto operation) {
    std::ptrdiff_t representation[2];  // of a member pointer here: one more than the offset of a virtual one, and 0
    static_assert(sizeof representation == sizeof operation);
    std::memcpy(representation, &operation, sizeof representation);
    return (representation[0] - 1) / static_cast<std::ptrdiff_t>(sizeof(void*));
  };
  EXPECT_EQ(slotOf(&CustomBinSerializerBase::serialize), 2);
  EXPECT_EQ(slotOf(&CustomBinSerializerBase::parse), 3);
  EXPECT_EQ(slotOf(&CustomBinSerializerBase::parseToJSON), 4);
  std::stringstream stream;
  StreamOArchive out(stream);
  StreamIArchive in(stream);
  base.serialize(out, Value(std::int32_t{0}));
  EXPECT_EQ(recorder.called, "serialize");
  EXPECT_EQ(base.parse(in).get<std::int32_t>(), 0);
  EXPECT_EQ(recorder.called, "parse");
  EXPECT_EQ(base.parseToJSON(in), "");
  EXPECT_EQ(recorder.called, "parseToJSON");
}

TEST(CustomBinSerializer, WritesBetweenWhatTheLibraryWrites) {
  const CustomType custom(u"between");
  std::string before;
  const Scripted serializer(custom.type, [&](StreamOArchive& archive) {
    before = dynamic_cast<std::ostringstream&>(*archive.stream()).str();
    archive.stream()->write("raw", 3);
    archive << std::int16_t{5};
  });
  const kern::Model model = emptyModel();
  const ModelElement purse = custom.newPurse(model, 1);
  const std::string bytes = saved({purse});
  ASSERT_GT(before.size(), 55U);
  EXPECT_EQ(bytes.substr(0, before.size()), before);
  EXPECT_BYTES(bytes.substr(before.size() - 41), R"(
    4e                                                                          # "N": a required custom value
    02 00 00 00 00 00 00 00                                                     # type +2
    0c 00 00 00 00 00 00 00                                                     # 12 code units
    62 00 65 00 74 00 77 00 65 00 65 00 6e 00 2e 00 43 00 6f 00 69 00 6e 00     # between.Coin
    72 61 77  05 00                                                             # the serializer's own
    00 00 00 00 00 00 00 00                                                     # end of the properties
    6e
    00 00 00 00 00 00 00 00
  )");
}

TEST(CustomBinSerializer, WritesIntoThePayloadOfCompressedContainers) {
  const kern::Model model = emptyModel();
  const ModelElement element = newSample(model, u"RequiredMoney", 1);
  element->set(element->property(u"value"), Money{-2});
  const std::string plain = saved({element});
  const std::string container = saved({element}, BinFormat::BinaryZstd);
  EXPECT_EQ(quillon::nimbo::uncompressZSTD({container.begin() + 9, container.end()}),
            plain.substr(1, plain.size() - 9));
}

TEST(CustomBinSerializer, MayRemoveElementsThatAreStillToBeWritten) {
  meta::PackageBuilder builder(u"customRemoving");
  builder.addPrimitive<Money>(
      u"Coin", [](const Money&) { return std::u16string(); }, [](const std::u16string&) { return Money(); });
  auto& purse = builder.addClass(u"Purse");
  purse.attribute(u"coin", u"Coin").required();
  purse.composite(u"inner", purse).many();
  const meta::Package package = builder.registerPackage();
  const auto purseClass = kern::narrow<meta::Class>(package->getTypes().at(u"Purse"));
  const kern::Model model = emptyModel();
  const ModelElement outer = purseClass->instantiate(model, uuidEndingIn(1));
  const Value inner = outer->getPropertyValue(outer->property(u"inner"), kern::ReflectionPrivateTag::PUBLIC_ACCESS);
  for (std::uint8_t last = 2; last <= 4; ++last) {
    inner.toElementCollection().addElement(purseClass->instantiate(model, uuidEndingIn(last)));
  }
  int calls = 0;
  const Scripted serializer(package->getTypes().at(u"Coin"), [&](StreamOArchive&) {
    if (++calls == 2) inner.toElementCollection().clear();  // while the first of the three is being written
  });
  const std::string bytes = saved({outer});
  EXPECT_EQ(calls, 2);
  EXPECT_BYTES(bytes.substr(bytes.size() - 41), R"(
    00 00 00 00 00 00 00 00   # end of the first one's properties
    00 00 00 00 00 00 00 00   # the other two, which are no more
    00 00 00 00 00 00 00 00
    00 00 00 00 00 00 00 00   # end of the outer one's properties
    6e
    00 00 00 00 00 00 00 00
  )");
}

TEST(CustomBinSerializer, EndsTheSavingByAnException) {
  const CustomType custom(u"customThrowing");
  const Scripted serializer(custom.type, [](StreamOArchive& archive) {
    archive.stream()->put('!');
    throw std::out_of_range("no such coin");
  });
  const kern::Model model = emptyModel();
  const ModelElement purse = custom.newPurse(model, 1);
  std::ostringstream stream;
  EXPECT_THROW(BinSerializer().serialize({purse}, stream, BinFormat::Binary), std::out_of_range);
  EXPECT_EQ(stream.str().back(), '!');
  EXPECT_EQ(stream.str().front(), 'B');
  stream.str({});
  EXPECT_THROW(BinSerializer().serialize({purse}, stream, BinFormat::BinaryZlib), std::out_of_range);
  EXPECT_EQ(stream.str(), "Z");
}

TEST(CustomBinSerializer, IsAskedForEachEntryOfACollection) {
  const kern::Model model = emptyModel();
  const ModelElement element = newSample(model, u"ManyMoney", 1);
  const Value value = element->getPropertyValue(element->property(u"value"), kern::ReflectionPrivateTag::PUBLIC_ACCESS);
  const meta::Type money = testsupport::sampleMetaModel().type(u"Money");
  for (const std::int64_t cents : {7, 8}) {
    value.toPrimitiveCollection().addValue(Value(kern::ValueMeta(money, kern::ValueFlags::Single), Money{cents}));
  }
  const std::string bytes = saved({element});
  EXPECT_BYTES(bytes.substr(bytes.size() - 91), R"(
    5b  4e                                                                      # many custom values
    02 00 00 00 00 00 00 00                                                     # two
    02 00 00 00 00 00 00 00                                                     # type +2
    0c 00 00 00 00 00 00 00                                                     # 12 code units
    73 00 61 00 6d 00 70 00 6c 00 65 00 2e 00 4d 00 6f 00 6e 00 65 00 79 00     # sample.Money
    07 00 00 00 00 00 00 00                                                     # the serializer's own
    fe ff ff ff ff ff ff ff                                                     # type -2
    08 00 00 00 00 00 00 00                                                     # the serializer's own
    00 00 00 00 00 00 00 00                                                     # end of the properties
    6e
    00 00 00 00 00 00 00 00
  )");
}

TEST(CustomBinSerializer, IsMissedWhenATypeHasNone) {
  const kern::Model model = emptyModel();
  const ModelElement element = newSample(model, u"Opaques", 1);
  element->set(element->property(u"value"), Money{1});
  std::ostringstream stream;
  EXPECT_EQ(messageOfFailure([&] { BinSerializer().serialize({element}, stream, BinFormat::Binary); }),
            "Limitation: Unexpected type encountered during binary serialization: Opaque");
  EXPECT_EQ(stream.str().back(), 'N');
}
