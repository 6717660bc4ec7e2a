#include "Database.h"

#include <new>
#include <utility>

#include <sqlite3.h>

namespace strata {

namespace {

constexpr int kBusyMilliseconds = 2'000;  // a reader or an indexer that holds the file for a moment is waited for
constexpr int kCacheKibibytes = 64 * 1024;

struct Meaning {
  StoreError::Kind kind;
  const char* advice;
};

Meaning meaningOf(int code) {
  using Kind = StoreError::Kind;
  switch (code & 0xFF) {
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
      return {Kind::Locked, "another model or program has the store open; close it there and try again"};
    case SQLITE_READONLY:
      return {Kind::ReadOnly,
              "the file may only be read; change its permissions, or copy it to where it may be written"};
    case SQLITE_FULL:
      return {Kind::Full, "there is no room left on the disk; make room and commit again"};
    case SQLITE_CORRUPT:
    case SQLITE_NOTADB:
      return {Kind::Damaged, "the file is damaged; run PRAGMA integrity_check on a copy of it, or restore a backup"};
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_AUTH:
      return {Kind::Location, "check that the folder exists and may be written to"};
    default:
      return {Kind::Io, "check the disk; the store holds its last committed state"};
  }
}

}  // namespace

std::string quotedName(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) {
    quoted += c;
    if (c == '"') quoted += '"';
  }
  return quoted + '"';
}

// --- Statements.

Statement::Statement(Statement&& other) noexcept
    : fDatabase(std::exchange(other.fDatabase, nullptr)),
      fHandle(std::exchange(other.fHandle, nullptr)),
      fSql(std::move(other.fSql)) {}

Statement& Statement::operator=(Statement&& other) noexcept {
  std::swap(fDatabase, other.fDatabase);
  std::swap(fHandle, other.fHandle);
  std::swap(fSql, other.fSql);
  return *this;
}

Statement::~Statement() { sqlite3_finalize(fHandle); }

sqlite3_stmt* Statement::handle() {
  if (fHandle != nullptr) return fHandle;
  const int code = sqlite3_prepare_v3(fDatabase->fHandle, fSql.data(), static_cast<int>(fSql.size()),
                                      SQLITE_PREPARE_PERSISTENT, &fHandle, nullptr);
  if (code != SQLITE_OK) fDatabase->fail(code, "cannot access the store");
  fSql.clear();
  fSql.shrink_to_fit();
  return fHandle;
}

void Statement::check(int code) const {
  if (code != SQLITE_OK) fDatabase->fail(code, "cannot bind a value");
}

Statement& Statement::bind(int index, std::int64_t value) {
  check(sqlite3_bind_int64(handle(), index, value));
  return *this;
}

Statement& Statement::bind(int index, double value) {
  check(sqlite3_bind_double(handle(), index, value));
  return *this;
}

Statement& Statement::bindText(int index, std::string_view text) {
  // A null pointer would bind NULL. The static destructor promises that the bytes stay: nothing is copied.
  check(sqlite3_bind_text64(handle(), index, text.data() == nullptr ? "" : text.data(), text.size(), SQLITE_STATIC,
                            SQLITE_UTF8));
  return *this;
}

Statement& Statement::bindBlob(int index, std::string_view bytes) {
  check(sqlite3_bind_blob64(handle(), index, bytes.data() == nullptr ? "" : bytes.data(), bytes.size(), SQLITE_STATIC));
  return *this;
}

Statement& Statement::bindNull(int index) {
  check(sqlite3_bind_null(handle(), index));
  return *this;
}

bool Statement::step() {
  const int code = sqlite3_step(handle());
  if (code == SQLITE_ROW) return true;
  if (code == SQLITE_DONE) return false;
  fDatabase->fail(code, sqlite3_stmt_readonly(fHandle) != 0 ? "cannot read" : "cannot write");
}

void Statement::run() {
  const StatementUse use(*this);
  while (step()) {
  }
}

void Statement::reset() noexcept { sqlite3_reset(fHandle); }

bool Statement::isNull(int column) const noexcept { return sqlite3_column_type(fHandle, column) == SQLITE_NULL; }
bool Statement::isInteger(int column) const noexcept { return sqlite3_column_type(fHandle, column) == SQLITE_INTEGER; }
bool Statement::isReal(int column) const noexcept { return sqlite3_column_type(fHandle, column) == SQLITE_FLOAT; }
bool Statement::isText(int column) const noexcept { return sqlite3_column_type(fHandle, column) == SQLITE_TEXT; }
std::int64_t Statement::integer(int column) const noexcept { return sqlite3_column_int64(fHandle, column); }
double Statement::real(int column) const noexcept { return sqlite3_column_double(fHandle, column); }

std::string_view Statement::text(int column) const noexcept {
  // The blob form: asking for text could convert, asking for the length afterwards counts what is there.
  const void* bytes = sqlite3_column_blob(fHandle, column);
  const int count = sqlite3_column_bytes(fHandle, column);
  return {static_cast<const char*>(bytes), bytes == nullptr ? 0 : static_cast<std::size_t>(count)};
}

// --- The connection.

Database::Database(const std::string& path, bool readOnly) : fPath(path), fReadOnly(readOnly) {
  // A relative path is made to begin like one: ":memory:" and "" mean no file to SQLite.
  const std::string place = path.empty() || path.front() == '/' ? path : "./" + path;
  const int flags =
      (readOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE) | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE;
  const int code = sqlite3_open_v2(place.c_str(), &fHandle, flags, nullptr);
  try {
    if (code != SQLITE_OK) fail(code, "cannot open");
    configure();
  } catch (...) {
    close();
    throw;
  }
}

Database::~Database() { close(); }

void Database::close() noexcept {
  sqlite3_finalize(fRollback);
  sqlite3_close_v2(fHandle);
}

void Database::configure() {
  sqlite3_extended_result_codes(fHandle, 1);
  sqlite3_busy_timeout(fHandle, kBusyMilliseconds);
  const std::pair<int, int> options[] = {
      {SQLITE_DBCONFIG_DEFENSIVE, 1},      {SQLITE_DBCONFIG_TRUSTED_SCHEMA, 0},
      {SQLITE_DBCONFIG_ENABLE_TRIGGER, 0}, {SQLITE_DBCONFIG_ENABLE_VIEW, 0},
      {SQLITE_DBCONFIG_DQS_DDL, 0},        {SQLITE_DBCONFIG_DQS_DML, 0},
      {SQLITE_DBCONFIG_ENABLE_FKEY, 1},    {SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION, 0},
  };
  for (const auto& [option, value] : options) {
    int now = -1;
    const int code = sqlite3_db_config(fHandle, option, value, &now);
    if (code != SQLITE_OK || now != value) fail(code == SQLITE_OK ? SQLITE_ERROR : code, "cannot set up SQLite");
  }
  sqlite3_limit(fHandle, SQLITE_LIMIT_ATTACHED, 0);
  sqlite3_limit(fHandle, SQLITE_LIMIT_EXPR_DEPTH, 100);
  sqlite3_limit(fHandle, SQLITE_LIMIT_TRIGGER_DEPTH, 1);
  // None of these touches the file. The exclusive mode keeps each lock that was taken until the connection is closed.
  execute("PRAGMA locking_mode=EXCLUSIVE");
  execute("PRAGMA cell_size_check=ON");
  execute("PRAGMA mmap_size=0");
  execute("PRAGMA temp_store=MEMORY");
  execute("PRAGMA synchronous=EXTRA");
  execute("PRAGMA cache_size=-" + std::to_string(kCacheKibibytes));
  const int code = sqlite3_prepare_v3(fHandle, "ROLLBACK", -1, SQLITE_PREPARE_PERSISTENT, &fRollback, nullptr);
  if (code != SQLITE_OK) fail(code, "cannot set up SQLite");
}

void Database::settle(const std::string& path) {
  Database database(path, false);
  database.execute("PRAGMA locking_mode=NORMAL");
  static_cast<void>(database.askInteger("SELECT count(*) FROM sqlite_schema"));
  // A change of the mode removes a journal that there is nothing to undo of.
  database.execute("PRAGMA journal_mode=PERSIST");
  database.execute("PRAGMA journal_mode=DELETE");
}

void Database::execute(const char* sql) {
  const int code = sqlite3_exec(fHandle, sql, nullptr, nullptr, nullptr);
  if (code != SQLITE_OK) fail(code, "cannot access the store");
}

Statement Database::prepare(std::string sql) {
  Statement statement = prepareLater(std::move(sql));
  statement.handle();
  return statement;
}

Statement Database::prepareLater(std::string sql) noexcept { return {*this, std::move(sql)}; }

std::int64_t Database::askInteger(const char* sql) {
  Statement question = prepare(sql);
  return question.step() ? question.integer(0) : 0;
}

bool Database::wasWriteRefused() const noexcept {
  return fLastFailure == SQLITE_IOERR_WRITE || (fLastFailure & 0xFF) == SQLITE_FULL;
}

void Database::rollBack() noexcept {
  sqlite3_step(
      fRollback);  // should it tell an error: nothing of the transaction is in the file, its journal sees to it
  sqlite3_reset(fRollback);
}

bool Database::isInTransaction() const noexcept { return sqlite3_get_autocommit(fHandle) == 0; }

void Database::fail(int code, const char* what) const {
  fLastFailure = code;
  if ((code & 0xFF) == SQLITE_NOMEM) throw std::bad_alloc();
  const Meaning meaning = meaningOf(code);
  const std::string detail = fHandle == nullptr ? sqlite3_errstr(code) : sqlite3_errmsg(fHandle);
  throw StoreError(
      meaning.kind, fPath,
      std::string(what) + " (" + detail + ", SQLite's code " + std::to_string(code) + "): " + meaning.advice);
}

// --- Transactions.

DatabaseTransaction::DatabaseTransaction(Database& database, Kind kind) : fDatabase(database) {
  database.execute(kind == Kind::Write ? "BEGIN IMMEDIATE" : "BEGIN");
}

DatabaseTransaction::~DatabaseTransaction() {
  if (fOpen && fDatabase.isInTransaction()) fDatabase.rollBack();  // some failures have rolled back already
}

void DatabaseTransaction::commit() {
  fDatabase.execute("COMMIT");
  fOpen = false;
}

}  // namespace strata
