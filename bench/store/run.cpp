// The store against SQLite alone: the first commit of a model against prepared inserts of the same rows with the same
// indexes, the walk through all elements against plain selects of the same rows. And what must not grow with the store:
// opening it and reading ten elements, committing one changed property.
//
//   bench_store [elements [rounds]]    the table
//   bench_store --verify [elements]    one round for its checks alone, no figures
//
// Without arguments: 100,000 elements, 3 rounds. The files lie in a folder of their own under the working directory, or
// under TMPDIR if that is set. Times are of the processor: how long a disk takes to sync is its own affair.

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <sqlite3.h>

#include <strata/SQLiteUri.h>
#include <strata_datasource/DataSource.h>
#include <sys/wait.h>
#include <tarn/kern/ModelCompare.h>
#include <unistd.h>

#include "KernelModel.h"
#include "RatioTable.h"
#include "support/Measure.h"

namespace {

using bench::Description;
using bench::Figures;
using bench::nanosecondsPer;
using bench::require;
using bench::model::BenchMetaModel;
using strata_datasource::DataSource;
using tarn::kern::Model;
using tarn::kern::ModelElement;

// --- The library.

Model newModel() { return Model::create(tarn::kern::ModelSpec()); }

void bindTo(const Model& model, const std::string& path) {
  DataSource::create(strata::Uri::createSQLite().setLocation(path), model, DataSource::ToModelSync::OnTouch,
                     DataSource::ToDataSourceSync::Changes, DataSource::SyncTiming::OnCommit);
}

/// Every element below the top-level ones, by containment, reading the first property of each.
std::size_t walk(const Model& model) {
  std::vector<ModelElement> open = model->getTopLevelElements();
  std::size_t count = 0;
  while (!open.empty()) {
    const ModelElement element = std::move(open.back());
    open.pop_back();
    ++count;
    std::vector<ModelElement> contents = element->contents();
    open.insert(open.end(), std::make_move_iterator(contents.rbegin()), std::make_move_iterator(contents.rend()));
  }
  return count;
}

double residentMegabytes() {
  std::ifstream status("/proc/self/statm");
  std::size_t total = 0;
  std::size_t resident = 0;
  status >> total >> resident;
  return static_cast<double>(resident) * 4.0 / 1024.0;
}

// --- SQLite alone.

class Raw {
 public:
  explicit Raw(const std::string& path) {
    require(sqlite3_open(path.c_str(), &fDatabase) == SQLITE_OK, "the file opens");
    run("PRAGMA locking_mode=EXCLUSIVE");
    run("PRAGMA synchronous=EXTRA");
    run("PRAGMA cache_size=-65536");
    run("PRAGMA temp_store=MEMORY");
  }
  Raw(const Raw&) = delete;
  Raw& operator=(const Raw&) = delete;
  ~Raw() { sqlite3_close(fDatabase); }

  void run(const std::string& sql) {
    require(sqlite3_exec(fDatabase, sql.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK, sql.c_str());
  }
  sqlite3_stmt* prepare(const std::string& sql) {
    sqlite3_stmt* statement = nullptr;
    require(sqlite3_prepare_v2(fDatabase, sql.c_str(), -1, &statement, nullptr) == SQLITE_OK, sql.c_str());
    return statement;
  }

 private:
  sqlite3* fDatabase = nullptr;
};

using Cell = std::variant<std::monostate, std::int64_t, double, std::string>;

struct Table {
  std::string name;
  std::string sql;

  int columns = 0;
  std::vector<Cell> cells;
};

/// Everything in a store, as rows.
struct Rows {
  std::vector<Table> tables;
  std::vector<std::string> indexes;
};

std::string quotedName(const std::string& name) { return "\"" + name + "\""; }

Rows rowsOf(const std::string& path) {
  Raw raw(path);
  Rows rows;
  sqlite3_stmt* schema = raw.prepare("SELECT type, name, sql FROM sqlite_schema WHERE sql IS NOT NULL ORDER BY rowid");
  const auto textAt = [](sqlite3_stmt* row, int column) {
    return std::string(reinterpret_cast<const char*>(sqlite3_column_text(row, column)));
  };
  while (sqlite3_step(schema) == SQLITE_ROW) {
    if (textAt(schema, 0) == "index") {
      rows.indexes.push_back(textAt(schema, 2));
    } else {
      rows.tables.push_back({textAt(schema, 1), textAt(schema, 2), 0, {}});
    }
  }
  sqlite3_finalize(schema);
  for (Table& table : rows.tables) {
    sqlite3_stmt* row = raw.prepare("SELECT * FROM " + quotedName(table.name));
    table.columns = sqlite3_column_count(row);
    while (sqlite3_step(row) == SQLITE_ROW) {
      for (int column = 0; column < table.columns; ++column) {
        switch (sqlite3_column_type(row, column)) {
          case SQLITE_INTEGER:
            table.cells.emplace_back(std::int64_t{sqlite3_column_int64(row, column)});
            break;
          case SQLITE_FLOAT:
            table.cells.emplace_back(sqlite3_column_double(row, column));
            break;
          case SQLITE_NULL:
            table.cells.emplace_back();
            break;
          default:
            table.cells.emplace_back(textAt(row, column));
        }
      }
    }
    sqlite3_finalize(row);
  }
  return rows;
}

void bindCell(sqlite3_stmt* statement, int parameter, const Cell& cell) {
  if (const auto* integer = std::get_if<std::int64_t>(&cell)) {
    sqlite3_bind_int64(statement, parameter, *integer);
  } else if (const auto* real = std::get_if<double>(&cell)) {
    sqlite3_bind_double(statement, parameter, *real);
  } else if (const auto* text = std::get_if<std::string>(&cell)) {
    sqlite3_bind_text(statement, parameter, text->data(), static_cast<int>(text->size()), SQLITE_STATIC);
  } else {
    sqlite3_bind_null(statement, parameter);
  }
}

void insertAll(const Rows& rows, const std::string& path) {
  Raw raw(path);
  raw.run("BEGIN IMMEDIATE");
  for (const Table& table : rows.tables) raw.run(table.sql);
  for (const Table& table : rows.tables) {
    std::string sql = "INSERT INTO " + quotedName(table.name) + " VALUES(?";
    for (int column = 1; column < table.columns; ++column) sql += ",?";
    sqlite3_stmt* insert = raw.prepare(sql + ")");
    for (std::size_t at = 0; at < table.cells.size();) {
      for (int column = 1; column <= table.columns; ++column) bindCell(insert, column, table.cells[at++]);
      require(sqlite3_step(insert) == SQLITE_DONE, "a row goes in");
      sqlite3_reset(insert);
    }
    sqlite3_finalize(insert);
  }
  for (const std::string& index : rows.indexes) raw.run(index);  // at once at the end, which is faster
  raw.run("COMMIT");
}

/// Every value of every row.
std::size_t selectAll(const Rows& rows, const std::string& path) {
  Raw raw(path);
  std::size_t sum = 0;
  std::size_t elements = 0;
  for (const Table& table : rows.tables) {
    sqlite3_stmt* row = raw.prepare("SELECT * FROM " + quotedName(table.name));
    while (sqlite3_step(row) == SQLITE_ROW) {
      elements += table.name == "element" ? 1 : 0;
      for (int column = 0; column < table.columns; ++column) {
        if (sqlite3_column_type(row, column) == SQLITE_TEXT) {
          sum += static_cast<std::size_t>(sqlite3_column_bytes(row, column)) + *sqlite3_column_text(row, column);
        } else {
          sum += static_cast<std::size_t>(sqlite3_column_int64(row, column));
        }
      }
    }
    sqlite3_finalize(row);
  }
  require(sum != 0, "the rows hold something");
  return elements;
}

// --- The two columns.

struct Folder {
  Folder() {
    const char* temporary = std::getenv("TMPDIR");
    std::string name = std::string(temporary == nullptr ? "." : temporary) + "/bench-store-XXXXXX";
    require(::mkdtemp(name.data()) != nullptr, "a folder for the files");
    path = name;
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() { std::filesystem::remove_all(path); }
  std::string path;
};

Figures rawSteps(const Rows& rows, std::size_t count, const std::string& folder) {
  const std::string path = folder + "/raw.db";
  std::filesystem::remove(path);
  Figures figures;
  figures.emplace_back("first commit", nanosecondsPer(count, [&] { insertAll(rows, path); }));
  figures.emplace_back(
      "walk", nanosecondsPer(count, [&] { require(selectAll(rows, path) == count, "all elements are selected"); }));
  return figures;
}

Figures storeSteps(const Description& description, const BenchMetaModel& meta, const std::string& folder) {
  const std::string path = folder + "/store.db";
  std::filesystem::remove(path);
  const std::size_t count = description.size();
  Figures figures;
  const Model model = bench::model::build(description, meta);
  figures.emplace_back("first commit", nanosecondsPer(count, [&] { bindTo(model, path); }));
  model->resetDataSource();
  const Model lazy = newModel();
  bindTo(lazy, path);
  figures.emplace_back("walk",
                       nanosecondsPer(count, [&] { require(walk(lazy) == count, "all elements are reached"); }));
  const auto difference = tarn::kern::firstDifference(model, lazy);
  require(!difference, difference ? difference->text().c_str() : "");
  return figures;
}

/// What must not depend on the size: milliseconds, megabytes.
void printIndependent(const std::string& path, std::size_t count, const std::vector<boost::uuids::uuid>& uuids) {
  const double before = residentMegabytes();
  Model model = newModel();
  const double open = nanosecondsPer(1, [&] {
    bindTo(model, path);
    for (const boost::uuids::uuid& uuid : uuids) {
      const ModelElement element = model->findElement(uuid, tarn::kern::FindElementBehavior::Anywhere);
      require(static_cast<bool>(element) && static_cast<bool>(element->container()), "the element is there");
    }
  });
  const double memory = residentMegabytes() - before;
  const ModelElement element = model->findElement(uuids.front(), tarn::kern::FindElementBehavior::Anywhere);
  tarn::kern::meta::Property property;
  for (const auto& candidate : element->getMetaClass()->getAllPrimitiveProperties()) {
    if (candidate->getType()->getName() == u"String" && !candidate->isCollection()) property = candidate;
  }
  constexpr int kCommits = 20;
  const double commit = nanosecondsPer(kCommits, [&] {
    for (int i = 0; i < kCommits; ++i) {
      tarn::kern::Transaction change = model->beginTransaction(false);
      element->set<tarn::kern::ustring>(property, tarn::kern::ustring(static_cast<std::size_t>(i + 1), u'x'));
      change.commit(boost::none);
    }
  });
  std::printf("%9zu elements: open and read ten %.2f ms, %.1f MB; commit of one property %.3f ms\n", count, open / 1e6,
              memory, commit / 1e6);
}

/// The store of that size; ten of its uuids are left beside it.
void makeStore(const BenchMetaModel& meta, std::size_t count, const std::string& path) {
  const Model model = bench::model::build(bench::describe(count), meta);
  const std::vector<ModelElement> all = model->getAllElements(tarn::kern::FindElementBehavior::Anywhere);
  std::ofstream uuids(path + ".uuids", std::ios::binary);
  for (std::size_t i = 0; i < 10; ++i) {
    const boost::uuids::uuid uuid = all[1 + (all.size() - 2) * (i + 1) / 10]->getUuid();
    uuids.write(reinterpret_cast<const char*>(uuid.data), sizeof uuid.data);
  }
  bindTo(model, path);
}

void measureIndependent(const BenchMetaModel& meta, std::size_t count, const std::string& folder) {
  const std::string path = folder + "/size.db";
  std::filesystem::remove(path);
  // In a process of its own, so that this one's memory tells what opening takes.
  const pid_t child = ::fork();
  if (child == 0) {
    makeStore(meta, count, path);
    ::_exit(0);
  }
  int status = 0;
  require(::waitpid(child, &status, 0) == child && status == 0, "the store is made");
  std::vector<boost::uuids::uuid> uuids(10);
  std::ifstream in(path + ".uuids", std::ios::binary);
  for (boost::uuids::uuid& uuid : uuids) in.read(reinterpret_cast<char*>(uuid.data), sizeof uuid.data);
  printIndependent(path, count, uuids);
}

bench::model::RatioTable measure(const BenchMetaModel& meta, std::size_t count, std::size_t rounds,
                                 const std::string& folder) {
  const Description description = bench::describe(count);
  const std::string path = folder + "/rows.db";
  bindTo(bench::model::build(description, meta), path);
  const Rows rows = rowsOf(path);
  std::vector<bench::Result> results =
      bench::compare({{"raw", [&] { return rawSteps(rows, count, folder); }},
                      {"store", [&] { return storeSteps(description, meta, folder); }}},
                     rounds);
  return {std::move(results[0].medians), std::move(results[1].medians)};
}

[[noreturn]] void refuse() {
  std::fprintf(stderr, "usage: bench_store [--verify] [elements [rounds]]; at least 20 elements, 1 round\n");
  std::exit(2);
}

}  // namespace

int main(int argc, char** argv) {
  int at = 1;
  const std::string_view option = at < argc && argv[at][0] == '-' ? argv[at++] : "";
  const std::size_t count = at < argc ? std::strtoul(argv[at++], nullptr, 10) : 100'000;
  const std::size_t rounds = at < argc ? std::strtoul(argv[at++], nullptr, 10) : 3;
  if ((!option.empty() && option != "--verify") || count < 20 || rounds == 0 || at < argc) refuse();

  const BenchMetaModel meta = bench::model::registerBenchMetaModel();
  const Folder folder;
  if (option == "--verify") {
    static_cast<void>(measure(meta, count, 1, folder.path));
    std::printf("%zu elements: every step gave what it should\n", count);
    return 0;
  }
  measureIndependent(meta, count, folder.path);
  measureIndependent(meta, count * 10, folder.path);
  bench::model::printRatios("store, " + std::to_string(count) + " elements, medians of " + std::to_string(rounds) +
                                " rounds, nanoseconds per element",
                            measure(meta, count, rounds, folder.path));
  return 0;
}
