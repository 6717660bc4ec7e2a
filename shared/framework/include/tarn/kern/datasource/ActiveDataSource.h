#pragma once

#include <memory>

#include <tarn/export.h>
#include <tarn/kern/datasource/DataSource.h>
#include <tarn/kern/datasource/DataSourceQuery.h>

namespace tarn::kern::datasource {

/// A data source that a model is bound to: Model::Impl::getDataSource. The model owns it; it goes with
/// Model::Impl::resetDataSource, Model::Impl::destroy or the model.
class TARN_EXPORT ActiveDataSource : public DataSource {
 public:
  ~ActiveDataSource() override;

  /// A new query without a condition, which finds every element.
  [[nodiscard]] virtual std::unique_ptr<DataSourceQuery> createQuery() = 0;

 protected:
  ActiveDataSource();
};

}  // namespace tarn::kern::datasource
