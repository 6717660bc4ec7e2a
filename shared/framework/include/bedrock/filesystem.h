#pragma once

#include <fstream>
#include <ios>
#include <string>

#include <bedrock/i18n.h>
#include <tarn/export.h>

/// Files by ustring path. A path goes to the system as the UTF-8 of the text as given: nothing is trimmed, normalised
/// or made absolute. A path that holds a NUL names no file: it does not exist, and opening it fails, where the C
/// interface would cut it short and reach another file.
namespace bedrock::filesystem {

/// True when something lies at `path` (links are followed). A missing entry or a file where a directory was expected is
/// false; everything that leaves the question open throws std::filesystem::filesystem_error with the path in its text:
/// no permission to look, a loop of links, a name too long, a failing disk.
[[nodiscard]] TARN_EXPORT bool exists(const i18n::ustring& path);

namespace detail {

/// The path as the platform's wide text: code points where wchar_t is wide enough for them (a lone surrogate stays as
/// it is), code units elsewhere.
[[nodiscard]] TARN_EXPORT std::wstring make_native_access_form_with_cleanup_i18n(const i18n::ustring& path);

/// The path as the bytes that the system's calls take.
/// @throws std::invalid_argument when the path holds a NUL.
[[nodiscard]] TARN_EXPORT std::string makeNarrowAccessForm(const i18n::ustring& path);

/// Opens `stream`; on any failure its failbit is set, as an open of the standard's own streams does.
template <class Stream>
void openByUstring(Stream& stream, const i18n::ustring& path, std::ios_base::openmode mode) {
  if (path.find(u'\0') != i18n::ustring::npos) {
    stream.setstate(std::ios_base::failbit);
    return;
  }
  stream.open(makeNarrowAccessForm(path), mode);
}

}  // namespace detail

/// A standard file stream for reading that is opened by a ustring path. Other openers may read and write the file at
/// the same time. Failure to open shows in the stream's state, not as an exception.
template <class Char, class Traits = std::char_traits<Char>>
class basic_ifstream : public std::basic_ifstream<Char, Traits> {
 public:
  basic_ifstream() = default;
  explicit basic_ifstream(const i18n::ustring& path, std::ios_base::openmode mode = std::ios_base::in) {
    detail::openByUstring<std::basic_ifstream<Char, Traits>>(*this, path, mode);
  }
};

/// A standard file stream for writing that is opened by a ustring path; see basic_ifstream.
template <class Char, class Traits = std::char_traits<Char>>
class basic_ofstream : public std::basic_ofstream<Char, Traits> {
 public:
  basic_ofstream() = default;
  explicit basic_ofstream(const i18n::ustring& path, std::ios_base::openmode mode = std::ios_base::out) {
    detail::openByUstring<std::basic_ofstream<Char, Traits>>(*this, path, mode);
  }
};

using ifstream = basic_ifstream<char>;
using ofstream = basic_ofstream<char>;

}  // namespace bedrock::filesystem
