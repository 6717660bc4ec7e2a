#pragma once

#include <string>

#include <strata/Uri.h>
#include <tarn/export.h>

namespace strata {

/// The path of a SQLite file. A value: copying it copies the path; nothing is opened.
class TARN_EXPORT SQLiteUri final : public Uri {
 public:
  SQLiteUri();
  SQLiteUri(const SQLiteUri&);
  SQLiteUri& operator=(const SQLiteUri&);
  ~SQLiteUri() override;

  /// The path as UTF-8. It goes to the system as it is: relative paths are resolved against the working directory at
  /// the time of binding, and no character has a special meaning.
  SQLiteUri& setLocation(const std::string& path);
  [[nodiscard]] const std::string& getLocation() const noexcept { return fLocation; }

 private:
  std::string fLocation;
};

}  // namespace strata
