#include "tarn/kern/io/RawElement.h"

#include <algorithm>

#include <bedrock/deep_call.h>

namespace tarn::kern::io {

namespace {

template <class Properties>
auto findProperty(Properties& properties, std::u16string_view name) noexcept {
  return std::find_if(properties.begin(), properties.end(), [name](const RawProperty& p) { return p.name == name; });
}

}  // namespace

RawData::RawData() = default;
RawData::RawData(const RawData&) = default;
RawData::RawData(RawData&&) noexcept = default;
RawData& RawData::operator=(const RawData&) = default;
RawData& RawData::operator=(RawData&&) noexcept = default;
RawData::~RawData() = default;

bool operator==(const RawData& a, const RawData& b) { return a.typeName == b.typeName && a.properties == b.properties; }

RawValue::RawValue() noexcept = default;
RawValue::RawValue(bool value) : fContent(value) {}
RawValue::RawValue(RawNumber value) : fContent(std::move(value)) {}
RawValue::RawValue(Text value) : fContent(std::move(value)) {}
RawValue::RawValue(const char16_t* text) : fContent(Text(text)) {}
RawValue::RawValue(List value) : fContent(std::move(value)) {}
RawValue::RawValue(Map value) : fContent(std::move(value)) {}
RawValue::RawValue(RawData value) : fContent(std::move(value)) {}
RawValue::RawValue(RawReference value) : fContent(std::move(value)) {}
RawValue::RawValue(RawElement value) : fContent(std::make_unique<RawElement>(std::move(value))) {}

RawValue::RawValue(const RawValue& other) : position(other.position) {
  bedrock::stack::callDeep([&] {
    std::visit(
        [this](const auto& content) {
          if constexpr (std::is_same_v<std::decay_t<decltype(content)>, Element>) {
            fContent = std::make_unique<RawElement>(*content);
          } else {
            fContent = content;
          }
        },
        other.fContent);
  });
}

// Content is moved out, so that what is left behind is Null and cheap to destroy.
RawValue::RawValue(RawValue&& other) noexcept
    : position(other.position), fContent(std::exchange(other.fContent, std::monostate())) {}

RawValue& RawValue::operator=(const RawValue& other) { return *this = RawValue(other); }

RawValue& RawValue::operator=(RawValue&& other) noexcept {
  if (this == &other) return *this;
  // The new content may be part of the old one: it is taken out before the old one goes.
  RawValue taken(std::move(other));
  std::swap(fContent, taken.fContent);
  position = taken.position;
  return *this;
}

RawValue::~RawValue() {
  if (kind() == Kind::List || kind() == Kind::Data || kind() == Kind::Element) {
    bedrock::stack::callDeep([this] { fContent = std::monostate(); });
  }
}

bool operator==(const RawValue& a, const RawValue& b) {
  if (a.kind() != b.kind()) return false;
  return bedrock::stack::callDeep([&] {
    if (a.kind() == RawValue::Kind::Element) return a.element() == b.element();
    return a.fContent == b.fContent;
  });
}

const RawValue* RawElement::find(std::u16string_view name) const noexcept {
  const auto found = findProperty(properties, name);
  return found == properties.end() ? nullptr : &found->value;
}

RawValue* RawElement::find(std::u16string_view name) noexcept {
  const auto found = findProperty(properties, name);
  return found == properties.end() ? nullptr : &found->value;
}

RawValue& RawElement::get(std::u16string_view name) {
  if (RawValue* found = find(name)) return *found;
  return properties.emplace_back(RawProperty{ustring(name), RawValue()}).value;
}

std::size_t RawElement::remove(std::u16string_view name) {
  return std::erase_if(properties, [name](const RawProperty& property) { return property.name == name; });
}

bool operator==(const RawElement& a, const RawElement& b) {
  return a.typeName == b.typeName && a.uuid == b.uuid && a.properties == b.properties;
}

}  // namespace tarn::kern::io
