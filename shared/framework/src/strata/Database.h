#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include <strata/StoreError.h>

struct sqlite3;
struct sqlite3_stmt;

namespace strata {

class Database;

/// One statement. Values that are bound must live until the statement was reset: nothing is copied.
/// Threads: with its database, one at a time.
class Statement {
 public:
  Statement() noexcept = default;
  Statement(Statement&& other) noexcept;
  Statement& operator=(Statement&& other) noexcept;
  ~Statement();

  /// False for a default-constructed one.
  [[nodiscard]] explicit operator bool() const noexcept { return fDatabase != nullptr; }

  /// Parameters count from 1.
  Statement& bind(int index, std::int64_t value);
  Statement& bind(int index, double value);
  /// As TEXT, whatever the bytes are. A view without data is the empty text.
  Statement& bindText(int index, std::string_view text);
  Statement& bindBlob(int index, std::string_view bytes);
  Statement& bindNull(int index);

  /// True while there is a row. @throws StoreError
  bool step();
  /// Runs a statement that gives no rows, and makes it ready for the next time.
  void run();
  void reset() noexcept;

  /// Columns of the current row count from 0. Texts live until the next step or reset.
  [[nodiscard]] bool isNull(int column) const noexcept;
  [[nodiscard]] bool isInteger(int column) const noexcept;
  [[nodiscard]] bool isReal(int column) const noexcept;
  [[nodiscard]] bool isText(int column) const noexcept;
  [[nodiscard]] std::int64_t integer(int column) const noexcept;
  [[nodiscard]] double real(int column) const noexcept;
  /// The bytes of a text or blob as they are stored.
  [[nodiscard]] std::string_view text(int column) const noexcept;

 private:
  friend class Database;
  Statement(Database& database, std::string sql) noexcept : fDatabase(&database), fSql(std::move(sql)) {}
  /// Prepares it unless it is.
  sqlite3_stmt* handle();
  void check(int code) const;

  Database* fDatabase = nullptr;
  sqlite3_stmt* fHandle = nullptr;
  std::string fSql;  // until it is prepared
};

/// Resets a statement at the end of a scope, so that no cursor stays open after an exception.
class StatementUse {
 public:
  explicit StatementUse(Statement& statement) noexcept : fStatement(statement) {}
  StatementUse(const StatementUse&) = delete;
  StatementUse& operator=(const StatementUse&) = delete;
  ~StatementUse() { fStatement.reset(); }

 private:
  Statement& fStatement;
};

/// One connection to a SQLite file that need not be trusted: no extensions, views or triggers, no text in double
/// quotes, no writing to the schema behind SQLite's back. The connection keeps the locks that it once got until it is
/// closed. Every failure is a StoreError whose text begins with the path.
class Database {
 public:
  /// The file must exist. Nothing is read from it yet.
  Database(const std::string& path, bool readOnly);
  Database(const Database&) = delete;
  Database& operator=(const Database&) = delete;
  /// Closes the file. Statements must be gone.
  ~Database();

  /// Puts a file right whose last writer was killed: undoes what its journal says, and removes the journal, spent or
  /// not. A connection that keeps its locks, as all others here do, would keep the journal too.
  static void settle(const std::string& path);

  /// Runs statements that give no rows.
  void execute(const char* sql);
  void execute(const std::string& sql) { execute(sql.c_str()); }
  /// For statements that are used more than once.
  [[nodiscard]] Statement prepare(std::string sql);
  /// The same, but prepared with its first use: a store has hundreds of statements at hand, most of which no session
  /// needs, and preparing them took two thirds of the time to open one. What is wrong with it is told then.
  [[nodiscard]] Statement prepareLater(std::string sql) noexcept;
  /// The first column of the first row of a question that always has one.
  [[nodiscard]] std::int64_t askInteger(const char* sql);

  [[nodiscard]] const std::string& path() const noexcept { return fPath; }
  [[nodiscard]] bool isReadOnly() const noexcept { return fReadOnly; }
  [[nodiscard]] bool isInTransaction() const noexcept;
  /// Ends the open transaction as if it had not been. Needs no memory, since want of it may be the reason.
  void rollBack() noexcept;

  /// True when the last failure was a write that the system refused: nothing of the transaction can have become
  /// durable.
  [[nodiscard]] bool wasWriteRefused() const noexcept;

  /// Throws what a result code of SQLite means.
  [[noreturn]] void fail(int code, const char* what) const;

 private:
  friend class Statement;
  void configure();
  void close() noexcept;

  std::string fPath;
  bool fReadOnly;
  sqlite3* fHandle = nullptr;
  sqlite3_stmt* fRollback = nullptr;
  mutable int fLastFailure = 0;
};

/// A transaction of a database; rolled back unless committed.
class DatabaseTransaction {
 public:
  enum class Kind : std::uint8_t {
    Read,   ///< sees one state of the file
    Write,  ///< takes the lock for writing at once, so that it cannot fail half way for want of it
  };
  DatabaseTransaction(Database& database, Kind kind);
  DatabaseTransaction(const DatabaseTransaction&) = delete;
  DatabaseTransaction& operator=(const DatabaseTransaction&) = delete;
  ~DatabaseTransaction();
  void commit();

 private:
  Database& fDatabase;
  bool fOpen = true;
};

/// The name as SQL spells it, whatever it holds.
[[nodiscard]] std::string quotedName(std::string_view name);

}  // namespace strata
