#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "Payload.h"
#include "support/AnnotatedHex.h"

namespace bench::limit {
namespace {

std::string payloadOf(const Model& model) {
  ByteBuffer bytes;
  writePayload(model, bytes);
  return std::string(bytes.view());
}

/// A folder that contains one item, which refers to itself and to the folder; the folder refers forward to the item.
std::unique_ptr<Model> twoElements() {
  auto model = std::make_unique<Model>();
  auto* folder = static_cast<Folder*>(model->make(Uuid{0x01}, true));
  Item* item = model->make(Uuid{0x02}, false);
  model->setRoot(folder);
  folder->children.push_back(item);
  item->parent = folder;
  folder->name = u"F";
  folder->base = item;
  item->name = u"é";
  item->documentation = u"";
  item->abstract = true;
  item->base = item;
  item->marks = {-1};
  item->modified = 0;
  item->multiplicity = 2;
  item->related = {folder};
  item->revision = 3;
  item->tags = {u"t"};
  item->visibility = Visibility::kPrivate;
  item->weight = 0.5;
  return model;
}

constexpr std::string_view kTwoElements = R"(
  01 00 00 00 00 00 00 00                              # one package
  09 00 00 00 00 00 00 00                              #   9 units
  75 00 72 00 6e 00 3a 00 62 00 65 00 6e 00 63 00 68 00  # urn:bench
  6d  01 00 00 00 00 00 00 00                          # root, element 1
  01 00 00 00 00 00 00 00  0c 00 00 00 00 00 00 00     # type 1, 12 units
  62 00 65 00 6e 00 63 00 68 00 2e 00 46 00 6f 00 6c 00 64 00 65 00 72 00  # bench.Folder
  01 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00      # uuid
  54                                                   # T: properties follow
  01 00 00 00 00 00 00 00  08 00 00 00 00 00 00 00     # property 1, 8 units
  63 00 68 00 69 00 6c 00 64 00 72 00 65 00 6e 00      # children
  5b 6d  01 00 00 00 00 00 00 00                       # one element
    02 00 00 00 00 00 00 00                            #   element 2
    02 00 00 00 00 00 00 00  0a 00 00 00 00 00 00 00   #   type 2, 10 units
    62 00 65 00 6e 00 63 00 68 00 2e 00 49 00 74 00 65 00 6d 00  # bench.Item
    02 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00    #   uuid
    54                                                 #   T
    02 00 00 00 00 00 00 00  08 00 00 00 00 00 00 00   #   property 2, 8 units
    61 00 62 00 73 00 74 00 72 00 61 00 63 00 74 00    #   abstract
    62 54                                              #   true
    03 00 00 00 00 00 00 00  04 00 00 00 00 00 00 00   #   property 3, 4 units
    62 00 61 00 73 00 65 00                            #   base
    6d  fe ff ff ff ff ff ff ff  46                    #   element 2 itself, F: not its contents
    04 00 00 00 00 00 00 00  05 00 00 00 00 00 00 00   #   property 4, 5 units
    6d 00 61 00 72 00 6b 00 73 00                      #   marks
    5b 69  01 00 00 00 00 00 00 00  ff ff ff ff        #   one number, -1
    05 00 00 00 00 00 00 00  08 00 00 00 00 00 00 00   #   property 5, 8 units
    6d 00 6f 00 64 00 69 00 66 00 69 00 65 00 64 00    #   modified
    44  1a 00 00 00 00 00 00 00                        #   a time of 26 units
    31 00 39 00 37 00 30 00 2d 00 30 00 31 00 2d 00 30 00 31 00 54 00  # 1970-01-01T
    30 00 30 00 3a 00 30 00 30 00 3a 00 30 00 30 00    #   00:00:00
    2e 00 30 00 30 00 30 00 30 00 30 00 30 00          #   .000000
    06 00 00 00 00 00 00 00  0c 00 00 00 00 00 00 00   #   property 6, 12 units
    6d 00 75 00 6c 00 74 00 69 00 70 00 6c 00 69 00 63 00 69 00 74 00 79 00  # multiplicity
    69  02 00 00 00                                    #   2
    07 00 00 00 00 00 00 00  07 00 00 00 00 00 00 00   #   property 7, 7 units
    72 00 65 00 6c 00 61 00 74 00 65 00 64 00          #   related
    5b 6d  01 00 00 00 00 00 00 00                     #   one element
    ff ff ff ff ff ff ff ff  46                        #   element 1, F
    08 00 00 00 00 00 00 00  08 00 00 00 00 00 00 00   #   property 8, 8 units
    72 00 65 00 76 00 69 00 73 00 69 00 6f 00 6e 00    #   revision
    6c  03 00 00 00 00 00 00 00                        #   3
    09 00 00 00 00 00 00 00  04 00 00 00 00 00 00 00   #   property 9, 4 units
    74 00 61 00 67 00 73 00                            #   tags
    5b 53  01 00 00 00 00 00 00 00                     #   one text
    01 00 00 00 00 00 00 00  74 00                     #   t
    0a 00 00 00 00 00 00 00  0a 00 00 00 00 00 00 00   #   property 10, 10 units
    76 00 69 00 73 00 69 00 62 00 69 00 6c 00 69 00 74 00 79 00  # visibility
    65  01 00 00 00 00 00 00 00  07 00 00 00 00 00 00 00  # literal 1, 7 units
    70 00 72 00 69 00 76 00 61 00 74 00 65 00          #   private
    0b 00 00 00 00 00 00 00  06 00 00 00 00 00 00 00   #   property 11, 6 units
    77 00 65 00 69 00 67 00 68 00 74 00                #   weight
    64  00 00 00 00 00 00 e0 3f                        #   0.5
    0c 00 00 00 00 00 00 00  0d 00 00 00 00 00 00 00   #   property 12, 13 units
    64 00 6f 00 63 00 75 00 6d 00 65 00 6e 00 74 00 61 00 74 00 69 00 6f 00 6e 00  # documentation
    53  00 00 00 00 00 00 00 00                        #   present, but empty
    0d 00 00 00 00 00 00 00  04 00 00 00 00 00 00 00   #   property 13, 4 units
    6e 00 61 00 6d 00 65 00                            #   name
    53  01 00 00 00 00 00 00 00  e9 00                 #   é
    00 00 00 00 00 00 00 00                            #   end of element 2
  fd ff ff ff ff ff ff ff                              # base; abstract is false as by default
  6d  fe ff ff ff ff ff ff ff  46                      # element 2, F
  fc ff ff ff ff ff ff ff  5b 69  00 00 00 00 00 00 00 00  # marks: none
  fb ff ff ff ff ff ff ff  6e                          # modified: absent; multiplicity is 1 as by default
  f9 ff ff ff ff ff ff ff  5b 6d  00 00 00 00 00 00 00 00  # related: none
  f8 ff ff ff ff ff ff ff  6c  00 00 00 00 00 00 00 00 # revision
  f7 ff ff ff ff ff ff ff  5b 53  00 00 00 00 00 00 00 00  # tags: none
  f6 ff ff ff ff ff ff ff                              # visibility
  65  02 00 00 00 00 00 00 00  06 00 00 00 00 00 00 00 # literal 2, 6 units
  70 00 75 00 62 00 6c 00 69 00 63 00                  # public
  f5 ff ff ff ff ff ff ff  64  00 00 00 00 00 00 00 00 # weight
  f4 ff ff ff ff ff ff ff  6e                          # documentation: absent
  f3 ff ff ff ff ff ff ff                              # name
  53  01 00 00 00 00 00 00 00  46 00                   # F
  00 00 00 00 00 00 00 00                              # end of element 1
  6e                                                   # end of the stream
)";

TEST(Payload, HasExactlyTheBytesOfTheFormat) { EXPECT_BYTES(payloadOf(*twoElements()), kTwoElements); }

TEST(Payload, IsReadIntoTheSameModel) {
  const auto read = readPayload(testsupport::fromAnnotatedHex(kTwoElements));
  EXPECT_EQ(firstDifference(*twoElements(), *read), std::nullopt);
}

TEST(Payload, OfAnEmptyModelIsAnEmptyListAndTheEnd) {
  EXPECT_BYTES(payloadOf(Model()), "00 00 00 00 00 00 00 00  6e");
  EXPECT_EQ(readPayload(payloadOf(Model()))->size(), 0u);
}

TEST(Payload, OfALargeModelComesBackAsTheSameModelAndTheSameBytes) {
  const std::unique_ptr<Model> model = build(describe(10'000));
  const std::string written = payloadOf(*model);
  const std::unique_ptr<Model> read = readPayload(written);
  EXPECT_EQ(firstDifference(*model, *read), std::nullopt);
  EXPECT_EQ(payloadOf(*read), written);
}

TEST(Payload, CutShortAnywhereIsRefused) {
  const std::string whole = payloadOf(*build(describe(5)));
  for (std::size_t size = 0; size < whole.size(); ++size) {
    // A copy of exactly this size, so that the address sanitizer sees a read behind it.
    const std::vector<char> cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    EXPECT_THROW(static_cast<void>(readPayload({cut.data(), cut.size()})), std::runtime_error) << size;
  }
}

TEST(Payload, WithAnyBitFlippedIsAModelOrRefused) {
  const std::string whole = payloadOf(*build(describe(3)));
  std::size_t refused = 0;
  for (std::size_t bit = 0; bit < whole.size() * 8; ++bit) {
    std::string flipped = whole;
    flipped[bit / 8] = static_cast<char>(flipped[bit / 8] ^ (1 << (bit % 8)));
    try {
      static_cast<void>(readPayload(flipped));
    } catch (const std::runtime_error&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, whole.size());
}

}  // namespace
}  // namespace bench::limit
