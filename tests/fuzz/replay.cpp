// Runs a fuzz target without libFuzzer.
//
//   replay [--damage N] [file or folder]...   the seeds, N damaged ones, and the files
//   replay --write FOLDER                     writes the seeds, one file each, for a campaign to start from
//
// Ends with the number of inputs tried; what an input breaks ends the process at that input, whose name was printed
// before when NIMBO_FUZZ_TRACE is set.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "FuzzTarget.h"

namespace {

namespace fs = std::filesystem;

std::size_t tried = 0;

void tryInput(const std::string& input, const std::string& name) {
  static const bool kTrace = std::getenv("NIMBO_FUZZ_TRACE") != nullptr;
  if (kTrace) std::fprintf(stderr, "%s\n", name.c_str());
  // A block of the exact size, so that the address sanitizer sees what reads past the end.
  const std::vector<std::uint8_t> bytes(input.begin(), input.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
  ++tried;
}

std::string contentOf(const fs::path& file) {
  std::ifstream in(file, std::ios::binary);
  return {std::istreambuf_iterator<char>(in), {}};
}

void tryFiles(const fs::path& path) {
  if (!fs::is_directory(path)) return tryInput(contentOf(path), path.string());
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(path)) {
    if (entry.is_regular_file()) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  for (const fs::path& file : files) tryInput(contentOf(file), file.string());
}

/// The same damage in every run.
class Damage {
 public:
  explicit Damage(std::vector<std::string> seeds) : fSeeds(std::move(seeds)) {}

  std::string next() {
    std::string bytes = fSeeds[below(fSeeds.size())];
    for (std::size_t times = 1 + below(3); times > 0; --times) spoil(bytes);
    return bytes;
  }

 private:
  std::size_t below(std::size_t end) { return fRandom() % end; }

  void spoil(std::string& bytes) {
    if (bytes.empty()) return bytes.push_back(static_cast<char>(fRandom()));
    const std::size_t at = below(bytes.size());
    switch (below(6)) {
      case 0:
        bytes[at] = static_cast<char>(static_cast<unsigned char>(bytes[at]) ^ (1U << below(8)));
        return;
      case 1:
        bytes[at] = static_cast<char>(fRandom());
        return;
      case 2:
        bytes.resize(at);
        return;
      case 3:
        bytes.erase(at, 1 + below(9));
        return;
      case 4:
        bytes.insert(at, bytes.substr(below(bytes.size()), 1 + below(30)));
        return;
      default: {
        const std::string& other = fSeeds[below(fSeeds.size())];
        bytes = bytes.substr(0, at) + other.substr(std::min(at, other.size()));
        return;
      }
    }
  }

  std::vector<std::string> fSeeds;
  std::mt19937 fRandom{20240229};
};

int writeSeeds(const fs::path& folder) {
  fs::create_directories(folder);
  std::size_t number = 0;
  for (const std::string& seed : fuzz::seeds()) {
    std::ofstream(folder / ("seed" + std::to_string(number++)), std::ios::binary) << seed;
  }
  std::printf("%zu seeds\n", number);
  return number == 0 ? 1 : 0;
}

}  // namespace

int main(int argc, char** argv) {
  std::vector<std::string> arguments(argv + 1, argv + argc);
  if (arguments.size() == 2 && arguments[0] == "--write") return writeSeeds(arguments[1]);
  const std::vector<std::string> seeds = fuzz::seeds();
  for (std::size_t i = 0; i < seeds.size(); ++i) tryInput(seeds[i], "seed " + std::to_string(i));
  if (arguments.size() >= 2 && arguments[0] == "--damage") {
    Damage damage(seeds);
    const unsigned long count = std::strtoul(arguments[1].c_str(), nullptr, 10);
    for (unsigned long i = 0; i < count; ++i) tryInput(damage.next(), "damaged seed " + std::to_string(i));
    arguments.erase(arguments.begin(), arguments.begin() + 2);
  }
  for (const std::string& path : arguments) tryFiles(path);
  std::printf("%zu inputs tried\n", tried);
  return tried == 0 ? 1 : 0;
}
