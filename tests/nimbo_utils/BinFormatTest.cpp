#include <type_traits>

#include <gtest/gtest.h>

#include "quillon/nimbo/BinFormat.h"

namespace quillon::nimbo {
namespace {

TEST(BinFormat, IsOneByteThatHoldsAnyLetter) {
  EXPECT_TRUE((std::is_same_v<std::underlying_type_t<BinFormat>, std::uint8_t>));
  EXPECT_EQ(static_cast<int>(static_cast<BinFormat>(200)), 200);
}

TEST(BinFormat, IsTheLetterOfItsContainer) {
  EXPECT_EQ(static_cast<int>(BinFormat::Default), 0);
  EXPECT_EQ(static_cast<int>(BinFormat::Binary), 66);
  EXPECT_EQ(static_cast<int>(BinFormat::BinaryZlib), 90);
  EXPECT_EQ(static_cast<int>(BinFormat::BinaryZstd), 122);
  EXPECT_EQ(static_cast<int>(BinFormat::Json), 74);
  EXPECT_EQ(static_cast<int>(BinFormat::JsonZlib), 67);
  EXPECT_EQ(static_cast<int>(BinFormat::JsonZstd), 99);
}

}  // namespace
}  // namespace quillon::nimbo
