#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <strata/SQLiteUri.h>
#include <strata_datasource/DataSource.h>
#include <tarn/kern/Collections.h>
#include <tarn/kern/ModelCompare.h>

#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/SampleContent.h"
#include "support/Saving.h"
#include "support/TemporaryFolder.h"

/// Threads with a model each share the meta-model, the registry, the custom serializers and the log, and nothing else.
/// The thread sanitizer looks on.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;

/// A model in a store, to which each round adds a box.
class Archive {
 public:
  explicit Archive(const std::string& path) {
    strata_datasource::DataSource::create(strata::Uri::createSQLite().setLocation(path), fModel, Sync::ToModelSync(0),
                                          Sync::ToDataSourceSync(1), Sync::SyncTiming(0));
    kern::Transaction making = fModel->beginTransaction(false);
    fRoot = testsupport::newSample(fModel, u"Box", 1);
    making.commit(boost::none);
  }

  void commit(const ModelElement& edited) {
    kern::Transaction adding = fModel->beginTransaction(false);
    const ModelElement box = testsupport::sampleMetaModel().classNamed(u"Box")->instantiate(fModel, {});
    box->set(u"name", edited->get<kern::ustring>(u"name"));
    fRoot->getPropertyValue(fRoot->property(u"parts"), kern::ReflectionPrivateTag::PRIVILEGED_ACCESS)
        .toElementCollection()
        .addElement(box);
    adding.commit(boost::none);
  }

  [[nodiscard]] std::size_t boxes() const { return fModel->getElementCount(); }

 private:
  using Sync = kern::datasource::DataSource;
  Model fModel = testsupport::emptyModel();
  ModelElement fRoot;
};

/// One application's day: edit, undo, save, load, compare, put into the store. Every part of it is logged.
std::string work(std::uint32_t seed, Archive& archive) {
  const Model model = testsupport::emptyModel();
  model->setUndoLimit(4);
  const ModelElement root = testsupport::fillByChance(model, seed, 40);
  testsupport::fillEverything(model);
  {
    kern::Transaction dropped = model->beginTransaction(false);
    root->destroy();
  }
  {
    kern::Transaction renaming = model->beginTransaction(false);
    root->set(u"name", u"renamed");
    renaming.commit(boost::none);
  }
  model->undo();
  model->redo();
  archive.commit(root);
  // Without the other roots some references dangle, which writer and reader tell the log.
  std::string bytes = testsupport::saved({root}, BinFormat::BinaryZstd);
  const Model part = testsupport::loaded(bytes);
  const Model whole = testsupport::loaded(testsupport::saved(model->getTopLevelElements()));
  if (!kern::modelsEqual(model, whole)) return "a model that was loaded differs";
  logging::internal::Logger::logger(0).debug(false) << "one round is over, with " << part->getElementCount() << "\n";
  return bytes;
}

/// A long run is asked for by the environment.
std::uint32_t rounds() {
  const char* const asked = std::getenv("NIMBO_THREAD_ROUNDS");
  return asked == nullptr ? 25 : static_cast<std::uint32_t>(std::atoi(asked));
}

TEST(Threads, WorkOnModelsOfTheirOwn) {
  testsupport::moneySerializer();
  const std::uint32_t count = rounds();
  const testsupport::TemporaryFolder folder;
  const testsupport::LogCapture log(300);
  std::vector<std::vector<std::string>> results(2);
  std::vector<std::thread> threads;
  for (std::vector<std::string>& mine : results) {
    threads.emplace_back([&, path = (folder.path() / std::to_string(threads.size())).string()] {
      Archive archive(path);
      for (std::uint32_t round = 1; round <= count; ++round) mine.push_back(work(round, archive));
      EXPECT_EQ(archive.boxes(), count + 1);
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(results[0], results[1]);
  EXPECT_GE(log.lines().size(), std::size_t{2} * count);
}

}  // namespace
}  // namespace quillon::nimbo
