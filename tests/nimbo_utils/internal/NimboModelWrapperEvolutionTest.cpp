// What a wrapper that evolves, and one that does not, make of files of an older package version.

#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include <tarn/kern/evolution/Evolution.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "../support/Saving.h"
#include "../support/TestWrapper.h"
#include "quillon/nimbo/internal/NimboModelWrapperBase.h"
#include "support/TemporaryFolder.h"

namespace {

namespace meta = tarn::kern::meta;
using testsupport::contentOf;
using testsupport::TemporaryFolder;
using testsupport::TestWrapper;
using testsupport::WrapperSetup;
using testsupport::writeFile;

/// "evolving", class Item: what was "label" in version 1 is "title" in version 2.
meta::Class define(const char16_t* version, const char16_t* attribute) {
  meta::PackageBuilder package(u"evolving");
  package.family(u"evolving", version);
  package.addClass(u"Item").attribute(attribute, meta::StandardTypes::stringMeta);
  return narrow<meta::Class>(package.registerPackage()->getTypes().at(u"Item"));
}

WrapperSetup ofClass(const meta::Class& rootClass) {
  WrapperSetup setup;
  setup.rootClass = rootClass;
  return setup;
}

/// The same content in every form, written while version 1 was current; now version 2 is.
struct OldFiles {
  OldFiles() {
    const TemporaryFolder folder;
    const meta::Class item = define(u"1", u"label");
    {
      TestWrapper wrapper(ofClass(item));
      wrapper.open(folder.file(u"store"));
      wrapper.beginTransaction();
      wrapper.getRoot()->set(u"label", u"kept");
      wrapper.commitTransaction();
      wrapper.serializeToBinFile(folder.file(u"binary"));
      wrapper.serializeToJSONFile(folder.file(u"json"));
      wrapper.serializeToXMLFile(folder.file(u"xml"));
      uris = wrapper.getUsedPackageUrisAsJSON();
    }
    for (std::string* form : {&store, &binary, &json, &xml}) {
      *form = contentOf(folder / (form == &store    ? "store"
                                  : form == &binary ? "binary"
                                  : form == &json   ? "json"
                                                    : "xml"));
    }
    current = define(u"2", u"title");
    tarn::kern::evolution::Evolution(u"evolving")
        .from(u"1")
        .to(u"2")
        .renameProperty(u"Item", u"label", u"title")
        .registerEvolution();
  }
  std::string store, binary, json, xml, uris;
  meta::Class current;
};

const OldFiles& oldFiles() {
  static const OldFiles kFiles;
  return kFiles;
}

class OldContent : public testing::TestWithParam<std::string OldFiles::*> {
 protected:
  OldContent() : fBytes(oldFiles().*GetParam()), fWrapper(ofClass(oldFiles().current)) {
    writeFile(fFolder / "old", fBytes);
  }
  TemporaryFolder fFolder;
  std::string fBytes;
  TestWrapper fWrapper;
};

TEST_P(OldContent, IsBroughtUpToDate) {
  fWrapper.open(fFolder.file(u"old"));
  EXPECT_EQ(fWrapper.getRoot()->get<std::u16string>(u"title"), u"kept");
}

TEST_P(OldContent, IsRefusedWhereEvolutionIsOff) {
  const testsupport::CerrCapture quiet;
  fWrapper.setEvolveIfNeeded(false);
  EXPECT_ANY_THROW(fWrapper.open(fFolder.file(u"old")));
  EXPECT_FALSE(fWrapper.getRoot());
  EXPECT_TRUE(contentOf(fFolder / "old") == fBytes) << "the file is left as it was";
}

INSTANTIATE_TEST_SUITE_P(EveryForm, OldContent,
                         testing::Values(&OldFiles::binary, &OldFiles::json, &OldFiles::xml, &OldFiles::store),
                         [](const auto& form) {
                           return std::string(form.param == &OldFiles::binary ? "Binary"
                                              : form.param == &OldFiles::json ? "Json"
                                              : form.param == &OldFiles::xml  ? "Xml"
                                                                              : "Store");
                         });

TEST(OldContentOfAWrapper, IsKnownByItsPackagesBeforeItIsOpened) {
  EXPECT_TRUE(TestWrapper::evolveIsNeeded(oldFiles().uris));
}

}  // namespace
