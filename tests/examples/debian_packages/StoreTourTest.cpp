#include <sstream>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <tarn/kern/ModelCompare.h>

#include "DebianModel.h"
#include "RoundTrip.h"
#include "SampleDatabase.h"
#include "StoreTour.h"

namespace debian_packages {
namespace {

using testing::HasSubstr;
using testing::MatchesRegex;

TEST(StoreTour, TellsTheOneThingThatWasChangedInTheStore) {
  const TempDirectory directory;
  const auto model = buildModel(readSample());
  const auto untouched = buildModel(readSample());
  for (int time = 0; time < 2; ++time) {  // the file is made anew
    std::ostringstream out;
    takeStoreTour(model, directory.path(), out);
    EXPECT_THAT(out.str(),
                MatchesRegex("\ndebian.sqlite: .* bytes, written in .* ms; the sqlite3 shell shows what is in it\n"
                             "  opened in .* ms: 0 of [0-9]+ elements in memory\n"
                             "  a query found 14 installed packages in .* ms: 14 of [0-9]+ elements in memory\n"
                             "  changed and committed one of them in .* ms\n"
                             "  opened once more, it differs from the model in\n"
                             "    .*synopsis.*\"changed in the store\".*\n"));
  }
  EXPECT_EQ(model->getDataSource(), nullptr);
  EXPECT_FALSE(tarn::kern::firstDifference(model, untouched));
  EXPECT_TRUE(std::filesystem::exists(directory.path() / "debian.sqlite"));
  EXPECT_FALSE(std::filesystem::exists(directory.path() / "debian.sqlite-journal"));
}

TEST(StoreTour, NamesAFileThatItCannotMake) {
  const TempDirectory directory;
  const auto model = buildModel(readSample());
  std::ostringstream out;
  EXPECT_THAT(messageOf<RoundTripError>([&] { takeStoreTour(model, directory.path() / "missing", out); }),
              HasSubstr("missing/debian.sqlite: "));
}

}  // namespace
}  // namespace debian_packages
