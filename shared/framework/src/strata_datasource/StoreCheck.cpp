#include "strata_datasource/StoreCheck.h"

#include <strata/SQLiteUri.h>
#include <strata/StoreError.h>

#include "Schema.h"
#include "strata/Database.h"
#include "strata/FileGuard.h"

namespace strata_datasource {

namespace {

using strata::Statement;
using strata::StoreError;

constexpr std::size_t kMostFaults = 200;

// How the table property tells where the content of a property stands.
constexpr std::string_view kReference = "reference";
constexpr std::string_view kReferences = "references";
constexpr std::string_view kValues = "values";
constexpr std::string_view kMap = "map";

/// A name as the store's own tables spell it, ready for SQL, made so that it is a name and nothing else: the file may
/// be anybody's.
std::string safeName(std::string_view spelled) {
  if (spelled.size() < 2 || spelled.front() != '"' || spelled.back() != '"') return strata::quotedName(spelled);
  std::string name;
  for (std::size_t i = 1; i + 1 < spelled.size(); ++i) {
    name += spelled[i];
    if (spelled[i] == '"') ++i;  // a quote within is doubled
  }
  return strata::quotedName(name);
}

class StoreCheck {
 public:
  explicit StoreCheck(const std::string& path) : fGuard(path, true), fDatabase(path, true) {}

  std::vector<std::string> run() {
    checkHeader();
    try {
      list("PRAGMA integrity_check(100)",
           [](std::string_view row) { return row == "ok" ? std::string() : std::string(row); });
      if (fFaults.empty()) checkTables();
    } catch (const StoreError& error) {
      fFaults.emplace_back(error.what());  // damage that stops SQLite itself
    }
    return std::move(fFaults);
  }

 private:
  void checkHeader() const {
    const strata::FileHeader header = fGuard.header();
    if (!header.hasMagic || header.applicationId != kApplicationId) {
      throw StoreError(StoreError::Kind::Foreign, fDatabase.path(),
                       "is no store: another application's file, or none of SQLite's");
    }
  }

  template <class ToFault>
  void list(const std::string& sql, const ToFault& toFault) {
    Statement statement = fDatabase.prepare(sql);
    while (fFaults.size() < kMostFaults && statement.step()) {
      std::string fault = toFault(statement.text(0));
      if (!fault.empty()) fFaults.push_back(std::move(fault));
    }
  }

  /// The question gives the uuids of elements that break a rule.
  void elements(const std::string& question, const std::string& fault) {
    list(question, [&fault](std::string_view uuid) { return "element " + std::string(uuid) + " " + fault; });
  }

  std::vector<std::string> texts(const std::string& sql) {
    std::vector<std::string> result;
    Statement statement = fDatabase.prepare(sql);
    while (statement.step()) result.emplace_back(statement.text(0));
    return result;
  }

  void checkTables() {
    list("PRAGMA foreign_key_check",
         [](std::string_view table) { return "table " + std::string(table) + " refers to a row that is not there"; });
    elements("SELECT uuid FROM element WHERE class NOT IN (SELECT id FROM class)",
             "is of a class that the store does not list");
    elements("SELECT uuid FROM element WHERE container IS NOT NULL AND container NOT IN (SELECT id FROM element)",
             "stands in an element that is not there");
    elements("SELECT uuid FROM element WHERE container IS NOT NULL AND role NOT IN (SELECT id FROM property)",
             "stands in a property that the store does not list");
    checkCycles();
    Statement classes = fDatabase.prepare("SELECT \"table\", id FROM class ORDER BY id");
    while (classes.step()) {
      checkClass(safeName(classes.text(0)), std::to_string(classes.integer(1)));
    }
    // Of a collection that several classes share there is a row for each.
    Statement properties = fDatabase.prepare(
        "SELECT DISTINCT property.\"table\", property.\"column\", property.place FROM property WHERE \"table\" <> ''");
    while (properties.step()) {
      checkReferences(safeName(properties.text(0)), properties.isNull(1) ? std::string() : safeName(properties.text(1)),
                      std::string(properties.text(2)));
    }
  }

  /// Elements from which no way leads to the top stand in themselves.
  void checkCycles() {
    elements(
        "WITH RECURSIVE reached(id) AS (SELECT id FROM element WHERE container IS NULL UNION ALL "
        "SELECT element.id FROM reached JOIN element ON element.container = reached.id) "
        "SELECT uuid FROM element WHERE id NOT IN (SELECT id FROM reached) "
        "AND container IN (SELECT id FROM element)",
        "is not reached from the top: its containers contain each other");
  }

  void checkClass(const std::string& table, const std::string& id) {
    elements("SELECT uuid FROM element WHERE class = " + id + " AND id NOT IN (SELECT id FROM " + table + ")",
             "has no row in the table " + table + " of its class");
    list("SELECT id FROM " + table + " WHERE id NOT IN (SELECT id FROM element WHERE class = " + id + ") LIMIT 20",
         [&](std::string_view row) {
           return "table " + table + " has a row " + std::string(row) + " without an element";
         });
  }

  void checkReferences(const std::string& table, const std::string& column, const std::string& place) {
    const bool isColumn = place == kReference;
    if (isColumn && !column.empty()) {
      elements("SELECT element.uuid FROM " + table + " JOIN element ON element.id = " + table + ".id WHERE " + column +
                   " IS NOT NULL AND " + column + " NOT IN (SELECT id FROM element)",
               "refers through " + column + " to an element that is not there");
    }
    if (place == kReferences) {
      elements("SELECT element.uuid FROM " + table + " JOIN element ON element.id = " + table +
                   ".owner WHERE value IS NOT NULL AND value NOT IN (SELECT id FROM element)",
               "refers through the table " + table + " to an element that is not there");
    }
    if (place == kReferences || place == kValues || place == kMap) {
      list("SELECT owner FROM " + table + " WHERE owner NOT IN (SELECT id FROM element) LIMIT 20",
           [&](std::string_view row) {
             return "table " + table + " has rows of owner " + std::string(row) + ", which is not there";
           });
    }
  }

  strata::FileGuard fGuard;
  strata::Database fDatabase;
  std::vector<std::string> fFaults;
};

}  // namespace

std::vector<std::string> checkStore(const strata::Uri& place) {
  return StoreCheck(static_cast<const strata::SQLiteUri&>(place).getLocation()).run();
}

}  // namespace strata_datasource
