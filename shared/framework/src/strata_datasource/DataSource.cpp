#include <strata/SQLiteUri.h>
#include <strata/StoreError.h>
#include <strata_datasource/DataSource.h>

namespace strata_datasource {

class DataSource::Binding {
 public:
  std::string location;
  bool readOnly = false;
};

DataSource::DataSource(std::unique_ptr<Binding> binding) noexcept : fBinding(std::move(binding)) {}
DataSource::~DataSource() = default;

DataSource* DataSource::create(const strata::Uri& place, const tarn::kern::Model& model, ToModelSync toModel,
                               ToDataSourceSync toDataSource, SyncTiming timing) {
  return create(place, model, toModel, toDataSource, timing, Options());
}

DataSource* DataSource::create(const strata::Uri& place, const tarn::kern::Model&, ToModelSync, ToDataSourceSync,
                               SyncTiming, const Options&) {
  const auto* file = dynamic_cast<const strata::SQLiteUri*>(&place);
  throw strata::StoreError(strata::StoreError::Kind::Location, file == nullptr ? "" : file->getLocation(),
                           "stores are not available in this build");
}

std::unique_ptr<tarn::kern::datasource::DataSourceQuery> DataSource::createQuery() { return nullptr; }
const std::string& DataSource::getLocation() const noexcept { return fBinding->location; }
bool DataSource::isReadOnly() const noexcept { return fBinding->readOnly; }

}  // namespace strata_datasource
