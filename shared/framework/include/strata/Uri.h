#pragma once

#include <tarn/export.h>

/// Where persistent stores lie.
namespace strata {

class SQLiteUri;

/// Names the place of a store. The kinds of places are the derived classes; SQLite files are the only one.
class TARN_EXPORT Uri {
 public:
  virtual ~Uri();

  /// A place in a SQLite file, not yet said which. Callers include strata/SQLiteUri.h.
  [[nodiscard]] static SQLiteUri createSQLite();

 protected:
  Uri();
  Uri(const Uri&);
  Uri& operator=(const Uri&);
};

}  // namespace strata
