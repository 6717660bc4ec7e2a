// A good store whose rows were changed with SQLite alone: the file is whole, what stands in it is not. The input is a
// program of such changes.

#include <array>
#include <map>
#include <memory>
#include <random>
#include <stdexcept>

#include <sqlite3.h>

#include "FuzzTarget.h"
#include "StoreTrial.h"

namespace {

/// A store in memory, which takes each program's changes and forgets them.
class Rows {
 public:
  explicit Rows(const std::string& store) {
    sqlite3* source = nullptr;
    check(sqlite3_open(":memory:", &source));
    const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> owner(source, &sqlite3_close);
    std::string bytes = store;
    check(sqlite3_deserialize(source, "main", reinterpret_cast<unsigned char*>(bytes.data()),
                              static_cast<sqlite3_int64>(bytes.size()), static_cast<sqlite3_int64>(bytes.size()),
                              SQLITE_DESERIALIZE_READONLY));
    // Copied into an ordinary database, because that one's image tells what is not committed yet.
    check(sqlite3_open(":memory:", &fDatabase));
    sqlite3_backup* backup = sqlite3_backup_init(fDatabase, "main", source, "main");
    sqlite3_backup_step(backup, -1);
    check(sqlite3_backup_finish(backup));
    findTables();
  }

  /// The file after the program's changes. What breaks a rule that SQLite looks after is not done.
  std::string changed(fuzz::Decisions& decisions) {
    run("BEGIN");
    while (!decisions.atEnd()) change(decisions);
    sqlite3_int64 size = 0;
    unsigned char* image = sqlite3_serialize(fDatabase, "main", &size, 0);
    std::string bytes(reinterpret_cast<char*>(image), static_cast<std::size_t>(size));
    sqlite3_free(image);
    run("ROLLBACK");
    return bytes;
  }

 private:
  struct Table {
    std::string name;
    std::string key = "rowid";
    std::vector<std::string> columns;
  };
  enum class Change { Update, Insert, Delete, Read };

  static void check(int code) {
    if (code != SQLITE_OK) throw std::runtime_error(sqlite3_errstr(code));
  }
  void run(const char* sql) { check(sqlite3_exec(fDatabase, sql, nullptr, nullptr, nullptr)); }

  void findTables() {
    const auto addName = [](void* names, int, char** values, char**) {
      static_cast<std::vector<Table>*>(names)->push_back({values[0], "rowid", {}});
      return 0;
    };
    check(sqlite3_exec(fDatabase, "SELECT name FROM sqlite_schema WHERE type = 'table' ORDER BY name", addName,
                       &fTables, nullptr));
    for (Table& table : fTables) {
      const auto addColumn = [](void* columns, int, char** values, char**) {
        static_cast<std::vector<std::string>*>(columns)->push_back("\"" + std::string(values[1]) + "\"");
        return 0;
      };
      const std::string question = "PRAGMA table_info(" + table.name + ")";
      check(sqlite3_exec(fDatabase, question.c_str(), addColumn, &table.columns, nullptr));
      const bool isWithoutRowid =
          sqlite3_exec(fDatabase, ("SELECT rowid FROM " + table.name).c_str(), nullptr, nullptr, nullptr) != SQLITE_OK;
      if (isWithoutRowid) table.key = "(" + table.columns[0] + ", " + table.columns[1] + ")";
    }
  }

  /// Parameters: ?1 the value, ?2 which row.
  sqlite3_stmt* statement(Change kind, std::size_t table, std::size_t column) {
    sqlite3_stmt*& made = fStatements[{kind, table, column}];
    if (made == nullptr) {
      const std::string sql = sqlFor(kind, fTables[table], column);
      check(sqlite3_prepare_v3(fDatabase, sql.c_str(), -1, SQLITE_PREPARE_PERSISTENT, &made, nullptr));
    }
    return made;
  }

  static std::string sqlFor(Change kind, const Table& table, std::size_t column) {
    const std::string& name = table.columns[column];
    const std::string row = " LIMIT 1 OFFSET ?2 % max(1, (SELECT count(*) FROM " + table.name + "))";
    const std::string keys = table.key.front() == '(' ? table.key.substr(1, table.key.size() - 2) : table.key;
    const std::string where = " WHERE " + table.key + " = (SELECT " + keys + " FROM " + table.name + row + ")";
    switch (kind) {
      case Change::Update:
        return "UPDATE " + table.name + " SET " + name + " = ?1" + where;
      case Change::Delete:
        return "DELETE FROM " + table.name + where;
      case Change::Read:
        return "SELECT " + name + " FROM " + table.name + row;
      case Change::Insert:
        break;
    }
    std::string values;
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      values += (i == 0 ? "" : ", ") + (i == column ? std::string("?1") : table.columns[i]);
    }
    return "INSERT INTO " + table.name + " SELECT " + values + " FROM " + table.name + row;
  }

  void change(fuzz::Decisions& decisions) {
    const std::size_t table = decisions.below(fTables.size());
    const std::size_t column = decisions.below(fTables[table].columns.size());
    const std::size_t kind = decisions.below(8);
    const Change made = kind == 0 ? Change::Delete : kind < 3 ? Change::Insert : Change::Update;
    sqlite3_stmt* change = statement(made, table, column);
    sqlite3_bind_int64(change, 2, static_cast<sqlite3_int64>(decisions.below(16)));
    if (made != Change::Delete) bindValue(change, decisions);
    sqlite3_step(change);
    sqlite3_reset(change);
    sqlite3_clear_bindings(change);
  }

  void bindValue(sqlite3_stmt* change, fuzz::Decisions& decisions) {
    static constexpr std::array<sqlite3_int64, 9> kNumbers = {0,
                                                              -1,
                                                              128,
                                                              std::int64_t{1} << 31,
                                                              std::int64_t{1} << 60,
                                                              (std::int64_t{1} << 60) - 1,
                                                              -(std::int64_t{1} << 60),
                                                              INT64_MAX,
                                                              INT64_MIN};
    static const std::array<std::string, 14> kTexts = {
        "",
        "deep",
        "NaN",
        "-infinity",
        "18446744073709551616",
        "2020-01-31T13:05:09.000000",
        "00000000-0000-0000-0000-00000000000f",
        R"({"x": 1, "names": ["a", "b"], "home": {"$ref": "00000000-0000-0000-0000-000000000002"}})",
        R"({"x": 4294967296})",
        R"({"home": {"$ref": "00000000-0000-0000-0000-0000000000ff"}})",
        R"({"$map": [["key", "value"], ["key", "other"]]})",
        R"({"x": 1)",
        "\xED\xA0\x80",
        "\xFF"};
    switch (decisions.below(8)) {
      case 0:
        sqlite3_bind_null(change, 1);
        return;
      case 1:
        sqlite3_bind_int64(change, 1, kNumbers[decisions.below(kNumbers.size())]);
        return;
      case 2: {
        const std::string& text = kTexts[decisions.below(kTexts.size())];
        sqlite3_bind_text(change, 1, text.data(), static_cast<int>(text.size()), SQLITE_STATIC);
        return;
      }
      case 3:
        return bindOtherCell(change, decisions);
      case 4: {
        std::string text(decisions.below(24), '\0');
        for (char& c : text) c = static_cast<char>(decisions.below(256));
        sqlite3_bind_text(change, 1, text.data(), static_cast<int>(text.size()), SQLITE_TRANSIENT);
        return;
      }
      case 5:
        sqlite3_bind_double(change, 1, decisions.chance(2) ? 1e308 * 10 : 2.5);
        return;
      case 6:
        sqlite3_bind_blob(change, 1, "\x01\x02", 2, SQLITE_STATIC);
        return;
      default:  // an id
        sqlite3_bind_int64(change, 1, static_cast<sqlite3_int64>(decisions.below(12)));
        return;
    }
  }

  void bindOtherCell(sqlite3_stmt* change, fuzz::Decisions& decisions) {
    const std::size_t table = decisions.below(fTables.size());
    sqlite3_stmt* cell = statement(Change::Read, table, decisions.below(fTables[table].columns.size()));
    sqlite3_bind_int64(cell, 2, static_cast<sqlite3_int64>(decisions.below(16)));
    if (sqlite3_step(cell) == SQLITE_ROW) sqlite3_bind_value(change, 1, sqlite3_column_value(cell, 0));
    sqlite3_reset(cell);
  }

  sqlite3* fDatabase = nullptr;
  std::vector<Table> fTables;
  std::map<std::tuple<Change, std::size_t, std::size_t>, sqlite3_stmt*> fStatements;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static std::array<Rows, fuzz::store::kVariants - 1>& stores = *new std::array<Rows, fuzz::store::kVariants - 1>{
      Rows(fuzz::store::goodStore(0)), Rows(fuzz::store::goodStore(1))};  // for the life of the process
  constexpr std::size_t kLongEnough = 64;
  fuzz::Decisions decisions(data, std::min(size, kLongEnough));
  const std::string changed = stores[decisions.below(stores.size())].changed(decisions);
  fuzz::store::tryStore(changed, size % 16 == 0);
  fuzz::require(size > 1 || fuzz::store::wasReadToTheEnd(), "a good store is read");
  return 0;
}

std::vector<std::string> fuzz::seeds() {
  std::vector<std::string> all = {"", std::string(1, '\1')};
  for (unsigned seed = 1; seed <= 24; ++seed) {
    std::mt19937 random(seed);
    std::string program;
    for (unsigned i = 0; i < 6 + seed; ++i) program.push_back(static_cast<char>(random()));
    all.push_back(std::move(program));
  }
  return all;
}
