#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Model.h>
#include <tarn/kern/Transaction.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"
#include "quillon/nimbo/Compression.h"
#include "support/AnnotatedHex.h"
#include "support/LiteralWriter.h"
#include "support/Sanitizers.h"
#include "support/Saving.h"
#include "support/TestMetaModel.h"

namespace {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::Model;
using kern::ModelElement;
using kern::Value;
using quillon::nimbo::BinFormat;
using quillon::nimbo::BinSerializationException;
using quillon::nimbo::BinSerializer;
using quillon::nimbo::StreamOArchive;
using testing::ElementsAre;
using testing::IsEmpty;
using testsupport::CerrCapture;
using testsupport::documentedHex;
using testsupport::emptyModel;
using testsupport::LogCapture;
using testsupport::messageOfFailure;
using testsupport::newSample;
using testsupport::saved;
using testsupport::uuidEndingIn;
using testsupport::withoutLine;

constexpr BinFormat kBinaryFormats[] = {BinFormat::Binary, BinFormat::BinaryZlib, BinFormat::BinaryZstd};
constexpr BinFormat kJsonFormats[] = {BinFormat::Json, BinFormat::JsonZlib, BinFormat::JsonZstd};
constexpr char kDocument[] = "docs/formats/binary.md";

boost::uuids::uuid uuidOfTheWorkedExample() {
  return {{0x00, 0x11, 0x22, 0x33, 0x44, 0x55, 0x66, 0x77, 0x88, 0x99, 0xaa, 0xbb, 0xcc, 0xdd, 0xee, 0xff}};
}

ModelElement newNode(const Model& model, const boost::uuids::uuid& uuid) {
  return testsupport::demoMetaModel().node->instantiate(model, uuid);
}

void addTo(const ModelElement& element, const std::u16string& collection, const ModelElement& member) {
  const auto property = element->property(collection);
  Value value = element->getPropertyValue(property, kern::ReflectionPrivateTag::PUBLIC_ACCESS);
  value.toElementCollection().addElement(member);
}

/// What stands between the letter and the length of a "B" container.
std::string payloadOf(const std::vector<ModelElement>& roots) {
  const std::string container = saved(roots);
  return container.substr(1, container.size() - 9);
}

std::string literalPayloadOf(const std::vector<ModelElement>& roots) {
  std::ostringstream stream;
  testsupport::writeLiterally(stream, roots);
  return std::move(stream).str();
}

constexpr std::size_t kUrisOfSample = 8 + 8 + 2 * 10;

std::string behindUris(const std::string& payload) { return payload.substr(kUrisOfSample); }

/// What follows the flag of the only root of a payload of "sample": its properties and what ends the stream.
std::string propertiesOf(const ModelElement& root) {
  const std::size_t nameBytes = 2 * root->getMetaClass()->getQualifiedName().size();
  return behindUris(payloadOf({root})).substr(1 + 8 + 8 + 8 + nameBytes + 16 + 1);
}

}  // namespace

// --- Containers.

TEST(BinSerializer, WritesTheWorkedExampleOfTheDocument) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidOfTheWorkedExample());
  node->set(u"count", std::int32_t{7});
  node->set(u"label", u"ab");
  EXPECT_BYTES(saved({node}), documentedHex(kDocument, "worked-example"));
}

TEST(BinSerializer, WritesAnEmptyContainerForNoElements) {
  EXPECT_BYTES(saved({}), documentedHex(kDocument, "empty-container"));
}

TEST(BinSerializer, MarksAnAbsentOptionalValueByOneByte) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidOfTheWorkedExample());
  node->set(u"count", std::int32_t{7});
  const std::string bytes = saved({node});
  ASSERT_EQ(bytes.size(), 180U - 12U);
  EXPECT_BYTES(bytes.substr(150), R"(
    6e                         # "n": no label
    00 00 00 00 00 00 00 00    # end of the properties
    6e                         # end of the stream
    00 00 00 00 00 00 00 00    # length of the empty block
  )");
}

TEST(BinSerializer, NamesAClassOnceForAllItsElements) {
  const Model model = emptyModel();
  const ModelElement first = newNode(model, uuidOfTheWorkedExample());
  const ModelElement second = newNode(model, uuidEndingIn(2));
  const std::string bytes = saved({first, second});
  EXPECT_BYTES(bytes.substr(159), R"(
    6d                                                # a root
    02 00 00 00 00 00 00 00                           # element +2
    ff ff ff ff ff ff ff ff                           # type -1
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02   # uuid
    54                                                # in full
    ff ff ff ff ff ff ff ff                           # property -1, count
    69  00 00 00 00                                   # a required Integer
    fe ff ff ff ff ff ff ff                           # property -2, label
    6e                                                # absent
    00 00 00 00 00 00 00 00                           # end of the properties
    6e
    00 00 00 00 00 00 00 00
  )");
}

TEST(BinSerializer, SavesAsZstdByDefault) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidEndingIn(1));
  EXPECT_EQ(saved({node}, BinFormat::Default), saved({node}, BinFormat::BinaryZstd));
  EXPECT_EQ(saved({node}, BinFormat::Default).front(), 'z');
}

TEST(BinSerializer, CompressesTheSamePayloadThatBinaryHolds) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidEndingIn(1));
  for (const BinFormat format : {BinFormat::BinaryZlib, BinFormat::BinaryZstd}) {
    const std::string container = saved({node}, format);
    ASSERT_GT(container.size(), 9U);
    EXPECT_EQ(container.front(), static_cast<char>(format));
    std::uint64_t size = 0;
    std::copy_n(container.data() + 1, sizeof size, reinterpret_cast<char*>(&size));
    EXPECT_EQ(size, container.size() - 9);
    const std::vector<std::uint8_t> bytes(container.begin() + 9, container.end());
    EXPECT_EQ(format == BinFormat::BinaryZlib ? quillon::nimbo::uncompress(bytes.data(), bytes.size())
                                              : quillon::nimbo::uncompressZSTD(bytes),
              payloadOf({node}));
  }
}

TEST(BinSerializer, WritesAFormatOfNoLetterAsThatByteAlone) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidEndingIn(1));
  EXPECT_EQ(saved({node}, static_cast<BinFormat>(65)), "A");
  EXPECT_EQ(saved({node}, static_cast<BinFormat>(200)), "\xC8");
}

TEST(BinSerializer, AppendsToWhatTheStreamHolds) {
  std::ostringstream stream;
  stream << "magic";
  StreamOArchive archive(stream);
  BinSerializer serializer;
  serializer.serialize({}, archive, BinFormat::Binary);
  serializer.serialize({}, archive, BinFormat::Binary);
  EXPECT_EQ(stream.str(), "magic" + saved({}) + saved({}));
}

TEST(BinSerializer, WritesJsonTextIntoItsContainersAndLeavesTheTablesAlone) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidEndingIn(1));
  const std::string expected = R"({"version":"1.0","packageUris":["urn:demo"],"entries":[{"type":"demo.Node",)"
                               R"("uuid":"00000000-0000-0000-0000-000000000001","content":null}]})";
  for (const BinFormat format : kJsonFormats) {
    std::ostringstream stream;
    BinSerializer serializer;
    serializer.serialize({node}, stream, format);
    EXPECT_EQ(stream.str().front(), static_cast<char>(format));
    std::istringstream again(stream.str());
    EXPECT_EQ(quillon::nimbo::BinParser().parseToJSON(again), expected);
    EXPECT_NO_THROW(serializer.serialize({node}, stream, BinFormat::Binary));
  }
}

TEST(BinSerializer, IgnoresAFailedStream) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidEndingIn(1));
  for (const BinFormat format : kBinaryFormats) {
    std::ostringstream stream;
    stream.setstate(std::ios_base::badbit);
    EXPECT_NO_THROW(BinSerializer().serialize({node}, stream, format));
    EXPECT_EQ(stream.str(), "");
  }
}

namespace {

/// Takes so many bytes and then no more.
class FullDisk : public std::streambuf {
 public:
  explicit FullDisk(std::size_t room) : fRoom(room) {}
  [[nodiscard]] const std::string& bytes() const { return fBytes; }

 protected:
  int_type overflow(int_type byte) override {
    if (fBytes.size() >= fRoom) return traits_type::eof();
    fBytes.push_back(traits_type::to_char_type(byte));
    return byte;
  }

 private:
  std::size_t fRoom;
  std::string fBytes;
};

}  // namespace

TEST(BinSerializer, LetsTheStreamsOwnExceptionOut) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidEndingIn(1));
  FullDisk disk(50);
  std::ostream stream(&disk);
  stream.exceptions(std::ios_base::badbit);
  EXPECT_THROW(BinSerializer().serialize({node}, stream, BinFormat::Binary), std::ios_base::failure);
  EXPECT_EQ(disk.bytes(), saved({node}).substr(0, 50));
}

// --- One object, many runs.

TEST(BinSerializer, StartsAnewWithEachRun) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidEndingIn(1));
  BinSerializer serializer;
  for (const BinFormat format : kBinaryFormats) {
    std::ostringstream first;
    std::ostringstream second;
    serializer.serialize({node}, first, format);
    serializer.serialize({node}, second, format);
    EXPECT_EQ(first.str(), second.str());
    EXPECT_EQ(first.str(), saved({node}, format));
  }
}

TEST(BinSerializer, CanBeCopiedAndMoved) {
  const Model model = emptyModel();
  const ModelElement element = newSample(model, u"Defaults", 1);
  const auto savedBy = [&](BinSerializer& serializer) {
    std::ostringstream stream;
    serializer.serialize({element}, stream, BinFormat::Binary);
    return stream.str();
  };
  const std::string expected = saved({element});
  BinSerializer original;
  EXPECT_EQ(savedBy(original), expected);
  BinSerializer copy(original);
  EXPECT_EQ(savedBy(copy), expected);
  BinSerializer moved(std::move(original));
  EXPECT_EQ(savedBy(moved), expected);
  EXPECT_EQ(savedBy(original), expected);  // NOLINT(bugprone-use-after-move): a spent one can be used again
  BinSerializer assigned;
  assigned = copy;
  EXPECT_EQ(savedBy(assigned), expected);
  assigned = std::move(moved);
  EXPECT_EQ(savedBy(assigned), expected);
  EXPECT_EQ(savedBy(copy), expected);
}

TEST(BinSerializer, CanBeUsedAgainAfterAFailure) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidEndingIn(1));
  const ModelElement unsavable = newSample(model, u"OptionalPoint", 2);
  BinSerializer serializer;
  std::ostringstream stream;
  messageOfFailure([&] { serializer.serialize({node, unsavable}, stream, BinFormat::Binary); });
  stream.str({});
  serializer.serialize({node}, stream, BinFormat::Binary);
  EXPECT_EQ(stream.str(), saved({node}));
}

TEST(BinSerializer, CopyAfterAFailureStartsAnewToo) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidEndingIn(1));
  const ModelElement unsavable = newSample(model, u"OptionalPoint", 2);
  BinSerializer serializer;
  std::ostringstream stream;
  messageOfFailure([&] { serializer.serialize({unsavable}, stream, BinFormat::Binary); });
  BinSerializer copy(serializer);
  BinSerializer moved(std::move(serializer));
  for (BinSerializer* each : {&copy, &moved}) {
    stream.str({});
    each->serialize({node}, stream, BinFormat::Binary);
    EXPECT_EQ(stream.str(), saved({node}));
  }
}

TEST(BinSerializer, GivesTheSameBytesForEqualModels) {
  const auto build = [] {
    const Model model = emptyModel();
    const ModelElement box = newSample(model, u"Box", 1);
    for (std::uint8_t i = 2; i < 50; ++i) {
      const ModelElement part = newSample(model, i % 3 == 0 ? u"BigBox" : u"Box", i);
      addTo(box, u"parts", part);
      addTo(part, u"links", box);
    }
    return model;
  };
  const Model first = build();
  const Model second = build();
  for (const BinFormat format : kBinaryFormats) {
    EXPECT_EQ(saved(first->getTopLevelElements(), format), saved(second->getTopLevelElements(), format));
  }
}

// --- Elements and references.

TEST(BinSerializer, WritesANullRootAsIdZero) {
  EXPECT_BYTES(saved({ModelElement()}), R"(
    42
    00 00 00 00 00 00 00 00    # no used packages: there is no model to ask
    6d                         # a root
    00 00 00 00 00 00 00 00    # no element
    6e
    00 00 00 00 00 00 00 00
  )");
}

TEST(BinSerializer, TakesTheUsedPackagesFromTheFirstElementAlone) {
  const Model model = emptyModel();
  const ModelElement node = newNode(model, uuidEndingIn(1));
  EXPECT_BYTES(saved({ModelElement(), node}).substr(0, 18), R"(
    42
    00 00 00 00 00 00 00 00    # no used packages
    6d  00 00 00 00 00 00 00 00
  )");
}

TEST(BinSerializer, WritesNoPackagesForAnElementThatIsInNoModel) {
  Model model = emptyModel();
  const ModelElement node = newNode(model, uuidEndingIn(1));
  node->destroy();
  std::ostringstream stream;
  EXPECT_THROW(BinSerializer().serialize({node}, stream, BinFormat::Binary), kern::DestroyedElementError);
  EXPECT_BYTES(stream.str(), R"(
    42
    00 00 00 00 00 00 00 00                                 # no used packages
    6d                                                      # a root
    01 00 00 00 00 00 00 00                                 # element +1
    01 00 00 00 00 00 00 00                                 # type +1
    09 00 00 00 00 00 00 00                                 # 9 code units
    64 00 65 00 6d 00 6f 00 2e 00 4e 00 6f 00 64 00 65 00   # demo.Node
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01         # uuid
    54                                                      # the properties cannot be read any more
  )");
}

TEST(BinSerializer, WritesAnElementOfTheMetaModelWithoutProperties) {
  const ModelElement itself = meta::Class::metaClass();  // its class is itself, and no model holds it
  EXPECT_EQ(payloadOf({itself}).substr(0, 9), std::string(8, '\0') + 'm');
  EXPECT_BYTES(payloadOf({itself}).substr(payloadOf({itself}).size() - 10), R"(
    54
    00 00 00 00 00 00 00 00    # no properties
    6e
  )");
}

TEST(BinSerializer, WritesAnElementBehindItsPropertyInFullAndAReferenceWithoutProperties) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  const ModelElement part = newSample(model, u"Box", 2);
  box->set(u"content", part);
  box->set(u"link", part);
  EXPECT_BYTES(behindUris(payloadOf({box})), R"(
    6d                                                # a root
    01 00 00 00 00 00 00 00                           # element +1
    01 00 00 00 00 00 00 00                           # type +1
    0a 00 00 00 00 00 00 00                           # 10 code units
    73 00 61 00 6d 00 70 00 6c 00 65 00 2e 00 42 00 6f 00 78 00   # sample.Box
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01   # uuid
    54                                                # in full
    01 00 00 00 00 00 00 00                           #   property +1
    07 00 00 00 00 00 00 00                           #   7 code units
    63 00 6f 00 6e 00 74 00 65 00 6e 00 74 00         #   content
    6d                                                #   an element
    02 00 00 00 00 00 00 00                           #   element +2
    ff ff ff ff ff ff ff ff                           #   type -1
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02   #   uuid
    54                                                #   in full
    ff ff ff ff ff ff ff ff                           #     property -1, content
    6d  00 00 00 00 00 00 00 00                       #     no element
    02 00 00 00 00 00 00 00                           #     property +2
    04 00 00 00 00 00 00 00                           #     4 code units
    6c 00 69 00 6e 00 6b 00                           #     link
    6d  00 00 00 00 00 00 00 00                       #     no element
    03 00 00 00 00 00 00 00                           #     property +3
    05 00 00 00 00 00 00 00                           #     5 code units
    6c 00 69 00 6e 00 6b 00 73 00                     #     links
    5b  6d  00 00 00 00 00 00 00 00                   #     many elements: none
    04 00 00 00 00 00 00 00                           #     property +4
    04 00 00 00 00 00 00 00                           #     4 code units
    6e 00 61 00 6d 00 65 00                           #     name
    6e                                                #     absent
    05 00 00 00 00 00 00 00                           #     property +5; owner, the way back, is left out
    05 00 00 00 00 00 00 00                           #     5 code units
    70 00 61 00 72 00 74 00 73 00                     #     parts
    5b  6d  00 00 00 00 00 00 00 00                   #     none
    00 00 00 00 00 00 00 00                           #   end of the part's properties
    fe ff ff ff ff ff ff ff                           #   property -2, link
    6d                                                #   an element
    fe ff ff ff ff ff ff ff                           #   element -2
    46                                                #   only referred to
    fd ff ff ff ff ff ff ff                           #   property -3, links
    5b  6d  00 00 00 00 00 00 00 00
    fc ff ff ff ff ff ff ff                           #   property -4, name
    6e
    fb ff ff ff ff ff ff ff                           #   property -5, parts
    5b  6d  00 00 00 00 00 00 00 00
    00 00 00 00 00 00 00 00                           # end of the properties
    6e
  )");
}

TEST(BinSerializer, CompletesAnElementThatWasReferredToFirst) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  const ModelElement part = newSample(model, u"Box", 2);
  box->set(u"link", part);  // "link" comes before "parts"
  addTo(box, u"parts", part);
  const std::string bytes = payloadOf({box});
  EXPECT_THAT(bytes, testing::HasSubstr(testsupport::fromAnnotatedHex(R"(
    6c 00 69 00 6e 00 6b 00                           # link
    6d                                                # an element
    02 00 00 00 00 00 00 00                           # element +2
    ff ff ff ff ff ff ff ff                           # type -1
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02   # uuid
    46                                                # only referred to
  )")));
  EXPECT_THAT(bytes, testing::HasSubstr(testsupport::fromAnnotatedHex(R"(
    70 00 61 00 72 00 74 00 73 00                     # parts
    5b  6d                                            # many elements
    01 00 00 00 00 00 00 00                           # one
    fe ff ff ff ff ff ff ff                           # element -2
    54                                                # now in full
    ff ff ff ff ff ff ff ff                           # property -1
  )")));
  const LogCapture log(300);
  EXPECT_EQ(payloadOf({box}), literalPayloadOf({box}));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(BinSerializer, WritesAnElementTwiceThatIsRootAndPart) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  const ModelElement part = newSample(model, u"Box", 2);
  box->set(u"content", part);
  const std::string once = payloadOf({box});
  const std::string twice = payloadOf({box, part});
  EXPECT_EQ(twice.substr(0, once.size() - 1), once.substr(0, once.size() - 1));
  EXPECT_BYTES(twice.substr(once.size() - 1), R"(
    6d
    fe ff ff ff ff ff ff ff                           # element -2
    54                                                # in full once more
    ff ff ff ff ff ff ff ff  6d  00 00 00 00 00 00 00 00
    fe ff ff ff ff ff ff ff  6d  00 00 00 00 00 00 00 00
    fd ff ff ff ff ff ff ff  5b  6d  00 00 00 00 00 00 00 00
    fc ff ff ff ff ff ff ff  6e
    fb ff ff ff ff ff ff ff  5b  6d  00 00 00 00 00 00 00 00
    00 00 00 00 00 00 00 00
    6e
  )");
}

TEST(BinSerializer, TakesAnElementAsRootHoweverDeepItStands) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  const ModelElement part = newSample(model, u"Box", 2);
  const Model otherModel = emptyModel();
  const ModelElement alone = newSample(otherModel, u"Box", 2);
  addTo(box, u"parts", part);
  EXPECT_EQ(payloadOf({part}), payloadOf({alone}));
}

TEST(BinSerializer, WritesNullMembersOfCollections) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  addTo(box, u"links", ModelElement());
  addTo(box, u"links", box);
  addTo(box, u"links", box);
  EXPECT_THAT(payloadOf({box}), testing::HasSubstr(testsupport::fromAnnotatedHex(R"(
    6c 00 69 00 6e 00 6b 00 73 00       # links
    5b  6d                              # many elements
    03 00 00 00 00 00 00 00             # three
    00 00 00 00 00 00 00 00             # none
    ff ff ff ff ff ff ff ff  46         # element -1, the box itself, referred to
    ff ff ff ff ff ff ff ff  46
  )")));
  EXPECT_EQ(payloadOf({box}), literalPayloadOf({box}));
}

TEST(BinSerializer, WritesTheElementsOwnClass) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  const ModelElement big = newSample(model, u"BigBox", 2);
  big->set(u"size", std::int32_t{3});
  addTo(box, u"parts", big);
  const std::string bytes = payloadOf({box});
  EXPECT_THAT(bytes, testing::HasSubstr(testsupport::fromAnnotatedHex(R"(
    02 00 00 00 00 00 00 00                           # type +2
    0d 00 00 00 00 00 00 00                           # 13 code units
    73 00 61 00 6d 00 70 00 6c 00 65 00 2e 00 42 00 69 00 67 00 42 00 6f 00 78 00   # sample.BigBox
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02   # uuid
    54
    06 00 00 00 00 00 00 00                           # property +6: the subclass's own comes first
    04 00 00 00 00 00 00 00
    73 00 69 00 7a 00 65 00                           # size
    69  03 00 00 00
    ff ff ff ff ff ff ff ff                           # property -1: an inherited one keeps its id
  )")));
  EXPECT_EQ(bytes, literalPayloadOf({box}));
}

TEST(BinSerializer, WritesOwnPropertiesByNameThenThoseOfTheSuperclass) {
  const Model model = emptyModel();
  const ModelElement tail = newSample(model, u"ChainTail", 1);
  const std::string bytes = payloadOf({tail});
  const auto positionOf = [&](const char* name) {
    std::string utf16;
    for (const char* letter = name; *letter != '\0'; ++letter) utf16 += {*letter, '\0'};
    return bytes.find(utf16);
  };
  EXPECT_LT(positionOf("beta"), positionOf("mid"));
  EXPECT_LT(positionOf("mid"), positionOf("alpha"));
  EXPECT_LT(positionOf("alpha"), positionOf("zeta"));
  EXPECT_LT(positionOf("zeta"), bytes.size());
}

TEST(BinSerializer, GivesLikeNamedPropertiesOfTwoClassesTwoIds) {
  const Model model = emptyModel();
  const ModelElement first = newSample(model, u"RequiredInteger", 1);
  const ModelElement second = newSample(model, u"RequiredReal", 2);
  const std::string bytes = payloadOf({first, second});
  EXPECT_THAT(bytes, testing::HasSubstr(testsupport::fromAnnotatedHex(R"(
    01 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  76 00 61 00 6c 00 75 00 65 00  69   # +1 "value", Integer
  )")));
  EXPECT_THAT(bytes, testing::HasSubstr(testsupport::fromAnnotatedHex(R"(
    02 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  76 00 61 00 6c 00 75 00 65 00  64   # +2 "value", Real
  )")));
}

// --- What is left out.

TEST(BinSerializer, LeavesOutWhatEqualsItsDefault) {
  const Model model = emptyModel();
  const ModelElement element = newSample(model, u"Defaults", 1);
  EXPECT_BYTES(propertiesOf(element), R"(
    01 00 00 00 00 00 00 00              # the first property that is written has id +1
    05 00 00 00 00 00 00 00
    70 00 6c 00 61 00 69 00 6e 00        # plain
    6e
    00 00 00 00 00 00 00 00
    6e
  )");
}

TEST(BinSerializer, WritesWhatDiffersFromItsDefault) {
  const Model model = emptyModel();
  const ModelElement element = newSample(model, u"Defaults", 1);
  element->set(u"count", std::int32_t{6});
  element->unset(element->property(u"ratio"));
  element->set(u"color", std::int64_t{0});
  element->set(u"text", u"");
  EXPECT_BYTES(propertiesOf(element), R"(
    01 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  63 00 6f 00 6c 00 6f 00 72 00   # color
    65  01 00 00 00 00 00 00 00  03 00 00 00 00 00 00 00  72 00 65 00 64 00           # red
    02 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  63 00 6f 00 75 00 6e 00 74 00   # count
    69  06 00 00 00
    03 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  70 00 6c 00 61 00 69 00 6e 00   # plain
    6e
    04 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  72 00 61 00 74 00 69 00 6f 00   # ratio
    6e                                                                                # absent is not the default
    05 00 00 00 00 00 00 00  04 00 00 00 00 00 00 00  74 00 65 00 78 00 74 00         # text
    53  00 00 00 00 00 00 00 00                                                       # empty
    00 00 00 00 00 00 00 00
    6e
  )");
}

TEST(BinSerializer, ComparesWithDefaultsOfEveryKind) {
  meta::PackageBuilder builder(u"defaultsOfEveryKind");
  auto& all = builder.addClass(u"All");
  const boost::posix_time::ptime noTime;
  const boost::posix_time::ptime epoch(boost::gregorian::date(1970, 1, 1));
  const std::vector<std::pair<std::u16string, std::pair<Value, Value>>> kinds = {
      {u"String", {Value(u"a"), Value(u"b")}},
      {u"StdString", {Value(std::string("a")), Value(std::string())}},
      {u"Integer", {Value(std::int32_t{-1}), Value(std::int32_t{0})}},
      {u"Integer8", {Value(std::int8_t{1}), Value(std::int8_t{2})}},
      {u"Integer16", {Value(std::int16_t{1}), Value(std::int16_t{2})}},
      {u"Integer64", {Value(std::int64_t{1}), Value(std::int64_t{2})}},
      {u"UInteger8", {Value(std::uint8_t{1}), Value(std::uint8_t{2})}},
      {u"UInteger16", {Value(std::uint16_t{1}), Value(std::uint16_t{2})}},
      {u"UInteger64", {Value(std::uint64_t{1}), Value(std::uint64_t{2})}},
      {u"UnlimitedNatural", {Value(std::uint32_t{1}), Value(std::uint32_t{2})}},
      {u"Real", {Value(0.0), Value(-0.0)}},
      {u"Boolean", {Value(true), Value(false)}},
      {u"UUID", {Value(uuidEndingIn(1)), Value(uuidEndingIn(2))}},
      {u"DateTime", {Value(noTime), Value(epoch)}},
  };
  for (const auto& [kind, values] : kinds) all.attribute(u"a" + kind, kind).defaultsTo(values.first);
  all.attribute(u"aNaN", meta::StandardTypes::realMeta).defaultsTo(Value(std::numeric_limits<double>::quiet_NaN()));
  const meta::Package package = builder.registerPackage();
  const Model model = emptyModel();
  const ModelElement element =
      kern::narrow<meta::Class>(package->getTypes().at(u"All"))->instantiate(model, uuidEndingIn(1));

  const std::string unchanged = payloadOf({element});
  EXPECT_EQ(unchanged, literalPayloadOf({element}));
  for (const auto& [kind, values] : kinds) {
    const meta::Property property = element->property(u"a" + kind);
    EXPECT_EQ(payloadOf({element}), unchanged);
    element->setPropertyValue(property, values.second, kern::ReflectionPrivateTag::PUBLIC_ACCESS);
    EXPECT_GT(payloadOf({element}).size(), unchanged.size());
    EXPECT_EQ(payloadOf({element}), literalPayloadOf({element}));
    element->unset(property);
    EXPECT_GT(payloadOf({element}).size(), unchanged.size());
    EXPECT_EQ(payloadOf({element}), literalPayloadOf({element}));
    element->setPropertyValue(property, values.first, kern::ReflectionPrivateTag::PUBLIC_ACCESS);
  }
  EXPECT_EQ(payloadOf({element}), unchanged);
}

TEST(BinSerializer, LeavesOutDerivedAndTransientProperties) {
  const Model model = emptyModel();
  const ModelElement element = newSample(model, u"Omitting", 1);
  element->set(u"derived", std::int32_t{1});
  element->set(u"transient", std::int32_t{2});
  element->set(u"kept", std::int32_t{3});
  EXPECT_BYTES(propertiesOf(element), R"(
    01 00 00 00 00 00 00 00  04 00 00 00 00 00 00 00  6b 00 65 00 70 00 74 00   # kept
    69  03 00 00 00
    00 00 00 00 00 00 00 00
    6e
  )");
}

TEST(BinSerializer, ReadsGuardedPropertiesToo) {
  meta::PackageBuilder builder(u"guardedProperties");
  builder.addClass(u"Guarded").attribute(u"secret", meta::StandardTypes::integerMeta).required().guarded();
  const meta::Package package = builder.registerPackage();
  const Model model = emptyModel();
  const auto type = kern::narrow<meta::Class>(package->getTypes().at(u"Guarded"));
  const ModelElement element = type->instantiate(model, uuidEndingIn(1));
  element->setPropertyValue(type->getProperty(u"secret"), Value(std::int32_t{9}),
                            kern::ReflectionPrivateTag::PRIVILEGED_ACCESS);
  EXPECT_THAT(payloadOf({element}), testing::HasSubstr(testsupport::fromAnnotatedHex("74 00 69 09 00 00 00")));
}

// --- What the form cannot hold.

TEST(BinSerializer, RefusesAQualifiedPropertyThatIsNotComposite) {
  const Model model = emptyModel();
  const ModelElement index = newSample(model, u"Index", 1);
  std::ostringstream stream;
  EXPECT_EQ(messageOfFailure([&] { BinSerializer().serialize({index}, stream, BinFormat::Binary); }),
            "Limitation: Property entries is qualifiedby but not composite.");
  const std::string bytes = stream.str();
  EXPECT_BYTES(bytes.substr(bytes.size() - 17), R"(
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01   # uuid
    54                                                # and then nothing
  )");
}

TEST(BinSerializer, RefusesAnOppositeWhereNeitherEndIsComposite) {
  const Model model = emptyModel();
  const ModelElement person = newSample(model, u"Friend", 1);
  EXPECT_EQ(messageOfFailure([&] { saved({person}); }),
            "Limitation: Property friendOf is not composite and has an opposite which is also not composite.");
}

TEST(BinSerializer, WritesACompositeQualifiedProperty) {
  const Model model = emptyModel();
  const ModelElement bag = newSample(model, u"Bag", 1);
  const ModelElement item = newSample(model, u"Box", 2);
  item->set(u"name", u"a");
  addTo(bag, u"items", item);
  EXPECT_EQ(payloadOf({bag}), literalPayloadOf({bag}));
}

TEST(BinSerializer, RefusesPropertiesInTheirTurn) {
  meta::PackageBuilder builder(u"refusalsInTurn");
  auto& type = builder.addClass(u"Late");
  type.attribute(u"early", meta::StandardTypes::integerMeta).required();
  type.reference(u"other", type).opposite(u"rehto");
  type.reference(u"rehto", type).opposite(u"other");
  const meta::Package package = builder.registerPackage();
  const Model model = emptyModel();
  const ModelElement element =
      kern::narrow<meta::Class>(package->getTypes().at(u"Late"))->instantiate(model, uuidEndingIn(1));
  std::ostringstream stream;
  messageOfFailure([&] { BinSerializer().serialize({element}, stream, BinFormat::Binary); });
  EXPECT_BYTES(stream.str().substr(stream.str().size() - 31), R"(
    01 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  65 00 61 00 72 00 6c 00 79 00   # early
    69  00 00 00 00                                                                   # is out when other is refused
  )");
}

TEST(BinSerializer, LeavesTheLetterAloneOfACompressedContainerThatFailed) {
  const Model model = emptyModel();
  const ModelElement unsavable = newSample(model, u"OptionalPoint", 1);
  for (const BinFormat format : {BinFormat::BinaryZlib, BinFormat::BinaryZstd}) {
    std::ostringstream stream;
    messageOfFailure([&] { BinSerializer().serialize({unsavable}, stream, format); });
    EXPECT_EQ(stream.str(), std::string(1, static_cast<char>(format)));
  }
}

TEST(BinSerializer, LeavesExactlyWhatWasWrittenOfABinaryContainerThatFailed) {
  const Model model = emptyModel();
  const ModelElement fine = newSample(model, u"Box", 1);
  const ModelElement unsavable = newSample(model, u"OptionalPoint", 2);
  std::ostringstream stream;
  EXPECT_EQ(withoutLine(messageOfFailure([&] {
              BinSerializer().serialize({fine, unsavable}, stream, BinFormat::Binary);
            })),
            "shared/nimbo_utils/src/BinSerializer:#Assertion failed during binary serialization: `!isOptional'");
  const std::string before = saved({fine});
  EXPECT_EQ(stream.str().substr(0, before.size() - 9), before.substr(0, before.size() - 9));
  EXPECT_BYTES(stream.str().substr(before.size() - 9), R"(
    6d
    02 00 00 00 00 00 00 00                           # element +2
    02 00 00 00 00 00 00 00                           # type +2
    14 00 00 00 00 00 00 00                           # sample.OptionalPoint
    73 00 61 00 6d 00 70 00 6c 00 65 00 2e 00 4f 00 70 00 74 00 69 00 6f 00 6e 00 61 00 6c 00 50 00 6f 00 69 00 6e 00 74 00
    00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 02   # uuid
    54
    06 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00  76 00 61 00 6c 00 75 00 65 00   # value, and no tag
  )");
}

TEST(BinSerializer, ChangesNothingInTheModel) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  addTo(box, u"parts", newSample(model, u"Box", 2));
  model->setUndoLimit(10);
  const kern::Transaction transaction = model->beginTransaction(false);
  saved({box});
  const Model unsavable = emptyModel();
  messageOfFailure([&] { saved({newSample(unsavable, u"OptionalMoney", 1)}); });
  EXPECT_EQ(model->getTransactionDepth(), 1U);
  EXPECT_EQ(model->getElementCount(), 2U);
  EXPECT_FALSE(model->canUndo());
}

// --- Dangling references.

TEST(BinSerializer, TellsOfEachDanglingReferenceOnce) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  const ModelElement outside = newSample(model, u"BigBox", 2);
  const ModelElement other = newSample(model, u"Box", 3);
  box->set(u"link", outside);
  addTo(box, u"links", outside);
  addTo(box, u"links", outside);
  addTo(box, u"links", other);
  const LogCapture log(300);
  saved({box});
  EXPECT_THAT(
      log.lines(),
      ElementsAre("Note: A dangling reference to the BigBox element with UUID 00000000-0000-0000-0000-000000000002 was "
                  "serialized.\n",
                  "Note: A dangling reference to the Box element with UUID 00000000-0000-0000-0000-000000000003 was "
                  "serialized.\n"));
}

TEST(BinSerializer, TellsOfDanglingReferencesWhenTheBytesAreOut) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  box->set(u"link", newSample(model, u"Box", 2));
  const std::string expected = saved({box});
  std::ostringstream stream;
  std::string outAtThatTime;
  const LogCapture log(299, [&] { outAtThatTime = stream.str(); });
  BinSerializer().serialize({box}, stream, BinFormat::Binary);
  EXPECT_EQ(log.lines().size(), 1U);
  EXPECT_EQ(outAtThatTime, expected);
}

TEST(BinSerializer, IsQuietAboutDanglingReferencesAboveTheDebugLevel) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  box->set(u"link", newSample(model, u"Box", 2));
  const LogCapture log(301);
  saved({box});
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(BinSerializer, DoesNotCallALaterRootDangling) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  const ModelElement later = newSample(model, u"Box", 2);
  box->set(u"link", later);
  const LogCapture log(300);
  saved({box, later});
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(BinSerializer, SaysNothingOfDanglingReferencesWhenItFails) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  box->set(u"link", newSample(model, u"Box", 2));
  const LogCapture log(300);
  messageOfFailure([&] { saved({box, newSample(model, u"OptionalPoint", 3)}); });
  EXPECT_THAT(log.lines(), IsEmpty());
}

// --- Size and depth.

TEST(BinSerializer, WritesAChainOfAnyDepth) {
  constexpr std::size_t kDepth = testsupport::kManyLevels;
  const Model model = emptyModel();
  const meta::Class box = testsupport::sampleMetaModel().classNamed(u"Box");
  const meta::Property content = box->getProperty(u"content");
  const ModelElement root = box->instantiate(model, uuidEndingIn(1));
  ModelElement last = root;
  for (std::size_t i = 1; i < kDepth; ++i) {
    const ModelElement next = box->instantiate(model, {});
    last->set(content, next);
    last = next;
  }
  // Each but the innermost: id, type, uuid, flag, five properties, end. 8 + 8 + 16 + 1, 9 + 17 + 18 + 9 + 18, 8
  constexpr std::size_t kBytesPerLevel = 8 + 8 + 16 + 1 + 9 + 17 + 18 + 9 + 18 + 8;
  const Model flatModel = emptyModel();
  const std::size_t flat = saved({newSample(flatModel, u"Box", 1)}).size();
  EXPECT_EQ(saved({root}).size(), flat + (kDepth - 1) * kBytesPerLevel);
  EXPECT_GT(saved({root}, BinFormat::BinaryZstd).size(), 9U);
}

TEST(BinSerializer, WritesMoreThanItStages) {
  const Model model = emptyModel();
  const ModelElement box = newSample(model, u"Box", 1);
  for (int i = 0; i < 3000; ++i) {
    const ModelElement part = testsupport::sampleMetaModel().classNamed(u"Box")->instantiate(model, {});
    part->set(u"name", std::u16string(static_cast<std::size_t>(i % 1000), u'x'));
    addTo(box, u"parts", part);
    addTo(box, u"links", part);
  }
  box->set(u"name", std::u16string(100'000, u'y'));
  EXPECT_TRUE(payloadOf({box}) == literalPayloadOf({box}));
  const std::string container = saved({box}, BinFormat::BinaryZstd);
  EXPECT_TRUE(quillon::nimbo::uncompressZSTD({container.begin() + 9, container.end()}) == payloadOf({box}));
}

// --- Any model, any thread.

namespace {

/// Boxes in boxes, with references in all directions and some names: about `count` elements, the same for the same
/// seed.
Model randomBoxes(std::uint64_t seed, std::size_t count) {
  std::mt19937_64 random(seed);
  const Model model = emptyModel();
  const auto& sample = testsupport::sampleMetaModel();
  std::vector<ModelElement> boxes;
  const auto anyUuid = [&] {
    boost::uuids::uuid uuid{};
    for (std::uint8_t& byte : uuid.data) byte = static_cast<std::uint8_t>(random());
    return uuid;
  };
  const auto anyBox = [&] { return boxes[random() % boxes.size()]; };
  for (std::size_t i = 0; i < count; ++i) {
    const ModelElement box = sample.classNamed(random() % 4 == 0 ? u"BigBox" : u"Box")->instantiate(model, anyUuid());
    if (random() % 3 == 0) box->set(u"name", std::u16string(random() % 20, u'n'));
    if (!boxes.empty()) {
      if (random() % 8 != 0) addTo(anyBox(), u"parts", box);
      for (std::uint64_t links = random() % 4; links > 0; --links) addTo(box, u"links", anyBox());
      if (random() % 2 == 0) anyBox()->set(u"link", box);
    }
    boxes.push_back(box);
  }
  return model;
}

}  // namespace

TEST(BinSerializer, GivesTheBytesOfThePlainWriterForAnyModel) {
  for (std::uint64_t seed = 1; seed <= 50; ++seed) {
    const Model model = randomBoxes(seed, 1 + seed * 7);
    std::vector<ModelElement> roots = model->getTopLevelElements();
    EXPECT_EQ(payloadOf(roots), literalPayloadOf(roots)) << "seed " << seed;
    std::vector<ModelElement> all = model->getAllElements(kern::FindElementBehavior::Anywhere);
    std::shuffle(all.begin(), all.end(), std::mt19937_64(seed));
    all.resize((all.size() + 2) / 3);
    EXPECT_EQ(payloadOf(all), literalPayloadOf(all)) << "seed " << seed << ", some elements as roots";
  }
}

TEST(BinSerializer, SavesModelsInSeveralThreadsAtOnce) {
  testsupport::sampleMetaModel();
  const LogCapture log(300);
  std::vector<std::thread> threads;
  std::vector<std::string> bytes(4);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    threads.emplace_back([&bytes, i] {
      const Model model = randomBoxes(i / 2, 300);
      for (int round = 0; round < 5; ++round) bytes[i] = payloadOf(model->getTopLevelElements());
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(bytes[0], bytes[1]);
  EXPECT_EQ(bytes[2], bytes[3]);
  EXPECT_THAT(log.lines(), IsEmpty());
}
