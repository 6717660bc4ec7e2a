#include <cstdint>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>

#include "quillon/nimbo/BinParser.h"
#include "quillon/nimbo/BinSerializer.h"
#include "support/Loading.h"
#include "support/MoneySerializer.h"
#include "support/SampleContent.h"
#include "support/Saving.h"

/// Threads with a model each share the meta-model, the registry, the custom serializers and the log, and nothing else.
/// The thread sanitizer looks on.
namespace quillon::nimbo {
namespace {

namespace kern = tarn::kern;
using kern::Model;
using kern::ModelElement;

/// One application's day: edit, undo, save, load, compare. Every part of it is logged.
std::string work(std::uint32_t seed) {
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
  // Without the other roots some references dangle, which writer and reader tell the log.
  std::string bytes = testsupport::saved({root}, BinFormat::BinaryZstd);
  const Model part = testsupport::loaded(bytes);
  const Model whole = testsupport::loaded(testsupport::saved(model->getTopLevelElements()));
  if (!kern::modelsEqual(model, whole)) return "a model that was loaded differs";
  logging::internal::Logger::logger(0).debug(false) << "one round is over, with " << part->getElementCount() << "\n";
  return bytes;
}

TEST(Threads, WorkOnModelsOfTheirOwn) {
  testsupport::moneySerializer();
  constexpr std::uint32_t kRounds = 25;
  const testsupport::LogCapture log(300);
  std::vector<std::vector<std::string>> results(2);
  std::vector<std::thread> threads;
  for (std::vector<std::string>& mine : results) {
    threads.emplace_back([&mine] {
      for (std::uint32_t round = 1; round <= kRounds; ++round) mine.push_back(work(round));
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(results[0], results[1]);
  EXPECT_GE(log.lines().size(), std::size_t{2} * kRounds);
}

}  // namespace
}  // namespace quillon::nimbo
