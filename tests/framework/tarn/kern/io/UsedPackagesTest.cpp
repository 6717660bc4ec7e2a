// Which packages a document names: what its "packageUris" decide is whether older content is noticed at all.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/Model.h>
#include <tarn/kern/meta/PackageBuilder.h>

#include "framework/tarn/kern/io/JsonTestModel.h"

namespace tarn::kern::jsontest {
namespace {

using meta::StandardTypes;
using testing::ElementsAre;
using testing::HasSubstr;

/// Seven packages that refer to each other; only those that content needs may be named.
void registerPackages() {
  static const bool kDone = [] {
    meta::PackageBuilder enums(u"usedenums");
    enums.addEnum(u"Color").literal(u"red", 0);
    enums.registerPackage();
    meta::PackageBuilder inner(u"usedinner");
    inner.addDataType(u"Inner").attribute(u"color", u"usedenums.Color");
    inner.registerPackage();
    meta::PackageBuilder data(u"useddata");
    data.addDataType(u"Data").attribute(u"inner", u"usedinner.Inner");
    data.registerPackage();
    meta::PackageBuilder omitted(u"usedomitted");
    omitted.addEnum(u"Hidden").literal(u"x", 0);
    omitted.registerPackage();
    meta::PackageBuilder base(u"usedbase");
    base.addClass(u"Base").attribute(u"name", StandardTypes::stringMeta);
    base.addClass(u"Other");
    base.registerPackage();
    meta::PackageBuilder mixin(u"usedmixin");
    mixin.addClass(u"Mixin").attribute(u"extra", StandardTypes::stringMeta);
    mixin.registerPackage();
    meta::PackageBuilder package(u"used");
    package.family(u"used", u"3.1");
    auto& derived = package.addClass(u"Derived").extends(u"usedbase.Base").alsoConformsTo(u"usedmixin.Mixin");
    derived.attribute(u"data", u"useddata.Data");
    derived.attribute(u"hidden", u"usedomitted.Hidden").transient();
    package.registerPackage();
    return true;
  }();
  static_cast<void>(kDone);
}

Model modelWith(const ustring& className) {
  registerPackages();
  const Model model = Model::create(ModelSpec());
  static_cast<void>(narrow<meta::Class>(meta::MetaRegistry::getInstance()->getType(className))->instantiate(model, {}));
  return model;
}

TEST(UsedPackages, AreNoneOfAnEmptyModel) {
  EXPECT_THAT(Model::create(ModelSpec())->getUsedPackageUris(), ElementsAre());
}

TEST(UsedPackages, AreThoseOfClassesSupertypesAndTypesOfWhatIsWritten) {
  EXPECT_THAT(modelWith(u"used.Derived")->getUsedPackageUris(),
              ElementsAre(u"tarn://schema/used/3.1", u"urn:usedbase", u"urn:useddata", u"urn:usedenums",
                          u"urn:usedinner", u"urn:usedmixin"));
  EXPECT_THAT(modelWith(u"usedbase.Base")->getUsedPackageUris(), ElementsAre(u"urn:usedbase"));
}

TEST(UsedPackages, StandInTheDocument) {
  EXPECT_THAT(written(modelWith(u"used.Derived")),
              HasSubstr(R"("packageUris":["tarn://schema/used/3.1","urn:usedbase","urn:useddata","urn:usedenums",)"
                        R"("urn:usedinner","urn:usedmixin"])"));
}

TEST(UsedPackages, OfElementsOfSeveralModelsAreThoseOfAll) {
  const Model first = modelWith(u"usedbase.Base");
  const Model second = emptyModel();
  const ModelElement element = newElement(second, u"Stranger", 1);
  EXPECT_THAT(written(std::vector{first->getTopLevelElements().front(), element}),
              HasSubstr(R"("packageUris":["urn:jsontest","urn:usedbase"])"));
}

}  // namespace
}  // namespace tarn::kern::jsontest
