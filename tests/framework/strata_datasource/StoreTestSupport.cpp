#include "framework/strata_datasource/StoreTestSupport.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include <sqlite3.h>

#include <strata/SQLiteUri.h>
#include <unistd.h>

namespace storetest {

using strata_datasource::DataSource;

Folder::Folder() {
  // In memory where that is to be had: syncing a thousand small files takes its time on a disk.
  const std::filesystem::path memory = "/dev/shm";
  const bool hasMemory = ::access(memory.c_str(), W_OK) == 0;
  std::string path = ((hasMemory ? memory : std::filesystem::temp_directory_path()) / "store-test-XXXXXX").string();
  if (::mkdtemp(path.data()) == nullptr) throw std::runtime_error("no folder for the test");
  fPath = path;
}

Folder::~Folder() {
  std::error_code ignored;
  std::filesystem::remove_all(fPath, ignored);
}

Model newModel() { return Model::create(tarn::kern::ModelSpec()); }

DataSource* bindTo(const Model& model, const std::string& path) {
  return DataSource::create(strata::Uri::createSQLite().setLocation(path), model, static_cast<Sync::ToModelSync>(0),
                            static_cast<Sync::ToDataSourceSync>(1), static_cast<Sync::SyncTiming>(0));
}

Model open(const std::string& path) {
  Model model = newModel();
  bindTo(model, path);
  return model;
}

Refusal refusalOf(const Model& model, const std::string& path) {
  try {
    bindTo(model, path);
  } catch (const strata::StoreError& error) {
    return {error.kind(), error.what()};
  }
  throw std::runtime_error("the store was bound");
}

Refusal refusalOf(const std::string& path) { return refusalOf(newModel(), path); }

bool exists(const std::string& path) { return std::filesystem::exists(path); }

std::string bytesOf(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

void writeBytes(const std::string& path, const std::string& bytes) {
  std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
}

std::string sql(const std::string& path, const std::string& statements) {
  sqlite3* database = nullptr;
  sqlite3_open(path.c_str(), &database);
  std::string rows;
  char* error = nullptr;
  const auto addRow = [](void* out, int count, char** values, char**) {
    for (int i = 0; i < count; ++i) {
      *static_cast<std::string*>(out) += std::string(i == 0 ? "" : "|") + (values[i] == nullptr ? "NULL" : values[i]);
    }
    *static_cast<std::string*>(out) += "\n";
    return 0;
  };
  const int code = sqlite3_exec(database, statements.c_str(), addRow, &rows, &error);
  const std::string text = error == nullptr ? "" : error;
  sqlite3_free(error);
  sqlite3_close(database);
  if (code != SQLITE_OK) throw std::runtime_error(text);
  return rows;
}

}  // namespace storetest
