#pragma once

#include <string>

#include <tarn/kern/Model.h>

#include "strata/StoreError.h"
#include "strata_datasource/DataSource.h"

/// What the tests of the store have in common: a folder of their own, models bound to files in it, and looks at the
/// files with SQLite alone.
namespace storetest {

using tarn::kern::Model;
using tarn::kern::ModelElement;
using Sync = tarn::kern::datasource::DataSource;

/// A folder that is empty at first and gone at the end.
class Folder {
 public:
  Folder();
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder();

  [[nodiscard]] std::string operator/(const std::string& name) const { return fPath + "/" + name; }
  [[nodiscard]] const std::string& path() const noexcept { return fPath; }

 private:
  std::string fPath;
};

[[nodiscard]] Model newModel();
/// Binds with the arguments that an application passes: on touch, changes, on commit.
strata_datasource::DataSource* bindTo(const Model& model, const std::string& path);
/// An empty model bound to the file.
[[nodiscard]] Model open(const std::string& path);

/// The kind of error that binding an empty model ends in, and its text.
struct Refusal {
  strata::StoreError::Kind kind;
  std::string text;
};
[[nodiscard]] Refusal refusalOf(const std::string& path);
[[nodiscard]] Refusal refusalOf(const Model& model, const std::string& path);

[[nodiscard]] bool exists(const std::string& path);
[[nodiscard]] std::string bytesOf(const std::string& path);
void writeBytes(const std::string& path, const std::string& bytes);

/// Runs SQL on the file without the library under test. Rows end in "\n", columns are separated by "|".
std::string sql(const std::string& path, const std::string& statements);

}  // namespace storetest
