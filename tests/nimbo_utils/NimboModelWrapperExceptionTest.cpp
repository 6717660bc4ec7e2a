#include <exception>
#include <type_traits>
#include <utility>

#include <gtest/gtest.h>

#include "quillon/nimbo/NimboModelWrapperException.h"

namespace {

using quillon::nimbo::NimboModelWrapperException;
using Kind = NimboModelWrapperException::Kind;

static_assert(std::is_base_of_v<std::exception, NimboModelWrapperException>);
static_assert(std::is_nothrow_copy_constructible_v<NimboModelWrapperException>);

TEST(NimboModelWrapperException, HasOneTextPerKind) {
  EXPECT_STREQ(NimboModelWrapperException(Kind::NonExistingFile).what(),
               "NimboModelWrapperException: Non existing file");
  EXPECT_STREQ(NimboModelWrapperException(Kind::InvalidBinaryFile).what(),
               "NimboModelWrapperException: Invalid binary file");
  EXPECT_STREQ(NimboModelWrapperException(Kind::FailedToCreateFile).what(),
               "NimboModelWrapperException: Failed to create file");
  EXPECT_STREQ(NimboModelWrapperException(Kind::RootNotFound).what(),
               "NimboModelWrapperException: A root element with the correct metaclass was not found");
}

TEST(NimboModelWrapperException, HasATextForNumbersThatAreNoKind) {
  for (const int number : {0, 5, -1}) {
    EXPECT_STREQ(NimboModelWrapperException(static_cast<Kind>(number)).what(),
                 "NimboModelWrapperException: Unknown error");
  }
}

TEST(NimboModelWrapperException, NumbersItsKindsFromOne) {
  EXPECT_EQ(static_cast<int>(Kind::NonExistingFile), 1);
  EXPECT_EQ(static_cast<int>(Kind::InvalidBinaryFile), 2);
  EXPECT_EQ(static_cast<int>(Kind::FailedToCreateFile), 3);
  EXPECT_EQ(static_cast<int>(Kind::RootNotFound), 4);
}

TEST(NimboModelWrapperException, IsCopiedMovedAndAssignedWithItsKind) {
  const NimboModelWrapperException original(Kind::RootNotFound);
  NimboModelWrapperException copy(original);
  EXPECT_EQ(copy.getKind(), Kind::RootNotFound);
  const NimboModelWrapperException moved(std::move(copy));
  EXPECT_EQ(moved.getKind(), Kind::RootNotFound);
  NimboModelWrapperException other(Kind::NonExistingFile);
  other = original;
  EXPECT_EQ(other.getKind(), Kind::RootNotFound);
  other = NimboModelWrapperException(Kind::InvalidBinaryFile);
  EXPECT_EQ(other.getKind(), Kind::InvalidBinaryFile);
}

TEST(NimboModelWrapperException, IsCaughtAsAStandardException) {
  try {
    throw NimboModelWrapperException(Kind::NonExistingFile);
  } catch (const std::exception& failure) {
    EXPECT_STREQ(failure.what(), "NimboModelWrapperException: Non existing file");
  }
}

}  // namespace
