#include "XmiDocuments.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include <tarn/kern/ecore/EcoreExporter.h>
#include <tarn/kern/meta/MetaRegistry.h>

namespace tarn::kern::io::xml {

namespace fs = std::filesystem;

std::string readFile(const std::string& path) {
  std::error_code error;
  if (fs::is_directory(path, error)) throw std::runtime_error(path + ": this is a folder, not a file");
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error(path + ": the file cannot be opened: does it exist, and may it be read?");
  std::string text((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
  if (file.bad()) throw std::runtime_error(path + ": the file cannot be read to its end");
  return text;
}

std::string percentDecoded(std::string_view text) {
  const auto digit = [](char c) -> int {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return c >= 'a' && c <= 'f' ? c - 'a' + 10 : -1;
  };
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '%' && i + 2 < text.size() && digit(text[i + 1]) >= 0 && digit(text[i + 2]) >= 0) {
      decoded += static_cast<char>(digit(text[i + 1]) * 16 + digit(text[i + 2]));
      i += 2;
    } else {
      decoded += text[i];
    }
  }
  return decoded;
}

void XmiDocuments::mapUri(const ustring& uri, const ustring& path) {
  fMapped[bedrock::i18n::ustring_to_utf8(uri)] = bedrock::i18n::ustring_to_utf8(path);
}

std::optional<std::string> XmiDocuments::mapped(std::string_view uri) const {
  if (const auto exact = fMapped.find(std::string(uri)); exact != fMapped.end()) return exact->second;
  const std::pair<const std::string, std::string>* best = nullptr;
  for (const auto& entry : fMapped) {
    const bool isPrefix = entry.first.ends_with('/') && uri.starts_with(entry.first);
    if (isPrefix && (best == nullptr || best->first.size() < entry.first.size())) best = &entry;
  }
  if (best == nullptr) return std::nullopt;
  return (fs::path(best->second) / percentDecoded(uri.substr(best->first.size()))).string();
}

std::string XmiDocuments::canonicalPath(const std::string& path) {
  std::error_code error;
  const fs::path canonical = fs::weakly_canonical(path, error);
  return error ? fs::absolute(path).lexically_normal().string() : canonical.string();
}

std::string XmiDocuments::relativeTo(const std::string& base, const std::string& path) {
  return fs::path(path).lexically_relative(fs::path(base).parent_path()).generic_string();
}

std::optional<XmiDocuments::Place> XmiDocuments::find(const std::string& base, std::string_view uri) const {
  const auto file = [](const std::string& path) -> std::optional<Place> {
    std::error_code error;
    if (!fs::is_regular_file(path, error)) return std::nullopt;
    return Place{canonicalPath(path), false};
  };
  if (const std::optional<std::string> path = mapped(uri)) return file(*path);
  const ustring asText = bedrock::i18n::utf8_to_ustring(uri);
  if (meta::MetaRegistry::getInstance()->getPackage(asText)) return Place{std::string(uri), true};
  if (uri.starts_with("file:")) {
    std::string_view path = uri.substr(5);
    if (path.starts_with("///")) path.remove_prefix(2);
    if (path.starts_with("//")) return std::nullopt;  // on another machine
    return file(percentDecoded(path));
  }
  const bool hasScheme = uri.substr(0, uri.find('/')).find(':') != std::string_view::npos;
  if (hasScheme || base.empty()) return std::nullopt;
  return file((fs::path(base).parent_path() / percentDecoded(uri)).string());
}

std::string XmiDocuments::read(const Place& place) const {
  if (!place.isPackage) return readFile(place.name);
  const auto package =
      meta::MetaRegistry::getInstance()->getPackage(bedrock::i18n::utf8_to_ustring(std::string_view(place.name)));
  return ecore::EcoreExporter().toText(package);
}

}  // namespace tarn::kern::io::xml
