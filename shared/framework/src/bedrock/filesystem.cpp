#include <cwchar>
#include <filesystem>
#include <stdexcept>

#include <bedrock/filesystem.h>

namespace bedrock::filesystem {

using i18n::ustring;

bool exists(const ustring& path) {
  if (path.find(u'\0') != ustring::npos) return false;
  return std::filesystem::exists(std::filesystem::path(i18n::ustring_to_utf8(path)));
}

namespace detail {

std::string makeNarrowAccessForm(const ustring& path) {
  if (path.find(u'\0') != ustring::npos) {
    throw std::invalid_argument("the path \"" + i18n::to_string(path.substr(0, path.find(u'\0'))) +
                                "\" goes on behind a NUL character; no file has such a name");
  }
  return i18n::ustring_to_utf8(path);
}

std::wstring make_native_access_form_with_cleanup_i18n(const ustring& path) {
  std::wstring native;
  native.reserve(path.size());
  for (std::size_t i = 0; i < path.size(); ++i) {
    char32_t number = path[i];
    if constexpr (WCHAR_MAX > 0xFFFF) {
      const bool isPair =
          number >= 0xD800 && number < 0xDC00 && i + 1 < path.size() && path[i + 1] >= 0xDC00 && path[i + 1] < 0xE000;
      if (isPair) number = 0x10000 + ((number - 0xD800) << 10U) + (path[++i] - 0xDC00U);
    }
    native.push_back(static_cast<wchar_t>(number));
  }
  return native;
}

}  // namespace detail
}  // namespace bedrock::filesystem
