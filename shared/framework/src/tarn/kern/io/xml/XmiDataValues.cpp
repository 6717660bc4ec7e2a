#include "XmiDataValues.h"

#include <utility>

#include <bedrock/deep_call.h>
#include <bedrock/i18n.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/StringToStringMap.h>

namespace tarn::kern::io::xml {

using bedrock::i18n::utf8_to_ustring;
using Item = DataDraft::Item;

namespace {

class DataBuilder {
 public:
  DataBuilder(XmiContent& content, const TargetFinder& findTargets) : fContent(content), fFindTargets(findTargets) {}

  Value build(std::uint32_t number) {
    DataDraft& draft = fContent.drafts[number];
    ReflectiveDataType data(narrow<meta::DataType>(draft.plan->type()));
    for (Item& item : draft.items) place(data, draft, item);
    return std::move(*std::move(data).toNonReflectiveDataTypeValue());
  }

 private:
  void place(ReflectiveDataType& data, const DataDraft& draft, Item& item) {
    const meta::Property& property = item.feature->property;
    switch (item.kind) {
      case Item::Kind::Value:
        return placeValue(data, *item.feature, std::move(*item.value));
      case Item::Kind::Data:
        return placeValue(data, *item.feature, bedrock::stack::callDeep([&] { return build(item.draft); }));
      case Item::Kind::MapEntry: {
        const Value map = data.getPropertyValue(property);
        map.toStringToStringMap().insert(utf8_to_ustring(item.text), utf8_to_ustring(item.mapValue),
                                         CollisionResolution::Replace);
        return;
      }
      case Item::Kind::Absent:
        data.setPropertyValue(property, Value::createEmptyValue(property->getType(), false));
        return;
      case Item::Kind::References:
        return placeTargets(data, *item.feature, fFindTargets(item.text, draft.offset));
    }
  }

  static void placeValue(ReflectiveDataType& data, const Feature& feature, Value value) {
    if (!feature.isCollection) return data.setPropertyValue(feature.property, std::move(value));
    const Value collection = data.getPropertyValue(feature.property);
    collection.toPrimitiveCollection().addValue(std::move(value));
  }

  static void placeTargets(ReflectiveDataType& data, const Feature& feature, const std::vector<ModelElement>& targets) {
    if (feature.isCollection) {
      const Value collection = data.getPropertyValue(feature.property);
      for (const ModelElement& target : targets) collection.toElementCollection().addElement(target);
    } else if (!targets.empty()) {
      data.setPropertyValue(feature.property, Value(targets.front()));
    }
  }

  XmiContent& fContent;
  const TargetFinder& fFindTargets;
};

}  // namespace

void setDataValues(XmiContent& content, ModelElement::Impl& element, const Feature& feature,
                   const std::vector<std::uint32_t>& drafts, const TargetFinder& findTargets) {
  DataBuilder builder(content, findTargets);
  const ReflectionPrivateTag& access = ReflectionPrivateTag::PRIVILEGED_ACCESS;
  if (!feature.isCollection) {
    element.setPropertyValue(feature.property, builder.build(drafts.front()), access);
    return;
  }
  const Value collection = element.getPropertyValue(feature.property, access);
  for (const std::uint32_t draft : drafts) collection.toPrimitiveCollection().addValue(builder.build(draft));
}

}  // namespace tarn::kern::io::xml
