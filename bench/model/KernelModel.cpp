#include "KernelModel.h"

#include <algorithm>
#include <cstdint>
#include <utility>
#include <vector>

#include <boost/date_time/posix_time/posix_time_types.hpp>

#include <tarn/kern/BulkEdit.h>
#include <tarn/kern/Collections.h>

namespace bench::model {
namespace {

using boost::posix_time::ptime;
using tarn::kern::Model;
using tarn::kern::ModelElement;
using tarn::kern::ReflectionPrivateTag;
using tarn::kern::ustring;
using tarn::kern::Value;
using tarn::kern::meta::Class;
using tarn::kern::meta::Property;

boost::uuids::uuid toUuid(const Uuid& bytes) {
  boost::uuids::uuid result;
  std::copy(bytes.begin(), bytes.end(), result.begin());
  return result;
}

ptime toTime(Microseconds time) {
  static const ptime kEpoch(boost::gregorian::date(1970, 1, 1));
  return kEpoch + boost::posix_time::microseconds(time);
}

template <class T>
void assignValues(ModelElement::Impl& element, const Property& property, const std::vector<T>& values) {
  if (!values.empty()) tarn::kern::bulk::assignValues<T>(element, property, values);
}

void setValues(ModelElement::Impl& element, const Record& record, const BenchMetaModel& meta) {
  element.set<ustring>(meta.name, record.name);
  if (record.hasDocumentation) element.set<ustring>(meta.documentation, record.documentation);
  element.set<bool>(meta.abstract, record.abstract);
  element.set<std::int32_t>(meta.multiplicity, record.multiplicity);
  element.set<std::int64_t>(meta.revision, record.revision);
  element.set<double>(meta.weight, record.weight);
  element.set<std::int64_t>(meta.visibility, static_cast<std::int64_t>(record.visibility));
  if (record.modified != kNoTime) element.set<ptime>(meta.modified, toTime(record.modified));
  assignValues(element, meta.tags, record.tags);
  assignValues(element, meta.marks, record.marks);
}

/// `targets` is empty room that is used again and again.
void setReferences(const Record& record, ModelElement::Impl& element, const std::vector<ModelElement>& elements,
                   const BenchMetaModel& meta, std::vector<ModelElement::Impl*>& targets) {
  if (record.base != kNoRecord) tarn::kern::bulk::setTarget(element, meta.base, elements[record.base].get());
  if (record.related.empty()) return;
  for (const RecordIndex target : record.related) targets.push_back(elements[target].get());
  tarn::kern::bulk::assignTargets(element, meta.related, targets);
  targets.clear();
}

ModelElement makeElement(const Model& model, const Record& record, const BenchMetaModel& meta) {
  const Class& type = record.isFolder ? meta.folder : meta.item;
  return type->instantiate(model, toUuid(record.uuid));
}

}  // namespace

Model build(const Description& description, const BenchMetaModel& meta) {
  Model model = Model::create(tarn::kern::ModelSpec());
  tarn::kern::Transaction transaction = model->beginTransaction(false);
  std::vector<ModelElement> elements;
  elements.reserve(description.size());
  for (const Record& record : description) {
    const ModelElement& element = elements.emplace_back(makeElement(model, record, meta));
    setValues(*element, record, meta);
    if (record.parent != kNoRecord) tarn::kern::bulk::append(*elements[record.parent], meta.children, *element);
  }
  std::vector<ModelElement::Impl*> targets;
  for (std::size_t i = 0; i < description.size(); ++i) {
    setReferences(description[i], *elements[i], elements, meta, targets);
  }
  transaction.commit(boost::none);
  return model;
}

Model buildFlat(const Description& description, const BenchMetaModel& meta) {
  Model model = Model::create(tarn::kern::ModelSpec());
  tarn::kern::Transaction transaction = model->beginTransaction(false);
  const ModelElement root = meta.folder->instantiate(model, toUuid(description.front().uuid));
  const Value children = root->getPropertyValue(meta.children, ReflectionPrivateTag::PUBLIC_ACCESS);
  for (std::size_t i = 1; i < description.size(); ++i) {
    children.toElementCollection().addElement(meta.item->instantiate(model, toUuid(description[i].uuid)));
  }
  transaction.commit(boost::none);
  return model;
}

}  // namespace bench::model
