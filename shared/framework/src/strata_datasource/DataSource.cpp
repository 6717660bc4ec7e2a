#include <utility>

#include <strata/SQLiteUri.h>
#include <strata/StoreError.h>
#include <strata_datasource/DataSource.h>

#include "StoreBinding.h"

namespace strata_datasource {

using strata::StoreError;
using tarn::kern::ModelElement;
using tarn::kern::Value;
using tarn::kern::internal::ElementRecord;
using tarn::kern::internal::ModelCore;
namespace meta = tarn::kern::meta;

namespace {

class ClassCondition final : public tarn::kern::datasource::QueryCondition {
 public:
  ClassCondition(meta::Class wanted, bool subclasses) : type(std::move(wanted)), withSubclasses(subclasses) {}
  meta::Class type;
  bool withSubclasses;
};

template <class Binding>
class Query final : public tarn::kern::datasource::DataSourceQuery {
 public:
  explicit Query(std::weak_ptr<Binding*> binding) noexcept : fBinding(std::move(binding)) {}

  tarn::kern::datasource::Condition classCondition(const meta::Class& type, bool withSubclasses) override {
    return std::make_shared<ClassCondition>(type, withSubclasses);
  }

  void setCondition(const tarn::kern::datasource::Condition& condition) override { fCondition = condition; }

  std::vector<ModelElement> fetch(const std::vector<Value>& parameters) override {
    if (!parameters.empty()) throw tarn::kern::KernelError("no condition of a query takes parameters: pass none");
    const std::shared_ptr<Binding*> binding = fBinding.lock();
    if (binding == nullptr) return {};
    const auto* condition = dynamic_cast<const ClassCondition*>(fCondition.get());
    if (fCondition != nullptr && condition == nullptr) {
      throw tarn::kern::KernelError("the condition is none of a store: make it by classCondition");
    }
    const std::vector<ElementRecord*> records =
        condition == nullptr ? (*binding)->all() : (*binding)->ofClass(condition->type, condition->withSubclasses);
    std::vector<ModelElement> elements;
    elements.reserve(records.size());
    for (ElementRecord* record : records) elements.emplace_back(record);
    return elements;
  }

 private:
  std::weak_ptr<Binding*> fBinding;
  tarn::kern::datasource::Condition fCondition;
};

}  // namespace

DataSource* DataSource::create(const strata::Uri& place, const tarn::kern::Model& model, ToModelSync toModel,
                               ToDataSourceSync toDataSource, SyncTiming timing) {
  return create(place, model, toModel, toDataSource, timing, Options());
}

DataSource* DataSource::create(const strata::Uri& place, const tarn::kern::Model& model, ToModelSync toModel,
                               ToDataSourceSync toDataSource, SyncTiming timing, const Options& options) {
  const auto* file = dynamic_cast<const strata::SQLiteUri*>(&place);
  const std::string path = file == nullptr ? std::string() : file->getLocation();
  if (!model) throw StoreError(StoreError::Kind::AlreadyBound, path, "a null model cannot be bound; create one first");
  ModelCore& core = model->core();
  if (core.store() != nullptr) {
    throw StoreError(StoreError::Kind::AlreadyBound, path,
                     "the model is bound to " + static_cast<DataSource&>(core.store()->dataSource()).getLocation() +
                         " already; call resetDataSource first");
  }
  if (core.depth() > 0) {
    throw StoreError(StoreError::Kind::AlreadyBound, path,
                     "the model has an open transaction; commit it or roll it back before binding");
  }

  auto binding = std::make_unique<Binding>(core, path, toDataSource, timing, options);
  const bool hasContent = !binding->isNewStore() && !binding->isEmptyStore();
  if (hasContent && core.liveCount() > 0) {
    throw StoreError(StoreError::Kind::BothFilled, path,
                     "the store has content and so has the model; bind an empty model to read the store, or choose "
                     "another file to save the model to");
  }
  binding->fillStore();
  DataSource* facade = &binding->facade();
  core.bind(std::move(binding));
  if (toModel == ToModelSync::Everything) {
    try {
      core.store()->loadAll();
    } catch (...) {
      model->destroy();  // it was empty: nothing but what was read goes
      throw;
    }
  }
  return facade;
}

DataSource::~DataSource() = default;

std::unique_ptr<tarn::kern::datasource::DataSourceQuery> DataSource::createQuery() {
  return std::make_unique<Query<Binding>>(fBinding.self());
}

const std::string& DataSource::getLocation() const noexcept { return fBinding.path(); }
bool DataSource::isReadOnly() const noexcept { return fBinding.isReadOnly(); }

}  // namespace strata_datasource
