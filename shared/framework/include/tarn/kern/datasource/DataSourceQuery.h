#pragma once

#include <memory>
#include <vector>

#include <tarn/export.h>
#include <tarn/kern/ModelElement.h>
#include <tarn/kern/Value.h>
#include <tarn/kern/meta/Class.h>

namespace tarn::kern::datasource {

/// What an element must be to be found: opaque to callers, made by a DataSourceQuery, shared freely.
class TARN_EXPORT QueryCondition {
 public:
  QueryCondition(const QueryCondition&) = delete;
  QueryCondition& operator=(const QueryCondition&) = delete;
  virtual ~QueryCondition();

 protected:
  QueryCondition();
};

/// Names a condition; a default-constructed one stands for "every element".
using Condition = std::shared_ptr<const QueryCondition>;

/// One question to a bound store, owned by the caller. It sees the model as it is, changes included that are not
/// committed yet, and finds elements in order of creation. Results are elements of the model; finding them does not
/// load their content. A query that outlives the binding, or the model, finds nothing.
class TARN_EXPORT DataSourceQuery {
 public:
  DataSourceQuery(const DataSourceQuery&) = delete;
  DataSourceQuery& operator=(const DataSourceQuery&) = delete;
  virtual ~DataSourceQuery();

  /// The elements of that class, those of its subclasses included when `withSubclasses` is true. A null class has none.
  [[nodiscard]] virtual Condition classCondition(const meta::Class& type, bool withSubclasses) = 0;
  /// Conditions of other queries on the same kind of store are fine.
  virtual void setCondition(const Condition& condition) = 0;
  /// Runs the query. Nothing takes parameters yet: callers pass an empty list.
  /// @throws strata::StoreError when the store cannot be read.
  [[nodiscard]] virtual std::vector<ModelElement> fetch(const std::vector<Value>& parameters) = 0;

 protected:
  DataSourceQuery();
};

}  // namespace tarn::kern::datasource
