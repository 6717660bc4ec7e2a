#pragma once

#include <array>
#include <cstddef>
#include <streambuf>

namespace quillon::nimbo {

/// Collects what is written and hands it to a file descriptor in large pieces. Keeps the system's first error, which a
/// standard file stream forgets. After an error nothing more is written. Owns nothing.
class FileDescriptorBuf : public std::streambuf {
 public:
  explicit FileDescriptorBuf(int descriptor) noexcept;

  /// The system's first error, 0 when all went well.
  [[nodiscard]] int error() const noexcept { return fError; }

  /// Writes what is collected; false when something has failed, now or before.
  bool flush() noexcept;

 protected:
  int_type overflow(int_type unit) override;
  std::streamsize xsputn(const char* data, std::streamsize size) override;
  int sync() override;

 private:
  bool writeAll(const char* data, std::size_t size) noexcept;

  int fDescriptor;
  int fError = 0;
  std::array<char, 1U << 16U> fBytes{};
};

}  // namespace quillon::nimbo
