#include <gtest/gtest.h>

#include <nimbo/messages.h>
#include <resource_core/BaseMsgID.h>

namespace resource_core {
namespace {

TEST(MessageText, FillsTheArgumentsIntoTheCataloguesSentence) {
  EXPECT_EQ(messageText(nimbo::messages::CannotCastIncompatibleTypes(u"String")),
            u"CannotCastIncompatibleTypes: cannot read a value of type \"String\" as the requested type");
}

TEST(MessageText, TakesArgumentsAsTheyAre) {
  EXPECT_EQ(messageText(nimbo::messages::CannotCastIncompatibleTypes(u"{0} {1}")),
            u"CannotCastIncompatibleTypes: cannot read a value of type \"{0} {1}\" as the requested type");
}

TEST(MessageText, LeavesAPlaceWithoutAnArgumentStanding) {
  EXPECT_EQ(messageText(BaseMsgID("nimbo:messages", "CannotCastIncompatibleTypes", {})),
            u"CannotCastIncompatibleTypes: cannot read a value of type \"{0}\" as the requested type");
}

TEST(MessageText, NamesAnUnknownMessageWithItsArguments) {
  EXPECT_EQ(messageText(BaseMsgID("plant", "TankEmpty", {u"north", u"0"})), u"TankEmpty(\"north\", \"0\")");
  EXPECT_EQ(messageText(BaseMsgID("plant", "TankEmpty", {})), u"TankEmpty()");
}

TEST(MessageText, TellsCataloguesApart) {
  EXPECT_EQ(messageText(BaseMsgID("plant", "CannotCastIncompatibleTypes", {u"T"})),
            u"CannotCastIncompatibleTypes(\"T\")");
}

}  // namespace
}  // namespace resource_core
