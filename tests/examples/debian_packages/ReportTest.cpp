#include <sstream>

#include <gtest/gtest.h>

#include "Report.h"

namespace debian_packages {
namespace {

TEST(Report, GroupsDigits) {
  EXPECT_EQ(grouped(0), "0");
  EXPECT_EQ(grouped(999), "999");
  EXPECT_EQ(grouped(1000), "1,000");
  EXPECT_EQ(grouped(1234567), "1,234,567");
  EXPECT_EQ(grouped(18446744073709551615u), "18,446,744,073,709,551,615");
}

TEST(Report, TellsWhatWasRead) {
  PlainDatabase database;
  std::ostringstream packages;
  printDatabase(database, "/s", packages);
  EXPECT_EQ(packages.str(), "/s: 0 packages\n");

  database.packages.resize(1);
  database.archives.resize(1);
  database.archives[0].packages.resize(1);
  std::ostringstream one;
  printDatabase(database, "/s", one);
  EXPECT_EQ(one.str(), "/s: 1 package; 1 archive: 1 package\n");

  database.packages.resize(1234);
  database.fileTree.directories.resize(2);
  database.fileTree.files.resize(3000);
  database.archives.resize(2);
  database.archives[0].packages.resize(5);
  database.archives[1].packages.resize(6);
  database.archives[1].repeatedStanzas = 7;
  std::ostringstream all;
  printDatabase(database, "/s", all);
  EXPECT_EQ(all.str(),
            "/s: 1,234 packages, 2 directories, 3,000 files; 2 archives: 11 packages, 7 repeated ones left out\n");
}

TEST(Report, PutsTheFiguresIntoTables) {
  JobFigures job;
  job.elements = 1234567;
  job.properties = 7654321;
  job.readSeconds = 1.5;
  job.buildSeconds = 2.25;
  job.forms = {{"B", {123456789, 0.5, 1.0, 0.25, 0.125}}, {"z", {100, 0.0, 0.001, 12.3456, 0.0}}};
  std::ostringstream out;
  printFigures(job, out);
  EXPECT_EQ(out.str(), R"(1,234,567 elements, 7,654,321 properties saved

step               seconds   elements/s
read the files       1.500      823,045
build the model      2.250      548,696

form         bytes per element    save s    elements/s    load s    elements/s  compare s  save again s
B      123,456,789         100     0.500     2,469,134     1.000     1,234,567      0.250         0.125
z              100           0     0.000             -     0.001 1,234,567,000     12.346         0.000
)");
}

}  // namespace
}  // namespace debian_packages
