#pragma once

#include <memory>
#include <optional>
#include <string>

#include <strata_datasource/DataSource.h>

#include "StoreReader.h"
#include "StoreWriter.h"
#include "strata/FileGuard.h"

namespace strata_datasource {

/// One model bound to one file. The model's core owns it; queries know when it is gone.
class DataSource::Binding final : public tarn::kern::internal::StoreHooks {
 public:
  using Record = tarn::kern::internal::ElementRecord;
  using Core = tarn::kern::internal::ModelCore;

  /// Opens and checks the file; writes nothing yet.
  Binding(Core& core, const std::string& path, ToDataSourceSync toDataSource, SyncTiming timing,
          const Options& options);
  ~Binding() override;

  /// Writes the model's content to a new or empty store. What was made stays.
  void fillStore();
  [[nodiscard]] bool isNewStore() const noexcept { return fIsNew; }
  [[nodiscard]] bool isEmptyStore() const noexcept { return fIsEmpty; }

  [[nodiscard]] DataSource& facade() noexcept { return fFacade; }
  [[nodiscard]] const std::string& path() const noexcept { return fPath; }
  [[nodiscard]] bool isReadOnly() const noexcept { return fReadOnly; }
  /// Expires with the binding.
  [[nodiscard]] std::weak_ptr<Binding*> self() const noexcept { return fSelf; }

  // --- StoreHooks
  [[nodiscard]] tarn::kern::datasource::ActiveDataSource& dataSource() noexcept override { return fFacade; }
  void load(Record& element) override;
  [[nodiscard]] Record* find(const boost::uuids::uuid& uuid) override;
  void loadReferrers(const Record& target) override;
  [[nodiscard]] std::vector<Record*> all() override;
  [[nodiscard]] std::vector<Record*> topLevel() override;
  [[nodiscard]] std::vector<Record*> ofClass(const tarn::kern::meta::Class& type, bool withSubclasses) override;
  [[nodiscard]] std::vector<tarn::kern::meta::Class> classesNotInMemory() override;
  [[nodiscard]] std::size_t countNotInMemory() noexcept override;
  void note(const Changes& changes) override;
  void write(const Changes& changes) override;
  void forget(const Record& element) noexcept override;
  void loadAll() override;
  void flush() override;
  [[nodiscard]] std::int64_t orderOf(const Record& element) const noexcept override;
  [[nodiscard]] std::int64_t topOrderAt(std::uint32_t topPosition) const noexcept override;

 private:
  void checkHeader() const;
  void checkSize() const;
  void lock();
  void open(const Options& options);
  void evolve(const Options& options);
  [[nodiscard]] std::int64_t rowCount();
  void writeNow(StoreWriter::Store store);
  void refuseChange(const Changes& changes) const;

  std::string fPath;
  SyncTiming fTiming;
  std::shared_ptr<Binding*> fSelf;
  strata::FileGuard fGuard;  // outlives the connection
  bool fReadOnly;
  bool fIsNew = false;
  bool fIsEmpty = false;
  std::unique_ptr<StoreState> fState;
  std::unique_ptr<StoreReader> fReader;
  std::unique_ptr<StoreWriter> fWriter;
  std::optional<std::int64_t> fRowCount;
  DataSource fFacade;
};

}  // namespace strata_datasource
