#include <exception>
#include <stdexcept>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>

#include <bedrock/except.h>
#include <nimbo/messages.h>

#include "framework/bedrock/ThrowingLibrary.h"

namespace bedrock::except {
namespace {

using CastFailure = Exception<nimbo::messages::CannotCastIncompatibleTypes, std::exception>;
using testing::ElementsAre;
using testing::HasSubstr;

static_assert(std::is_base_of_v<IException, IUserException>);
static_assert(std::is_base_of_v<IUserException, IMsgIDException>);
static_assert(std::is_base_of_v<IMsgIDException, CastFailure>);
static_assert(std::is_base_of_v<std::exception, CastFailure>);
static_assert(std::is_nothrow_copy_constructible_v<CastFailure>,
              "a copy is made while another exception may be on its way");
static_assert(std::is_nothrow_copy_assignable_v<CastFailure>);
static_assert(std::has_virtual_destructor_v<IMsgIDException>);

CastFailure makeFailure() { return CastFailure(i18n::ustring(u"kernel.Str\u00EFng")); }

TEST(Exception, TellsCatalogueIdentifierAndArguments) {
  const CastFailure failure = makeFailure();
  const resource_core::BaseMsgID& message = failure.getMsgID();
  EXPECT_EQ(message.catalogue(), "nimbo:messages");
  EXPECT_EQ(message.identifier(), "CannotCastIncompatibleTypes");
  EXPECT_THAT(message.arguments(), ElementsAre(u"kernel.Str\u00EFng"));
}

TEST(Exception, SaysTheSameInEveryForm) {
  const CastFailure failure = makeFailure();
  const std::string text =
      "CannotCastIncompatibleTypes: cannot read a value of type \"kernel.Str\xC3\xAFng\" as the requested type";
  EXPECT_EQ(failure.what(), text);
  EXPECT_EQ(static_cast<const std::exception&>(failure).what(), text);
  EXPECT_EQ(static_cast<const IException&>(failure).what(), text);
  EXPECT_EQ(i18n::ustring_to_utf8(failure.GetUnicodeMessageTxt()), text);
  EXPECT_EQ(i18n::ustring_to_utf8(failure.toUstring()), text);
}

TEST(Exception, KeepsItsTextInCopiesAndWhenMoved) {
  CastFailure failure = makeFailure();
  const CastFailure copy(failure);
  const CastFailure moved(std::move(failure));  // NOLINT(performance-move-const-arg): that it copies is the point
  EXPECT_STREQ(copy.what(), moved.what());
  EXPECT_STREQ(failure.what(), moved.what());  // NOLINT(bugprone-use-after-move): an exception always has its text
  failure = CastFailure(i18n::ustring(u"other"));
  EXPECT_THAT(failure.what(), HasSubstr("\"other\""));
  EXPECT_THAT(copy.what(), HasSubstr("Str\xC3\xAFng"));
}

TEST(Exception, IsMadeFromAMessageToo) {
  EXPECT_THAT(CastFailure(nimbo::messages::CannotCastIncompatibleTypes(u"T")).what(), HasSubstr("\"T\""));
}

class TankEmpty : public resource_core::BaseMsgID {
 public:
  TankEmpty(i18n::ustring tank, i18n::ustring litres)
      : BaseMsgID("plant", "TankEmpty", {std::move(tank), std::move(litres)}) {}
};

/// A standard class that has a default constructor, as the template asks for.
class StandardFailure : public std::exception {};

TEST(Exception, ServesMessagesAndStandardClassesOfOthers) {
  const auto failure = Exception<TankEmpty, StandardFailure>(u"north", u"0");
  EXPECT_STREQ(failure.what(), "TankEmpty(\"north\", \"0\")");
  EXPECT_EQ(failure.getMsgID().arguments().size(), 2U);
  EXPECT_THROW(throw failure, StandardFailure);
}

/// What a class derived from the chain gets from it.
class OwnFailure : public IMsgIDException {
 public:
  i18n::ustring GetUnicodeMessageTxt() const override { return convert_str(std::string("na\xC3\xAFve")); }
  const resource_core::BaseMsgID& getMsgID() const noexcept override { return fMessage; }
  const char* what() const noexcept override { return fText.c_str(); }

 private:
  nimbo::messages::CannotCastIncompatibleTypes fMessage{u"T"};
  std::string fText = get_error_id(fMessage) + " / " + convert_str(i18n::ustring(u"na\u00EFve"));
};

TEST(IMsgIDException, OffersIdentifierAndConversionsToDerivedClasses) {
  const OwnFailure failure;
  EXPECT_STREQ(failure.what(), "CannotCastIncompatibleTypes / na\xC3\xAFve");
  EXPECT_EQ(failure.toUstring(), u"na\u00EFve");
  const OwnFailure copy(failure);  // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_STREQ(copy.what(), failure.what());
}

template <class Caught>
bool isCaughtAs() {
  try {
    throwing_library::throwCastFailure(u"some.Type");
  } catch (const Caught&) {
    return true;
  } catch (...) {
    return false;
  }
}

TEST(Exception, IsCaughtByTypeWhenAnotherSharedLibraryThrowsIt) {
  EXPECT_TRUE(isCaughtAs<CastFailure>());
  EXPECT_TRUE(isCaughtAs<IMsgIDException>());
  EXPECT_TRUE(isCaughtAs<IUserException>());
  EXPECT_TRUE(isCaughtAs<IException>());
  EXPECT_TRUE(isCaughtAs<std::exception>());
  EXPECT_FALSE(isCaughtAs<std::runtime_error>());
}

TEST(Exception, CanBeTakenApartWhereItIsCaught) {
  try {
    throwing_library::throwCastFailure(u"some.Type");
  } catch (const std::exception& error) {
    EXPECT_THAT(error.what(), HasSubstr("CannotCastIncompatibleTypes"));
    EXPECT_THAT(error.what(), HasSubstr("some.Type"));
    const auto* failure = dynamic_cast<const CastFailure*>(&error);
    ASSERT_NE(failure, nullptr);
    EXPECT_THAT(failure->getMsgID().arguments(), ElementsAre(u"some.Type"));
  }
}

TEST(Exception, PassesThroughAnotherSharedLibrary) {
  EXPECT_THROW(throwing_library::callBack([] { throw makeFailure(); }), CastFailure);
}

}  // namespace
}  // namespace bedrock::except
