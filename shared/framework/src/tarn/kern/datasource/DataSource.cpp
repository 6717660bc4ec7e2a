#include <tarn/kern/datasource/ActiveDataSource.h>
#include <tarn/kern/datasource/DataSource.h>
#include <tarn/kern/datasource/DataSourceQuery.h>

namespace tarn::kern::datasource {

// Out of line, so that each type's identity lies in this library alone.
DataSource::DataSource() = default;
DataSource::~DataSource() = default;

ActiveDataSource::ActiveDataSource() = default;
ActiveDataSource::~ActiveDataSource() = default;

QueryCondition::QueryCondition() = default;
QueryCondition::~QueryCondition() = default;

DataSourceQuery::DataSourceQuery() = default;
DataSourceQuery::~DataSourceQuery() = default;

}  // namespace tarn::kern::datasource
