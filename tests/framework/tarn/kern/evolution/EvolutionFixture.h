#pragma once

#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <boost/uuid/uuid.hpp>

#include <tarn/kern/evolution/Evolution.h>
#include <tarn/kern/evolution/Evolver.h>
#include <tarn/kern/meta/PackageBuilder.h>

namespace tarn::kern::evolution {

/// Begins and ends with a registry that knows the kernel's own types only, and no evolution.
class EvolutionTest : public testing::Test {
 protected:
  EvolutionTest() { meta::MetaRegistry::getInstance()->reset(); }
  ~EvolutionTest() override { meta::MetaRegistry::getInstance()->reset(); }

  static ustring uri(const char16_t* family, const char16_t* version) {
    return meta::MetaRegistry::schemaBaseUri() + family + u"/" + version;
  }

  /// The root as it is after evolution from that version of the family "library".
  static io::RawElement evolved(io::RawElement root, const char16_t* version = u"1.0") {
    const Evolver evolver({uri(u"library", version)});
    EXPECT_TRUE(evolver.isNeeded());
    EXPECT_TRUE(evolver.evolve(root));
    return root;
  }

  static std::string errorOf(io::RawElement root, const char16_t* version = u"1.0") {
    try {
      static_cast<void>(Evolver({uri(u"library", version)}).evolve(root));
    } catch (const EvolutionError& error) {
      return error.what();
    }
    return {};
  }

  static std::vector<std::string> faultsOf(Evolution& evolution) {
    try {
      evolution.registerEvolution();
    } catch (const EvolutionDefinitionError& error) {
      return error.faults();
    }
    return {};
  }
};

inline boost::uuids::uuid uuidOf(unsigned number) {
  boost::uuids::uuid uuid = {};
  for (std::size_t i = 0; i < 4; ++i) uuid.data[15 - i] = static_cast<std::uint8_t>(number >> (8 * i));
  return uuid;
}

using Properties = std::vector<io::RawProperty>;

inline io::RawElement element(const char16_t* type, unsigned uuid, Properties properties = {}) {
  io::RawElement made;
  made.typeName = type;
  made.uuid = uuidOf(uuid);
  made.properties = std::move(properties);
  return made;
}

inline io::RawData data(const char16_t* type, Properties properties = {}) {
  io::RawData made;
  made.typeName = type;
  made.properties = std::move(properties);
  return made;
}

inline io::RawValue reference(const char16_t* type, unsigned uuid) { return io::RawReference{type, uuidOf(uuid)}; }
inline io::RawValue number(const char* text) { return io::RawNumber{text}; }

template <class... Values>
io::RawValue list(Values&&... values) {
  io::RawValue::List entries;
  (entries.push_back(std::forward<Values>(values)), ...);
  return entries;
}

/// Content as a person reads it, so that a failed comparison tells what is different.
inline std::string textOf(const Properties& properties);
inline std::string textOf(const io::RawValue& value) {
  using Kind = io::RawValue::Kind;
  switch (value.kind()) {
    case Kind::Null:
      return "null";
    case Kind::Boolean:
      return value.boolean() ? "true" : "false";
    case Kind::Number:
      return value.number();
    case Kind::Text:
      return "'" + bedrock::i18n::to_string(value.text()) + "'";
    case Kind::List: {
      std::string text;
      for (const io::RawValue& entry : value.list()) text += (text.empty() ? "" : ", ") + textOf(entry);
      return "[" + text + "]";
    }
    case Kind::Map: {
      std::string text;
      for (const auto& [key, mapped] : value.map()) {
        text += (text.empty() ? "" : ", ") + bedrock::i18n::to_string(key + u"=" + mapped);
      }
      return "<" + text + ">";
    }
    case Kind::Data:
      return bedrock::i18n::to_string(value.data().typeName) + textOf(value.data().properties);
    case Kind::Reference:
      return "->" + bedrock::i18n::to_string(value.reference().typeName) + " " +
             std::to_string(value.reference().uuid.data[15]);
    case Kind::Element:
      break;
  }
  return bedrock::i18n::to_string(value.element().typeName) + " " + std::to_string(value.element().uuid.data[15]) +
         textOf(value.element().properties);
}
inline std::string textOf(const Properties& properties) {
  std::string text;
  for (const io::RawProperty& property : properties) {
    text += (text.empty() ? "" : ", ") + bedrock::i18n::to_string(property.name) + ": " + textOf(property.value);
  }
  return "{" + text + "}";
}
inline std::string textOf(const io::RawElement& root) { return textOf(io::RawValue(root)); }

}  // namespace tarn::kern::evolution
