#include <strata/SQLiteUri.h>
#include <strata/Uri.h>

namespace strata {

Uri::Uri() = default;
Uri::Uri(const Uri&) = default;
Uri& Uri::operator=(const Uri&) = default;
Uri::~Uri() = default;

SQLiteUri Uri::createSQLite() { return {}; }

SQLiteUri::SQLiteUri() = default;
SQLiteUri::SQLiteUri(const SQLiteUri&) = default;
SQLiteUri& SQLiteUri::operator=(const SQLiteUri&) = default;
SQLiteUri::~SQLiteUri() = default;

SQLiteUri& SQLiteUri::setLocation(const std::string& path) {
  fLocation = path;
  return *this;
}

}  // namespace strata
