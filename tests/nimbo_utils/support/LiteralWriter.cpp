#include "LiteralWriter.h"

#include <map>
#include <stdexcept>

#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/StringToStringMap.h>
#include <tarn/kern/meta/Enum.h>

#include "quillon/nimbo/CustomBinSerializerBase.h"
#include "quillon/nimbo/StreamOArchive.h"

namespace testsupport {

namespace kern = tarn::kern;
namespace meta = tarn::kern::meta;
using kern::ModelElement;
using kern::Value;

namespace {

/// The letter of a type, by its name: standard types bear their names alone, all others those of a package in front.
char letterOf(const meta::Type& type) {
  static const std::map<std::u16string, char> kStandard = {
      {u"String", 'S'},    {u"StdString", 's'},  {u"Integer", 'i'},
      {u"Integer8", 'c'},  {u"Integer16", 'j'},  {u"Integer64", 'l'},
      {u"Real", 'd'},      {u"Boolean", 'b'},    {u"UnlimitedNatural", 'I'},
      {u"UInteger8", 'C'}, {u"UInteger16", 'J'}, {u"UInteger64", 'L'},
      {u"UUID", 'U'},      {u"DateTime", 'D'},   {u"StringToStringMap", 'M'}};
  const auto standard = kStandard.find(type->getQualifiedName());
  if (standard != kStandard.end()) return standard->second;
  if (kern::narrow<meta::Class>(type)) return 'm';
  if (kern::narrow<meta::DataType>(type)) return 'r';
  return kern::narrow<meta::Enum>(type) ? 'e' : 'N';
}

class LiteralWriter {
 public:
  explicit LiteralWriter(std::ostream& stream) : fOut(stream) {}

  void writeAll(const std::vector<ModelElement>& roots) {
    fOut << (roots.empty() ? std::vector<std::u16string>() : roots.front()->getModel()->getUsedPackageUris());
    for (const ModelElement& root : roots) {
      fOut.put('m');
      writeElement(root, true);
    }
    fOut.put('n');
  }

 private:
  using Ids = std::map<const void*, std::int64_t>;

  /// True when the definition follows.
  bool writeId(Ids& ids, const void* thing) {
    const auto [found, isNew] = ids.try_emplace(thing, static_cast<std::int64_t>(ids.size()) + 1);
    fOut << (isNew ? found->second : -found->second);
    return isNew;
  }

  void writeType(const meta::Type& type) {
    if (writeId(fTypes, type.get())) fOut << type->getQualifiedName();
  }

  void writeElement(const ModelElement& element, bool full) {
    if (!element) {
      fOut << std::int64_t{0};
      return;
    }
    if (writeId(fElements, element.get())) {
      writeType(element->getMetaClass());
      fOut << element->getUuid();
    }
    fOut << full;
    if (!full) return;
    for (meta::Class level = element->getMetaClass(); level; level = level->getSuperclass()) {
      for (const auto& entry : level->getOwnedAttributes()) {
        const meta::Property& property = entry.second;
        if (isWritten(property)) {
          writeProperty(property, element->getPropertyValue(property, kern::ReflectionPrivateTag::PRIVILEGED_ACCESS));
        }
      }
    }
    fOut << std::int64_t{0};
  }

  static bool isWritten(const meta::Property& property) {
    const meta::Property& opposite = property->getOpposite();
    return !property->isOmitted && (property->isComposite || !opposite || !opposite->isComposite);
  }

  void writeProperty(const meta::Property& property, const Value& value) {
    const auto fallback = property->defaultValue();
    if (fallback && *fallback == value) return;
    if (writeId(fProperties, property.get())) fOut << property->getName();
    const char letter = letterOf(property->getType());
    if (property->upper > 1) {
      fOut.put('[').put(letter);
      writeCollection(property, letter, value);
    } else if (letter == 'm') {
      fOut.put('m');
      writeElement(value.get<ModelElement>(), property->isComposite);
    } else if (property->lower == 0 && !value.hasObject()) {
      fOut.put('n');
    } else {
      fOut.put(letter);
      writeValue(property->getType(), letter, value);
    }
  }

  void writeCollection(const meta::Property& property, char letter, const Value& value) {
    if (letter == 'm') {
      const auto elements = value.toElementCollection().getAllElements();
      fOut << std::uint64_t{elements.size()};
      for (const ModelElement& element : elements) writeElement(element, property->isComposite);
      return;
    }
    const auto entries = value.toPrimitiveCollection().getAllValues();
    fOut << std::uint64_t{entries.size()};
    for (const Value& entry : entries) writeValue(property->getType(), letter, entry);
  }

  void writeValue(const meta::Type& type, char letter, const Value& value) {
    // clang-format off
    switch (letter) {
      case 'S': fOut << value.get<std::u16string>(); break;
      case 's': fOut << value.get<std::string>(); break;
      case 'i': fOut << value.get<std::int32_t>(); break;
      case 'c': fOut << value.get<std::int8_t>(); break;
      case 'j': fOut << value.get<std::int16_t>(); break;
      case 'l': fOut << value.get<std::int64_t>(); break;
      case 'd': fOut << value.get<double>(); break;
      case 'b': fOut << value.get<bool>(); break;
      case 'I': fOut << value.get<std::uint32_t>(); break;
      case 'C': fOut << value.get<std::uint8_t>(); break;
      case 'J': fOut << value.get<std::uint16_t>(); break;
      case 'L': fOut << value.get<std::uint64_t>(); break;
      case 'U': fOut << value.get<boost::uuids::uuid>(); break;
      case 'D': fOut << kern::DateTimeUtils::Conversion::toUstring(value.get<boost::posix_time::ptime>()); break;
      case 'e': writeLiteral(type, value.get<std::int64_t>()); break;
      case 'M': writeMap(value.toStringToStringMap()); break;
      case 'r': writeData(type, value.toReflectiveDataType()); break;
      case 'N': writeCustom(type, value); break;
      default: throw std::logic_error("no value has this letter");
    }
    // clang-format on
  }

  void writeLiteral(const meta::Type& type, std::int64_t number) {
    const meta::EnumLiteral literal = kern::narrow<meta::Enum>(type)->getLiteral(number);
    if (writeId(fLiterals, literal.get())) fOut << literal->getName();
  }

  void writeMap(const kern::StringToStringMap& map) {
    fOut << std::uint64_t{map.size()};
    for (const auto& [key, text] : map) fOut << key << text;
  }

  void writeData(const meta::Type& type, const kern::ReflectiveDataType& data) {
    writeType(type);
    for (const auto& entry : kern::narrow<meta::DataType>(type)->getOwnedAttributes()) {
      if (isWritten(entry.second)) writeProperty(entry.second, data.getPropertyValue(entry.second));
    }
    fOut << std::int64_t{0};
  }

  void writeCustom(const meta::Type& type, const Value& value) {
    writeType(type);
    quillon::nimbo::CustomBinSerializerBase::getCustomBinSerializer(type)->serialize(fOut, value);
  }

  quillon::nimbo::StreamOArchive fOut;
  Ids fElements;
  Ids fTypes;
  Ids fProperties;
  Ids fLiterals;
};

}  // namespace

void writeLiterally(std::ostream& stream, const std::vector<ModelElement>& roots) {
  LiteralWriter(stream).writeAll(roots);
}

}  // namespace testsupport
