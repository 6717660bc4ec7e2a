#include "StreamFile.h"

#include <istream>
#include <streambuf>

#include "ToolError.h"

namespace nimbo_tool {

namespace {

/// Bytes in memory as a stream, not copied.
class MemoryBuf final : public std::streambuf {
 public:
  explicit MemoryBuf(std::string_view bytes) {
    // The get area's type is not const, though nothing is ever written through it.
    char* begin = const_cast<char*>(bytes.data());
    setg(begin, begin, begin + bytes.size());
  }
  [[nodiscard]] std::size_t position() const noexcept { return static_cast<std::size_t>(gptr() - eback()); }
};

}  // namespace

std::uint64_t walkContainer(InputFile& file, quillon::nimbo::BinEventHandler& handler) {
  MemoryBuf buffer(std::string_view(file.bytes()).substr(file.form().headerSize));
  std::istream stream(&buffer);
  quillon::nimbo::BinEventReader(handler).read(stream);
  return buffer.position();
}

void requireContainer(const InputFile& file, const std::string& verb) {
  if (file.form().form == Form::Container && file.form().letter != 0) return;
  throw ToolError(file.name() + ": is " + formName(file.form()) + "; `nimbo " + verb +
                  "` reads containers (B, Z, z, J, C, c), also behind a header that --magic names");
}

std::string faultText(const std::exception& error) { return error.what(); }

}  // namespace nimbo_tool
