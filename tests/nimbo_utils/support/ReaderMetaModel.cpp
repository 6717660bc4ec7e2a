#include "ReaderMetaModel.h"

#include <bedrock/i18n.h>
#include <tarn/kern/meta/PackageBuilder.h>
#include <tarn/kern/meta/StandardTypes.h>

namespace testsupport {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using meta::StandardTypes;

namespace {

void registerReading() {
  meta::PackageBuilder builder(u"reading");
  builder.uri(u"urn:reading");
  auto& shape = builder.addClass(u"Shape").makeAbstract();
  shape.attribute(u"name", StandardTypes::stringMeta);
  builder.addClass(u"Circle").extends(shape).attribute(u"radius", StandardTypes::integerMeta);
  builder.addClass(u"Stranger").attribute(u"name", StandardTypes::stringMeta);
  builder.addClass(u"Noted").attribute(u"notes", StandardTypes::stringToStringMapMeta).required();

  const auto& blob = builder.addPrimitive<Blob>(
      u"Blob", [](const Blob& value) { return bedrock::i18n::utf8_to_ustring(value.bytes); },
      [](const std::u16string& text) { return Blob{bedrock::i18n::ustring_to_utf8(text)}; });
  auto& blobs = builder.addClass(u"Blobs");
  blobs.attribute(u"blob", blob).required();
  blobs.attribute(u"more", blob).many();

  auto& level = builder.addDataType(u"Level");
  level.attribute(u"number", StandardTypes::integerMeta).required().defaultsTo(kern::Value(std::int32_t{3}));
  level.attribute(u"inner", level).many();
  level.attribute(u"notes", StandardTypes::stringToStringMapMeta).required();
  level.attribute(u"target", shape);
  level.attribute(u"targets", shape).many();
  level.attribute(u"marks", StandardTypes::integerMeta).many();
  builder.addClass(u"Levels").attribute(u"levels", level).required();
  static_cast<void>(builder.registerPackage());
}

void registerAgeing(const char16_t* version) {
  meta::PackageBuilder builder(u"ageing");
  builder.family(u"ageing", version);
  builder.addClass(u"Thing").attribute(u"name", StandardTypes::stringMeta);
  static_cast<void>(builder.registerPackage());
}

}  // namespace

void registerReaderMetaModel() {
  static const bool kRegistered = [] {
    registerReading();
    registerAgeing(u"1.0");
    registerAgeing(u"2.0");
    return true;
  }();
  static_cast<void>(kRegistered);
}

}  // namespace testsupport
