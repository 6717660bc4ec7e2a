#include <stdexcept>
#include <string>

#include <gtest/gtest.h>

#include "Container.h"
#include "Payload.h"
#include "support/AnnotatedHex.h"

namespace bench::limit {
namespace {

std::string payloadOf(const Model& model) {
  ByteBuffer bytes;
  writePayload(model, bytes);
  return std::string(bytes.view());
}

TEST(Container, OfAnEmptyModelIsEighteenBytesWhenBare) {
  EXPECT_BYTES(std::string(saveBare(Model()).view()), R"(
    42                        # letter "B"
    00 00 00 00 00 00 00 00   # no packages
    6e                        # end of the stream
    00 00 00 00 00 00 00 00   # the length slot
  )");
}

TEST(Container, HoldsTheStreamInEachForm) {
  const std::unique_ptr<Model> model = build(describe(2'000));
  const std::string payload = payloadOf(*model);
  EXPECT_EQ(saveBare(*model).view(), "B" + payload + std::string(8, '\0'));

  const ByteBuffer zstd = saveZstd(*model);
  const ByteBuffer gzip = saveGzip(*model);
  EXPECT_EQ(zstd.view().front(), 'z');
  EXPECT_EQ(gzip.view().front(), 'Z');
  for (const std::string_view container : {zstd.view(), gzip.view()}) {
    std::uint64_t size = 0;
    std::memcpy(&size, container.data() + 1, sizeof size);
    EXPECT_EQ(size, container.size() - 9);
  }
  EXPECT_EQ(decompressZstd(zstd.view().substr(9)).view(), payload);
  EXPECT_EQ(decompressGzip(gzip.view().substr(9)).view(), payload);
}

TEST(Container, OfEachFormIsLoadedAsTheSameModel) {
  const std::unique_ptr<Model> model = build(describe(2'000));
  for (const auto save : {saveBare, saveZstd, saveGzip}) {
    EXPECT_EQ(firstDifference(*model, *load(save(*model).view())), std::nullopt);
  }
}

TEST(Container, OfAnotherLetterOrCutShortIsRefused) {
  EXPECT_THROW(static_cast<void>(load("")), std::runtime_error);
  EXPECT_THROW(static_cast<void>(load("J")), std::runtime_error);
  EXPECT_THROW(static_cast<void>(load("z")), std::runtime_error);
  const ByteBuffer zstd = saveZstd(*build(describe(10)));
  EXPECT_THROW(static_cast<void>(load(zstd.view().substr(0, zstd.size() - 1))), std::runtime_error);
  const ByteBuffer gzip = saveGzip(*build(describe(10)));
  EXPECT_THROW(static_cast<void>(load(gzip.view().substr(0, gzip.size() - 1))), std::runtime_error);
}

}  // namespace
}  // namespace bench::limit
