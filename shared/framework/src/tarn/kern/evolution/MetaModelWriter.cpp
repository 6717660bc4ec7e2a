#include <algorithm>
#include <set>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <bedrock/deep_call.h>
#include <tarn/kern/DateTimeUtils.h>
#include <tarn/kern/meta/Enum.h>
#include <tarn/kern/meta/MetaModelFile.h>
#include <tarn/kern/meta/MetaRegistry.h>
#include <tarn/kern/meta/StandardTypes.h>

#include "../Layout.h"
#include "../StorageDispatch.h"
#include "../io/JsonText.h"
#include "EvolutionRegistry.h"
#include "Steps.h"

namespace tarn::kern::meta {

namespace {

using evolution::internal::quoted;
using evolution::internal::Step;
using evolution::internal::TypeKind;

/// JSON laid out for people: an object on one line where nothing inside it is long, and an entry per line elsewhere.
class Layout {
 public:
  explicit Layout(std::string& out) : fText(out) {}

  /// A container whose entries stand on lines of their own.
  void open(char bracket) {
    fText.put(bracket);
    ++fDepth;
    fIsFirst = true;
  }
  void close(char bracket) {
    --fDepth;
    if (!fIsFirst) newLine();
    fText.put(bracket);
    fIsFirst = false;
  }
  void entry() {
    if (!fIsFirst) fText.put(',');
    newLine();
    fIsFirst = false;
  }
  void key(std::string_view name) {
    entry();
    bareKey(name);
  }

  /// An object on one line, as part of an entry.
  void openLine() {
    fText.put("{ ");
    fIsFirst = true;
  }
  void lineKey(std::string_view name) {
    if (!fIsFirst) fText.put(", ");
    bareKey(name);
    fIsFirst = false;
  }
  void closeLine() {
    fText.put(fIsFirst ? "}" : " }");
    fIsFirst = false;
  }

  void text(std::u16string_view value) { fText.string(value); }
  void flag(bool value) { fText.put(value ? "true" : "false"); }
  [[nodiscard]] io::JsonText& raw() noexcept { return fText; }
  void finish() {
    fText.put('\n');
    fText.flush();
  }

 private:
  void newLine() {
    fText.put('\n');
    for (std::size_t i = 0; i < fDepth; ++i) fText.put("  ");
  }
  void bareKey(std::string_view name) {
    fText.put('"');
    fText.put(name);
    fText.put("\": ");
  }

  io::JsonText fText;
  std::size_t fDepth = 0;
  bool fIsFirst = true;
};

class MetaModelWriter {
 public:
  explicit MetaModelWriter(std::string& out) : fOut(out) {}

  void write(const std::vector<Package>& packages) {
    fOut.open('{');
    fOut.key("metamodel");
    fOut.text(u"1.0");
    writePackages(packages);
    writeEvolutions(packages);
    fOut.close('}');
    fOut.finish();
  }

 private:
  void writePackages(const std::vector<Package>& packages);
  void writePackage(const Package& package);
  void writeType(const Type& type);
  void writeClass(const Class& type);
  void writeProperties(const StructuredType& type);
  void writeProperty(const Property& property, const StructuredType& owner);
  void writeFlags(const Property& property);
  void writeDefault(const Property& property);
  void writeLiterals(const Enum& type);
  void writeAnnotations(const NamedElement& element, bool isOnOneLine);
  void writeEvolutions(const std::vector<Package>& packages);
  void collectFamilies(const Package& package, std::set<ustring>& families) const;
  void writeStage(const ustring& family, const evolution::internal::Stage& stage);
  void writeStep(const ustring& family, const Step& step);
  void writePlain(const io::RawValue& value);

  void lineText(std::string_view key, std::u16string_view value) {
    fOut.lineKey(key);
    fOut.text(value);
  }
  void lineFlag(std::string_view key, bool value = true) {
    fOut.lineKey(key);
    fOut.flag(value);
  }

  Layout fOut;
};

/// The name by which a definition in `home` finds the type.
ustring nameFor(const Type& type, const Package& home) {
  const bool isNeighbour = type->getOwningPackage() == home;
  if (!isNeighbour) return type->getQualifiedName();
  const Type standard = MetaRegistry::getInstance()->getType(type->getName());
  const bool isHidden = standard && !standard->getOwningPackage();
  return isHidden ? type->getQualifiedName() : type->getName();
}

// --- Packages and types.

void MetaModelWriter::writePackages(const std::vector<Package>& packages) {
  fOut.key("packages");
  fOut.open('[');
  for (const Package& package : packages) {
    fOut.entry();
    bedrock::stack::callDeep([&] { writePackage(package); });
  }
  fOut.close(']');
}

void MetaModelWriter::writePackage(const Package& package) {
  fOut.open('{');
  fOut.key("name");
  fOut.text(package->getName());
  if (!package->getFamily().empty()) {
    fOut.key("family");
    fOut.text(package->getFamily());
    fOut.key("version");
    fOut.text(package->getVersion());
  } else if (package->getUri() != u"urn:" + package->getQualifiedName()) {
    fOut.key("uri");
    fOut.text(package->getUri());
  }
  writeAnnotations(package, false);
  fOut.key("types");
  fOut.open('[');
  for (const Type& type : package->getTypesInOrder()) {
    fOut.entry();
    writeType(type);
  }
  fOut.close(']');
  if (!package->getPackages().empty()) writePackages(package->getPackages());
  fOut.close('}');
}

void MetaModelWriter::writeType(const Type& type) {
  fOut.open('{');
  if (const Class asClass = narrow<Class>(type)) {
    writeClass(asClass);
  } else if (const DataType dataType = narrow<DataType>(type)) {
    fOut.key("dataType");
    fOut.text(type->getName());
    writeAnnotations(type, false);
    writeProperties(dataType);
  } else if (const Enum asEnum = narrow<Enum>(type)) {
    fOut.key("enum");
    fOut.text(type->getName());
    writeAnnotations(type, false);
    writeLiterals(asEnum);
  } else {
    fOut.key("primitive");
    fOut.text(type->getName());
    writeAnnotations(type, false);
  }
  fOut.close('}');
}

void MetaModelWriter::writeClass(const Class& type) {
  const Package home = type->getOwningPackage();
  fOut.key("class");
  fOut.text(type->getName());
  if (type->isAbstract()) {
    fOut.key("abstract");
    fOut.flag(true);
  }
  if (type->getSuperclass() != ModelElement::metaClass()) {
    fOut.key("superclass");
    fOut.text(nameFor(type->getSuperclass(), home));
  }
  if (!type->getFurtherSupertypes().empty()) {
    fOut.key("furtherSupertypes");
    fOut.open('[');
    for (const Class& supertype : type->getFurtherSupertypes()) {
      fOut.entry();
      fOut.text(nameFor(supertype, home));
    }
    fOut.close(']');
  }
  writeAnnotations(type, false);
  writeProperties(type);
}

void MetaModelWriter::writeLiterals(const Enum& type) {
  fOut.key("literals");
  fOut.open('[');
  for (const EnumLiteral& literal : type->getLiteralsInOrder()) {
    fOut.entry();
    fOut.openLine();
    lineText("name", literal->getName());
    fOut.lineKey("number");
    fOut.raw().number(literal->getValue());
    fOut.closeLine();
  }
  fOut.close(']');
}

void MetaModelWriter::writeAnnotations(const NamedElement& element, bool isOnOneLine) {
  if (element->getAnnotations().empty()) return;
  isOnOneLine ? fOut.lineKey("annotations") : fOut.key("annotations");
  fOut.raw().put('[');
  const char* separator = "";
  for (const Annotation& annotation : element->getAnnotations()) {
    fOut.raw().put(separator);
    separator = ", ";
    fOut.openLine();
    lineText("source", annotation.source);
    fOut.lineKey("details");
    fOut.raw().put('[');
    const char* between = "";
    for (const auto& [key, value] : annotation.details) {
      fOut.raw().put(between);
      between = ", ";
      fOut.openLine();
      lineText("key", key);
      lineText("value", value);
      fOut.closeLine();
    }
    fOut.raw().put(']');
    fOut.closeLine();
  }
  fOut.raw().put(']');
}

// --- Properties.

void MetaModelWriter::writeProperties(const StructuredType& type) {
  std::vector<Property> own;
  for (const Property& property : type->getOwnedAttributesInOrder()) {
    if (!property->getOrigin()) own.push_back(property);  // others are copied in again when the type is registered
  }
  if (own.empty()) return;
  fOut.key("properties");
  fOut.open('[');
  for (const Property& property : own) {
    fOut.entry();
    writeProperty(property, type);
  }
  fOut.close(']');
}

void MetaModelWriter::writeProperty(const Property& property, const StructuredType& owner) {
  const bool isReference = property->isReference() && owner->kind() == ModelElement::Impl::Kind::Class;
  const Package home = owner->getOwningPackage();
  fOut.openLine();
  lineText(property->isComposite ? "composite" : (isReference ? "reference" : "attribute"), property->getName());
  lineText("type", nameFor(property->getType(), home));
  const auto bound = [&](std::string_view key, std::uint32_t value) {
    fOut.lineKey(key);
    if (value == Property::Impl::kUnlimited) {
      fOut.text(u"*");
    } else {
      fOut.raw().number(value);
    }
  };
  if (property->lower != 0) bound("lower", property->lower);
  if (property->upper != 1) bound("upper", property->upper);
  if (property->defaultValue()) writeDefault(property);
  if (property->getOpposite()) lineText("opposite", property->getOpposite()->getName());
  if (property->getQualifiedBy()) lineText("qualifiedBy", property->getQualifiedBy()->getName());
  writeFlags(property);
  writeAnnotations(property, true);
  fOut.closeLine();
}

void MetaModelWriter::writeFlags(const Property& property) {
  const bool isUniqueUnsaid = property->isReference() && property->isCollection();
  if (property->isUnique != isUniqueUnsaid) lineFlag("unique", property->isUnique);
  if (!property->isOrdered) lineFlag("ordered", false);
  if (property->isDerived) lineFlag("derived");
  if (property->isTransient) lineFlag("transient");
  if (property->isReadOnly) lineFlag("readOnly");
  if (property->isGuarded) lineFlag("guarded");
  if (property->usesGenericStorage) lineFlag("genericStorage");
}

[[noreturn]] void refuseDefault(const Property& property, const std::string& why) {
  throw KernelError("the default of " + quoted(property->getOwner()->getQualifiedName()) + ", property " +
                    quoted(property->getName()) + ", cannot be written to a meta-model file: " + why);
}

void MetaModelWriter::writeDefault(const Property& property) {
  const Value& value = *property->defaultValue();
  const StorageType storage = kern::internal::storageTypeOf(property->getType());
  fOut.lineKey("default");
  if (storage == StorageType::Data) refuseDefault(property, "it is a value of a data type");
  if (storage == StorageType::Custom) {
    const ustring text = narrow<PrimitiveType>(property->getType())->toText(value);
    if (text.find(u'\0') != ustring::npos) refuseDefault(property, "its text form contains a NUL");
    return fOut.text(text);
  }
  if (storage == StorageType::Enum) {
    const EnumLiteral literal = narrow<Enum>(property->getType())->getLiteral(value.get<std::int64_t>());
    if (!literal) refuseDefault(property, "it is a number without a literal");
    return fOut.text(literal->getName());
  }
  kern::internal::dispatchSingle(storage, [&](auto tag) {
    using T = typename decltype(tag)::Type;
    io::JsonText& text = fOut.raw();
    if constexpr (std::is_same_v<T, bool>) {
      fOut.flag(value.get<bool>());
    } else if constexpr (std::is_same_v<T, double>) {
      text.real(value.get<double>());
    } else if constexpr (std::is_integral_v<T>) {
      text.number(value.get<T>());
    } else if constexpr (std::is_same_v<T, ustring>) {
      text.string(value.get<ustring>());
    } else if constexpr (std::is_same_v<T, std::string>) {
      text.bytes(value.get<std::string>());
    } else if constexpr (std::is_same_v<T, boost::uuids::uuid>) {
      text.uuid(value.get<boost::uuids::uuid>());
    } else if constexpr (std::is_same_v<T, boost::posix_time::ptime>) {
      text.string(DateTimeUtils::Conversion::toUstring(value.get<boost::posix_time::ptime>()));
    }
  });
}

// --- Evolution.

void MetaModelWriter::collectFamilies(const Package& package, std::set<ustring>& families) const {
  const bool isCurrent = MetaRegistry::getInstance()->getPackageForFamily(package->getFamily()) == package;
  if (!package->getFamily().empty() && isCurrent) families.insert(package->getFamily());
  for (const Package& inner : package->getPackages()) {
    bedrock::stack::callDeep([&] { collectFamilies(inner, families); });
  }
}

void MetaModelWriter::writeEvolutions(const std::vector<Package>& packages) {
  std::set<ustring> families;
  for (const Package& package : packages) collectFamilies(package, families);
  std::erase_if(families, [](const ustring& family) {
    return evolution::internal::EvolutionRegistry::instance().stagesOf(family)->empty();
  });
  if (families.empty()) return;
  fOut.key("evolution");
  fOut.open('[');
  for (const ustring& family : families) {
    const auto stages = evolution::internal::EvolutionRegistry::instance().stagesOf(family);
    for (const evolution::internal::Stage& stage : *stages) {
      fOut.entry();
      writeStage(family, stage);
    }
  }
  fOut.close(']');
}

void MetaModelWriter::writeStage(const ustring& family, const evolution::internal::Stage& stage) {
  fOut.open('{');
  fOut.key("family");
  fOut.text(family);
  fOut.key("from");
  fOut.text(stage.from);
  fOut.key("to");
  fOut.text(stage.to);
  fOut.key("steps");
  fOut.open('[');
  for (const Step& step : stage.steps) {
    fOut.entry();
    fOut.openLine();
    writeStep(family, step);
    fOut.closeLine();
  }
  fOut.close(']');
  fOut.close('}');
}

void MetaModelWriter::writePlain(const io::RawValue& value) {
  switch (value.kind()) {
    case io::RawValue::Kind::Boolean:
      return fOut.flag(value.boolean());
    case io::RawValue::Kind::Number: {
      const bool isSpelled = value.number().find_first_not_of("0123456789+-.eE") == std::string::npos;
      // What JSON has no number for is a text there, and read back as one.
      if (isSpelled) return fOut.raw().put(value.number());
      return fOut.text(bedrock::i18n::utf8_to_ustring(value.number()));
    }
    default:
      return fOut.text(value.text());
  }
}

void MetaModelWriter::writeStep(const ustring& family, const Step& step) {
  using namespace evolution::internal;
  const auto kind = [&](std::string_view name) {
    fOut.lineKey("step");
    fOut.raw().put('"');
    fOut.raw().put(name);
    fOut.raw().put('"');
  };
  const auto renaming = [&](std::string_view name, const ustring& from, const ustring& to) {
    kind(name);
    lineText("from", from);
    lineText("to", to);
  };
  const auto ofProperty = [&](std::string_view name, const ustring& type, const ustring& property) {
    kind(name);
    lineText("type", type);
    lineText("property", property);
  };
  std::visit(Overloaded{[&](const RenamePackage& s) { renaming("renamePackage", s.from, s.to); },
                        [&](const RenameType& s) {
                          renaming(s.kind == TypeKind::Class      ? "renameClass"
                                   : s.kind == TypeKind::DataType ? "renameDataType"
                                                                  : "renameEnum",
                                   s.from, s.to);
                        },
                        [&](const MergeClass& s) {
                          kind("mergeClass");
                          lineText("from", s.from);
                          lineText("into", s.into);
                        },
                        [&](const RemoveType& s) {
                          const bool isClass = s.kind == TypeKind::Class;
                          kind(isClass ? "removeClass" : "removeDataType");
                          lineText(isClass ? "class" : "dataType", s.name);
                        },
                        [&](const ChangeSuperclass& s) {
                          kind("changeSuperclass");
                          lineText("class", s.type);
                          lineText("from", s.from);
                          lineText("to", s.to);
                        },
                        [&](const RenameProperty& s) {
                          kind("renameProperty");
                          lineText("type", s.type);
                          lineText("from", s.from);
                          lineText("to", s.to);
                        },
                        [&](const RemoveProperty& s) { ofProperty("removeProperty", s.type, s.name); },
                        [&](const AddProperty& s) {
                          ofProperty("addProperty", s.type, s.name);
                          if (!s.value) return;
                          fOut.lineKey("value");
                          writePlain(*s.value);
                        },
                        [&](const ChangeType& s) {
                          ofProperty("changeType", s.type, s.name);
                          lineText("from", s.from);
                          lineText("to", s.to);
                        },
                        [&](const ToCollection& s) { ofProperty("toCollection", s.type, s.name); },
                        [&](const ToSingle& s) {
                          ofProperty("toSingle", s.type, s.name);
                          if (s.surplus == evolution::Surplus::KeepFirst) lineFlag("keepFirst");
                        },
                        [&](const MoveProperty& s) {
                          kind("moveProperty");
                          lineText("type", s.type);
                          lineText("from", s.from);
                          lineText("to", s.to);
                        },
                        [&](const NewDefault& s) {
                          ofProperty("newDefault", s.type, s.name);
                          fOut.lineKey("oldDefault");
                          writePlain(s.oldDefault);
                        },
                        [&](const RenameLiteral& s) {
                          kind("renameLiteral");
                          lineText("enum", s.type);
                          lineText("from", s.from);
                          lineText("to", s.to);
                        },
                        [&](const RemoveLiteral& s) {
                          kind("removeLiteral");
                          lineText("enum", s.type);
                          lineText("literal", s.literal);
                          lineText("replacement", s.replacement);
                        },
                        [&](const Custom& s) {
                          if (s.functionName.empty()) {
                            throw KernelError("the evolution of the family " + quoted(family) +
                                              " cannot be written to a meta-model file: the function of " +
                                              describe(step) +
                                              " has no name: give it one by Evolution::nameFunction, and declare that");
                          }
                          kind("custom");
                          lineText("type", s.type);
                          lineText("function", s.functionName);
                        }},
             step);
}

}  // namespace

std::string writeMetaModel(const std::vector<Package>& packages) {
  for (const Package& package : packages) {
    if (!package) throw KernelError("a null package cannot be written to a meta-model file");
    if (package->getOwningPackage()) {
      throw KernelError("package " + quoted(package->getQualifiedName()) + " lies inside package " +
                        quoted(package->getOwningPackage()->getQualifiedName()) + ": write that one");
    }
  }
  std::string text;
  MetaModelWriter(text).write(packages);
  return text;
}

}  // namespace tarn::kern::meta
