#include "quillon/nimbo/StreamIArchive.h"

#include <algorithm>
#include <new>
#include <stdexcept>

#include "BufferException.h"

namespace quillon::nimbo {

namespace {

/// How far a target grows ahead of the bytes: what an announcement alone can cost.
constexpr std::size_t kStepBytes = 64 * 1024;

/// Up to where a text or block that came short is padded. Fuzzing damages lengths all the time and cannot afford so
/// much for each; nothing else differs in its builds.
#ifdef FUZZING_BUILD_MODE_UNSAFE_FOR_PRODUCTION
constexpr std::uint64_t kMostPadding = 4096;
#else
constexpr std::uint64_t kMostPadding = StreamIArchive::kPaddingBound;
#endif

constexpr std::uint8_t kMissingByte = 0xFF;  // what a failed `get` leaves behind

[[noreturn]] void refuseCount(const char* what, std::uint64_t count) {
  throw std::length_error(std::string(what) + " of announced length " + std::to_string(count) +
                          " is longer than memory or the stream can hold: the data is damaged");
}

/// Fills `target` with up to `count` items in steps, each step first set to `filler`, then overwritten by
/// `readItems(address, items)`, which returns whether all of them came. Returns whether all of `count` came; if not,
/// the target ends on a step and keeps the filler where no bytes came.
template <typename Container, typename ReadItems>
bool fillStepwise(Container& target, std::uint64_t count, typename Container::value_type filler, ReadItems readItems) {
  constexpr std::uint64_t kStep = kStepBytes / sizeof(filler);
  while (target.size() < count) {
    const std::size_t done = target.size();
    const auto step = static_cast<std::size_t>(std::min(count - done, kStep));
    target.resize(done + step, filler);
    if (!readItems(target.data() + done, step)) return false;
  }
  return true;
}

}  // namespace

template <typename Char>
StreamIArchive& StreamIArchive::readText(std::basic_string<Char>& text) {
  constexpr Char kBlank = 0x20;
  std::uint64_t count = 0;
  *this >> count;
  text.clear();
  if (count > text.max_size()) refuseCount("a text", count);
  const auto readUnits = [this](Char* target, std::size_t units) {
    return readBytes(target, units * sizeof(Char)) == units * sizeof(Char);
  };
  if (fillStepwise(text, count, kBlank, readUnits)) return *this;
  if (count > kMostPadding) refuseCount("a text", count);
  text.resize(static_cast<std::size_t>(count), kBlank);
  return *this;
}

StreamIArchive& StreamIArchive::operator>>(std::u16string& value) { return readText(value); }

StreamIArchive& StreamIArchive::operator>>(std::string& value) { return readText(value); }

StreamIArchive& StreamIArchive::operator>>(std::vector<std::u16string>& value) {
  std::uint64_t count = 0;
  *this >> count;
  value.clear();
  if (count > value.max_size()) refuseCount("a list of texts", count);
  // Once a text came short, all others would be empty: there can be no more than bytes to tell of them.
  for (; count > 0 && !fStream->fail(); --count) *this >> value.emplace_back();
  return *this;
}

StreamIArchive& StreamIArchive::operator>>(std::vector<std::uint8_t>& value) {
  std::uint64_t count = 0;
  *this >> count;
  value.clear();
  if (count > value.max_size()) refuseCount("a block of bytes", count);
  // Compressed payloads come this way. Reserving costs address space only, and spares them being moved as they grow.
  value.reserve(static_cast<std::size_t>(std::min(count, kPaddingBound)));
  const auto readItems = [this](std::uint8_t* target, std::size_t size) { return readBytes(target, size) == size; };
  if (fillStepwise(value, count, kMissingByte, readItems)) return *this;
  if (count > kMostPadding) throw std::bad_alloc();
  value.resize(static_cast<std::size_t>(count), kMissingByte);
  return *this;
}

void StreamIArchive::reportBufferException() { detail::reportBufferException(*fStream); }

}  // namespace quillon::nimbo
