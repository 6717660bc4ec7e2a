#pragma once

#include <memory>
#include <string>

#include <strata/Uri.h>
#include <tarn/export.h>
#include <tarn/kern/Model.h>
#include <tarn/kern/datasource/ActiveDataSource.h>

/// The store of a model in a SQLite file. The file is described in docs/formats/store.md.
namespace strata_datasource {

/// A model's binding to its store.
///
/// Binding reads no content: an element of the store appears in the model when it is touched, knows its uuid and class
/// at first, and reads its properties with the first access to one of them, together with what stands near it. Nothing
/// is ever taken out of memory again while the model lives. An outermost commit of the model is one SQLite transaction
/// that writes what changed. The store is written first: when that throws, the model's transaction stays open and the
/// file holds the last committed state. What is changed outside of transactions, and by undo and redo outside of one,
/// is written with the next commit, on unbinding or when the model is let go: it is not durable before. Elements of the
/// store are locked against other models and processes while a model that may write is bound; models that only read can
/// share a file. Threads: as the model, one at a time.
class TARN_EXPORT DataSource final : public tarn::kern::datasource::ActiveDataSource {
 public:
  struct Options {
    bool evolveIfNeeded = true;  ///< a store written with older package versions is rewritten for the current ones
  };

  /// Binds the model to the store at that place. A missing file and one of 0 bytes become a new store, to which all
  /// content of the model is written at once; a store that has content can only be bound to an empty model. A file that
  /// may not be written can be bound and read. The model owns the result: Model::Impl::resetDataSource ends the
  /// binding.
  /// @throws strata::StoreError; neither the file nor the model has changed then.
  static DataSource* create(const strata::Uri& place, const tarn::kern::Model& model, ToModelSync toModel,
                            ToDataSourceSync toDataSource, SyncTiming timing);
  static DataSource* create(const strata::Uri& place, const tarn::kern::Model& model, ToModelSync toModel,
                            ToDataSourceSync toDataSource, SyncTiming timing, const Options& options);

  ~DataSource() override;

  [[nodiscard]] std::unique_ptr<tarn::kern::datasource::DataSourceQuery> createQuery() override;

  /// The path, as it was given.
  [[nodiscard]] const std::string& getLocation() const noexcept;
  /// True when nothing can be written: the file's permissions, or ToDataSourceSync::Never.
  [[nodiscard]] bool isReadOnly() const noexcept;

 private:
  class Binding;
  explicit DataSource(Binding& binding) noexcept : fBinding(binding) {}
  Binding& fBinding;
};

}  // namespace strata_datasource
