#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bedrock/except.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "framework/tarn/kern/KernelTestModel.h"

using namespace kerneltest;  // NOLINT: the vocabulary of these tests
using namespace tarn::kern;  // NOLINT
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

const ReflectionPrivateTag& kPublic = ReflectionPrivateTag::PUBLIC_ACCESS;
const ReflectionPrivateTag& kPrivileged = ReflectionPrivateTag::PRIVILEGED_ACCESS;

template <class Error, class F>
std::string errorOf(F&& act) {
  try {
    act();
  } catch (const Error& error) {
    return error.what();
  }
  return "nothing was thrown";
}

class ElementTest : public testing::Test {
 protected:
  Model model = newModel();
  ModelElement node = newNode(model, u"first");
};

}  // namespace

TEST_F(ElementTest, ShowsDefaultsWhenNew) {
  EXPECT_EQ(node->get<std::int32_t>(u"count"), 5);
  EXPECT_EQ(node->get<std::int64_t>(u"color"), 1);
  EXPECT_FALSE(node->getOptional<ustring>(property(u"note")));
  EXPECT_EQ(node->get<ustring>(u"note"), u"");
  EXPECT_TRUE(live(node, u"children").toElementCollection().empty());
  EXPECT_TRUE(live(node, u"fields").toStringToStringMap().empty());
  EXPECT_TRUE(node->get<boost::posix_time::ptime>(u"when").is_not_a_date_time());
}

TEST_F(ElementTest, TellsAbsentFromZero) {
  EXPECT_FALSE(node->getPropertyValue(property(u"big"), kPublic).hasObject());
  node->set(u"big", std::int64_t{0});
  EXPECT_TRUE(node->getPropertyValue(property(u"big"), kPublic).hasObject());
  node->unset(property(u"big"));
  EXPECT_FALSE(node->getOptional<std::int64_t>(property(u"big")));
  node->unset(property(u"count"));
  EXPECT_EQ(node->get<std::int32_t>(u"count"), 0) << "an absent value, not the default, which is for new elements";
}

TEST_F(ElementTest, ReadsWhatWasWritten) {
  node->set(u"note", ustring(u"grüße \xD83D\xDE00"));
  node->set(u"flag", true);
  node->set(u"color", std::int64_t{-7});
  EXPECT_EQ(node->get<ustring>(u"note"), u"grüße \xD83D\xDE00");
  EXPECT_TRUE(node->get<bool>(u"flag"));
  EXPECT_EQ(node->get<std::int8_t>(u"color"), -7) << "an enum reads as any integer";
  EXPECT_EQ(*node->peek<ustring>(property(u"note")), u"grüße \xD83D\xDE00");
  EXPECT_EQ(*node->peek<std::int64_t>(property(u"color")), -7);
  EXPECT_EQ(node->peek<ustring>(property(u"name")), node->peek<ustring>(property(u"name")));
}

TEST_F(ElementTest, GivesSnapshotsOfSingleValues) {
  const Value before = node->getPropertyValue(property(u"name"), kPublic);
  node->set(u"name", u"second");
  EXPECT_EQ(before.get<ustring>(), u"first");
}

TEST_F(ElementTest, RefusesAValueOfAnotherTypeByItsTypesName) {
  const std::string before = dump(model);
  for (const char16_t* name : {u"count", u"flag", u"color", u"place", u"next"}) {
    const std::string error = errorOf<bedrock::except::IMsgIDException>(
        [&] { node->setPropertyValue(property(name), Value(ustring(u"x")), kPublic); });
    EXPECT_THAT(error, HasSubstr("\"String\"")) << "for property " << node->describe();
  }
  EXPECT_EQ(dump(model), before);
}

TEST_F(ElementTest, RefusesToSetACollectionAsASingleValue) {
  EXPECT_THROW(node->setPropertyValue(property(u"numbers"), Value(std::int32_t{1}), kPublic),
               bedrock::except::IMsgIDException);
  EXPECT_THROW(node->setPropertyValue(property(u"children"), Value(node), kPublic), bedrock::except::IMsgIDException);
}

TEST_F(ElementTest, AcceptsTheEmptyValueOfTheType) {
  node->setPropertyValue(property(u"note"), Value(u"x"), kPublic);
  node->setPropertyValue(property(u"note"), Value::createEmptyValue(property(u"note")->getType(), false), kPublic);
  EXPECT_FALSE(node->getOptional<ustring>(property(u"note")));
  set(node, u"next", node);
  node->setPropertyValue(property(u"next"), Value(ModelElement()), kPublic);
  EXPECT_FALSE(node->get<ModelElement>(u"next"));
}

TEST_F(ElementTest, ReadsAnUnsetReferenceAsAnEmptyValueOfItsClass) {
  const Value none = node->getPropertyValue(property(u"next"), kPublic);
  EXPECT_FALSE(none.hasObject());
  EXPECT_EQ(none.getType(), types().node);
  const ModelElement special = types().special->instantiate(model, boost::uuids::uuid{});
  set(node, u"next", special);
  EXPECT_EQ(node->getPropertyValue(property(u"next"), kPublic).getType(), types().special);
}

TEST_F(ElementTest, RefusesAPropertyThatItsClassLacks) {
  const ModelElement other = types().unrelated->instantiate(model, boost::uuids::uuid{});
  EXPECT_THAT(errorOf<PropertyError>([&] { (void)other->getPropertyValue(property(u"count"), kPublic); }),
              HasSubstr("the property \"count\" of kerneltest.Node was asked of Unrelated"));
  EXPECT_THAT(errorOf<PropertyError>([&] { (void)node->getPropertyValue(meta::Property(), kPublic); }),
              HasSubstr("a null property was asked of Node"));
  EXPECT_EQ(errorOf<PropertyError>([&] { (void)node->get<std::int32_t>(u"coutn"); }),
            "the class kerneltest.Node has no property \"coutn\"; did you mean \"count\"?");
}

TEST_F(ElementTest, KeepsGuardedPropertiesFromPublicAccess) {
  EXPECT_THAT(errorOf<PropertyError>([&] { (void)node->getPropertyValue(property(u"hidden"), kPublic); }),
              HasSubstr("is guarded"));
  EXPECT_THROW(node->set(u"hidden", std::int32_t{1}), PropertyError);
  node->set(property(u"hidden"), std::int32_t{1}, kPrivileged);
  EXPECT_EQ(node->get<std::int32_t>(property(u"hidden"), kPrivileged), 1);
}

TEST_F(ElementTest, KeepsReadOnlyPropertiesFromPublicWrites) {
  EXPECT_EQ(node->get<std::int32_t>(u"fixed"), 0);
  EXPECT_THAT(errorOf<PropertyError>([&] { node->set(u"fixed", std::int32_t{1}); }), HasSubstr("is read-only"));
  node->set(property(u"fixed"), std::int32_t{1}, kPrivileged);
  EXPECT_EQ(node->get<std::int32_t>(u"fixed"), 1);
}

TEST_F(ElementTest, SetsAMapByValueAndClearsItByAnEmptyOne) {
  node->setPropertyValue(property(u"fields"), Value(StringToStringMap{{u"a", u"1"}, {u"b", u"2"}}), kPublic);
  EXPECT_EQ(live(node, u"fields").toStringToStringMap().size(), 2U);
  node->unset(property(u"fields"));
  EXPECT_TRUE(live(node, u"fields").toStringToStringMap().empty());
}

TEST_F(ElementTest, ChangesThroughALiveMap) {
  const Value fields = live(node, u"fields");
  fields.toStringToStringMap().insert(u"k", u"v", CollisionResolution::Replace);
  EXPECT_EQ(live(node, u"fields").toStringToStringMap().find(u"k")->second, u"v");
  const Value copy = fields;
  EXPECT_THROW(copy.toStringToStringMap().clear(), SnapshotError);
  node->destroy();
  EXPECT_THROW((void)fields.toStringToStringMap(), DestroyedElementError);
}

TEST_F(ElementTest, DescribesItsPlaceForMessages) {
  const ModelElement child = newNode(model, u"a");
  add(node, u"children", newNode(model, u"b"));
  add(node, u"children", child);
  const ModelElement inner = newNode(model, u"c");
  set(child, u"only", inner);
  EXPECT_THAT(inner->describe(), testing::StartsWith("Node/children[1]/only (Node "));
}

TEST_F(ElementTest, ListsItsContents) {
  const ModelElement a = newNode(model, u"a");
  const ModelElement b = newNode(model, u"b");
  set(node, u"only", b);
  add(node, u"children", a);
  EXPECT_THAT(node->contents(), ElementsAre(a, b));
}

TEST_F(ElementTest, IsReadOnlyWhenItBelongsToTheMetaModel) {
  const ModelElement type = types().node;
  EXPECT_EQ(type->getMetaClass(), meta::Class::metaClass());
  EXPECT_FALSE(type->container());
  EXPECT_FALSE(type->getModel());
  EXPECT_FALSE(type->isDestroyed());
  EXPECT_FALSE(type->containerProperty());
  EXPECT_THROW((void)type->getPropertyValue(property(u"name"), kPublic), PropertyError);
  EXPECT_THROW(type->setPropertyValue(property(u"name"), Value(u"x"), kPublic), PropertyError);
  EXPECT_THROW(type->set(property(u"name"), ustring(u"x"), kPublic), PropertyError);
  EXPECT_THROW((void)type->peek<ustring>(property(u"name")), PropertyError);
  EXPECT_THROW((void)type->contents(), PropertyError);
  EXPECT_THROW((void)type->incomingReferences(), PropertyError);
  EXPECT_THROW(type->destroy(), KernelError);
  EXPECT_EQ(type->describe(), "the meta-model element \"Node\"");
}

TEST_F(ElementTest, RefersToNothingOfTheMetaModel) {
  meta::PackageBuilder builder(u"kerneltestPointers");
  auto& pointer = builder.addClass(u"Pointer");
  pointer.reference(u"any", ModelElement::metaClass());
  pointer.reference(u"all", ModelElement::metaClass()).many();
  const meta::Package package = builder.registerPackage();
  const ModelElement pointing =
      narrow<meta::Class>(package->getTypes().at(u"Pointer"))->instantiate(model, boost::uuids::uuid{});
  const ModelElement type = types().node;
  const std::string refusal =
      "cannot refer to the meta-model element \"Node\": it belongs to the meta-model, not to a model";
  EXPECT_EQ(errorOf<ContainmentError>([&] { pointing->set(u"any", type); }), refusal);
  EXPECT_EQ(
      errorOf<ContainmentError>([&] { pointing->setPropertyValue(pointing->property(u"any"), Value(type), kPublic); }),
      refusal);
  const Value all = pointing->getPropertyValue(pointing->property(u"all"), kPublic);
  ElementCollection& members = all.toElementCollection();
  EXPECT_EQ(errorOf<ContainmentError>([&] { members.addElement(type); }), refusal);
  EXPECT_EQ(errorOf<ContainmentError>([&] { members.assign({node, type}); }), refusal);
  members.addElement(node);
  EXPECT_FALSE(members.contains(type));
  EXPECT_EQ(members.find(type), 1U) << "none";
  EXPECT_FALSE(members.remove(type));
  EXPECT_THAT(members.getAllElements(), ElementsAre(node));
  EXPECT_FALSE(pointing->get<ModelElement>(u"any"));
}

TEST_F(ElementTest, RefusesAReferenceInAValueThatContradictsItself) {
  const Value many(ValueMeta(types().node, ValueFlags::Collection), node);
  EXPECT_THROW(node->setPropertyValue(property(u"next"), many, kPublic), bedrock::except::IMsgIDException);
  const Value declaredAsBase(ValueMeta(types().abstractNode, ValueFlags::Single), node);
  node->setPropertyValue(property(u"next"), declaredAsBase, kPublic);
  EXPECT_EQ(node->get<ModelElement>(u"next"), node) << "what is stored decides";
}

TEST_F(ElementTest, IsReadInPlaceAsWhatItsPropertyHolds) {
  EXPECT_THROW((void)node->peek<std::int32_t>(property(u"note")), bedrock::except::IMsgIDException);
  EXPECT_THROW((void)node->peek<std::int32_t>(property(u"color")), bedrock::except::IMsgIDException);
  EXPECT_THROW((void)node->peek<std::int64_t>(property(u"note")), bedrock::except::IMsgIDException);
  EXPECT_THROW((void)node->peek<std::int32_t>(property(u"numbers")), bedrock::except::IMsgIDException);
  EXPECT_THROW((void)node->peekCollection<std::int32_t>(property(u"labels")), bedrock::except::IMsgIDException);
  EXPECT_THROW((void)node->peekCollection<ustring>(property(u"note")), bedrock::except::IMsgIDException);
  EXPECT_THROW((void)node->peekElement(property(u"note")), bedrock::except::IMsgIDException);
  EXPECT_THROW((void)node->peekElement(property(u"children")), bedrock::except::IMsgIDException);
  EXPECT_THROW((void)node->peekElements(property(u"next")), bedrock::except::IMsgIDException);
  const ModelElement child = newNode(model, u"child");
  add(node, u"children", child);
  EXPECT_EQ(child->peekElement(property(u"parent")), node.get());
  EXPECT_EQ(child->peekElement(property(u"onlyOf")), nullptr) << "contained, but not there";
  EXPECT_THAT(node->peekElements(property(u"children")), ElementsAre(child.get()));
}

TEST_F(ElementTest, IsOverwrittenInPlaceOnlyByWhatItsPropertyHolds) {
  const std::string before = dump(model);
  EXPECT_THROW(node->set(u"note", std::int64_t{1}), bedrock::except::IMsgIDException);
  EXPECT_THROW(node->set(u"color", 1.5), bedrock::except::IMsgIDException);
  EXPECT_THROW(node->set(u"numbers", std::int32_t{1}), bedrock::except::IMsgIDException);
  EXPECT_EQ(dump(model), before);
  node->set(u"color", std::int8_t{0});
  EXPECT_EQ(node->get<std::int64_t>(u"color"), 0);
}

TEST_F(ElementTest, RefusesToUnsetWhatIsNoProperty) {
  EXPECT_THAT(errorOf<PropertyError>([&] { node->unset(meta::Property()); }),
              HasSubstr("a null property was asked of"));
}

TEST_F(ElementTest, AtTheTopIsHeldByNoProperty) {
  EXPECT_FALSE(node->container());
  EXPECT_FALSE(node->containerProperty());
}

TEST_F(ElementTest, ThatIsDestroyedIsDescribedAlone) {
  const ModelElement child = newNode(model, u"child");
  set(node, u"only", child);
  child->destroy();
  EXPECT_THAT(child->describe(), testing::StartsWith("Node (Node "));
}

TEST_F(ElementTest, ListsNoContentsWhereThereAreNone) {
  add(node, u"children", ModelElement());
  EXPECT_THAT(node->contents(), testing::IsEmpty());
}

TEST_F(ElementTest, HasTheContainerThroughTheOppositeOfItsPlaceAlone) {
  meta::PackageBuilder builder(u"kerneltestHolders");
  builder.addClass(u"Holder").composite(u"held", types().node);
  const meta::Package package = builder.registerPackage();
  const ModelElement holder =
      narrow<meta::Class>(package->getTypes().at(u"Holder"))->instantiate(model, boost::uuids::uuid{});
  set(holder, u"held", node);
  EXPECT_EQ(node->container(), holder);
  EXPECT_FALSE(node->get<ModelElement>(u"parent"));
  EXPECT_EQ(node->peekElement(property(u"parent")), nullptr);
}
