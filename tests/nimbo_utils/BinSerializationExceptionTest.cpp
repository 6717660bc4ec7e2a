#include <exception>
#include <string>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "quillon/nimbo/BinSerializationException.h"

namespace quillon::nimbo {
namespace {

TEST(BinSerializationException, PrintsItsMessageOnceWhenMade) {
  testing::internal::CaptureStderr();
  const BinSerializationException exception("Limitation: too \xC3\xA9trange.");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unexpected exception: Limitation: too \xC3\xA9trange.\n");
  EXPECT_STREQ(exception.what(), "Limitation: too \xC3\xA9trange.");
}

TEST(BinSerializationException, PrintsNothingWhenCopiedOrMoved) {
  testing::internal::CaptureStderr();
  BinSerializationException exception("first");
  const BinSerializationException other("second");
  testing::internal::GetCapturedStderr();

  testing::internal::CaptureStderr();
  const BinSerializationException copy(exception);
  EXPECT_STREQ(copy.what(), "first");
  exception = other;
  EXPECT_STREQ(exception.what(), "second");
  const BinSerializationException moved(std::move(exception));
  EXPECT_STREQ(moved.what(), "second");
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(BinSerializationException, PrintsNothingMoreWhenThrownAndCaught) {
  testing::internal::CaptureStderr();
  try {
    throw BinSerializationException("thrown");
  } catch (const BinSerializationException& caught) {
    EXPECT_STREQ(caught.what(), "thrown");
  }
  EXPECT_EQ(testing::internal::GetCapturedStderr(), "Unexpected exception: thrown\n");
}

TEST(BinSerializationException, IsAStandardException) {
  EXPECT_TRUE((std::is_base_of_v<std::exception, BinSerializationException>));
  EXPECT_FALSE((std::is_convertible_v<std::string, BinSerializationException>));
}

}  // namespace
}  // namespace quillon::nimbo
