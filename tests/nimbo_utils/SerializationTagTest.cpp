#include <iomanip>
#include <istream>
#include <map>
#include <sstream>
#include <string>
#include <type_traits>

#include <gtest/gtest.h>

#include "quillon/nimbo/SerializationTag.h"

namespace quillon::nimbo {
namespace {

std::string printed(SerializationTag tag) {
  std::ostringstream stream;
  stream << tag;
  return stream.str();
}

const std::map<int, std::string> kNames{
    {109, "MODEL_ELEMENT"}, {114, "DATA_TYPE"}, {91, "COLLECTION"},
    {101, "ENUM"},          {110, "NONE"},      {83, "USTRING"},
    {115, "STRING"},        {105, "INT"},       {99, "INT8"},
    {106, "INT16"},         {108, "INT64"},     {100, "DOUBLE"},
    {98, "BOOL"},           {73, "UINT"},       {67, "UINT8"},
    {74, "UINT16"},         {76, "UINT64"},     {85, "UUID"},
    {78, "NATIVE"},         {68, "DATETIME"},   {77, "STRINGTOSTRINGMAP"},
};

TEST(SerializationTag, IsOneByte) {
  EXPECT_EQ(sizeof(SerializationTag), 1U);
  EXPECT_EQ(kNames.size(), 21U);
}

TEST(SerializationTag, PrintsItsNameAndAnyOtherByteAsASignedNumber) {
  for (int value = -128; value <= 127; ++value) {
    const auto known = kNames.find(value);
    const std::string expected = known != kNames.end() ? known->second : "<unknown " + std::to_string(value) + ">";
    EXPECT_EQ(printed(static_cast<SerializationTag>(value)), expected);
  }
}

TEST(SerializationTag, HasTheLettersOfTheFormat) {
  EXPECT_EQ(static_cast<char>(SerializationTag::MODEL_ELEMENT), 'm');
  EXPECT_EQ(static_cast<char>(SerializationTag::DATA_TYPE), 'r');
  EXPECT_EQ(static_cast<char>(SerializationTag::COLLECTION), '[');
  EXPECT_EQ(static_cast<char>(SerializationTag::ENUM), 'e');
  EXPECT_EQ(static_cast<char>(SerializationTag::NONE), 'n');
  EXPECT_EQ(static_cast<char>(SerializationTag::USTRING), 'S');
  EXPECT_EQ(static_cast<char>(SerializationTag::STRING), 's');
  EXPECT_EQ(static_cast<char>(SerializationTag::INT), 'i');
  EXPECT_EQ(static_cast<char>(SerializationTag::INT8), 'c');
  EXPECT_EQ(static_cast<char>(SerializationTag::INT16), 'j');
  EXPECT_EQ(static_cast<char>(SerializationTag::INT64), 'l');
  EXPECT_EQ(static_cast<char>(SerializationTag::DOUBLE), 'd');
  EXPECT_EQ(static_cast<char>(SerializationTag::BOOL), 'b');
  EXPECT_EQ(static_cast<char>(SerializationTag::UINT), 'I');
  EXPECT_EQ(static_cast<char>(SerializationTag::UINT8), 'C');
  EXPECT_EQ(static_cast<char>(SerializationTag::UINT16), 'J');
  EXPECT_EQ(static_cast<char>(SerializationTag::UINT64), 'L');
  EXPECT_EQ(static_cast<char>(SerializationTag::UUID), 'U');
  EXPECT_EQ(static_cast<char>(SerializationTag::NATIVE), 'N');
  EXPECT_EQ(static_cast<char>(SerializationTag::DATETIME), 'D');
  EXPECT_EQ(static_cast<char>(SerializationTag::STRINGTOSTRINGMAP), 'M');
}

TEST(SerializationTag, OfAFailedGetIsUnknownMinusOne) {
  std::istringstream empty;
  EXPECT_EQ(printed(static_cast<SerializationTag>(empty.get())), "<unknown -1>");
}

TEST(SerializationTag, PrintsInDecimalWhateverTheStreamIsSetTo) {
  std::ostringstream stream;
  stream << std::hex << std::showbase << std::showpos << static_cast<SerializationTag>(65);
  EXPECT_EQ(stream.str(), "<unknown 65>");
}

TEST(SerializationTag, IsPaddedAsAWhole) {
  std::ostringstream stream;
  stream << std::setw(14) << std::setfill('.') << static_cast<SerializationTag>(65);
  EXPECT_EQ(stream.str(), "..<unknown 65>");
}

}  // namespace
}  // namespace quillon::nimbo
