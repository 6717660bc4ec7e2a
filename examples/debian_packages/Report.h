#pragma once

#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string>
#include <vector>

#include "PlainDatabase.h"
#include "RoundTrip.h"

namespace debian_packages {

/// What the job found out, for the tables.
struct JobFigures {
  std::size_t elements = 0;
  std::size_t properties = 0;
  double readSeconds = 0;
  double buildSeconds = 0;

  struct Form {
    std::string letter;
    RoundTripFigures figures;
  };
  std::vector<Form> forms;
};

/// One line about what was read.
void printDatabase(const PlainDatabase& database, const std::string& statusFile, std::ostream& out);

/// The two tables: what came before saving, and a line for each form.
void printFigures(const JobFigures& figures, std::ostream& out);

/// A number with its digits in groups: 1,234,567.
std::string grouped(std::uint64_t number);

}  // namespace debian_packages
