#include <memory>

#include <gtest/gtest.h>

#include "support/Comparison.h"
#include "support/Measure.h"

namespace bench {
namespace {

TEST(Comparison, RunsEachVariantInAProcessOfItsOwn) {
  int runs = 0;
  const auto results = compare({{"counts", [&runs] { return Figures{{"runs", static_cast<double>(++runs)}}; }}}, 3);
  EXPECT_EQ(results[0].medians, (Figures{{"runs", 1.0}}));
  EXPECT_EQ(runs, 0);
}

TEST(Comparison, KeepsTheOrderOfVariantsAndSteps) {
  const auto results = compare({{"first",
                                 [] {
                                   return Figures{{"a step", 1.5}, {"another", 2.25}};
                                 }},
                                {"second",
                                 [] {
                                   return Figures{{"a step", 3}, {"another", 4}};
                                 }}},
                               2);
  ASSERT_EQ(results.size(), 2u);
  EXPECT_EQ(results[0].name, "first");
  EXPECT_EQ(results[0].medians, (Figures{{"a step", 1.5}, {"another", 2.25}}));
  EXPECT_EQ(results[1].name, "second");
  EXPECT_EQ(results[1].medians, (Figures{{"a step", 3}, {"another", 4}}));
}

TEST(ComparisonDeathTest, EndsWhenAResultIsWrong) {
  const std::vector<Variant> wrong{{"the wrong one", [] {
                                      require(false, "two and two");
                                      return Figures{};
                                    }}};
  EXPECT_EXIT(static_cast<void>(compare(wrong, 1)), testing::ExitedWithCode(1), "wrong result: the wrong one");
}

TEST(Measure, SeesAllocationsAndProcessorTime) {
  const double before = allocatedBytes();
  const auto block = std::make_unique<char[]>(1'000'000);
  keep(block);
  EXPECT_GE(allocatedBytes() - before, 1'000'000);
  volatile unsigned work = 0;
  EXPECT_GT(nanosecondsPer(1000,
                           [&work] {
                             for (unsigned i = 0; i < 1'000'000; ++i) work = work + i;
                           }),
            0);
}

}  // namespace
}  // namespace bench
