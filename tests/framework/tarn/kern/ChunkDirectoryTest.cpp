#include <cstddef>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "BlockPool.h"
#include "Layout.h"

namespace tarn::kern::internal {
namespace {

/// Where a layout could be. None is needed: it is only its address that counts.
struct Place {
  alignas(Layout) std::byte bytes[sizeof(Layout)];
};
const Layout& layoutAt(const Place& place) { return reinterpret_cast<const Layout&>(place); }

/// Addresses stand for memory here: the directory never looks at what they name.
class ChunkDirectoryTest : public testing::Test {
 protected:
  const std::byte* at(std::size_t address) const { return reinterpret_cast<const std::byte*>(address); }
  void add(std::size_t address, std::size_t bytes, const Layout& layout) {
    directory.reserve(bytes);
    directory.add(at(address), bytes, layout);
  }
  static constexpr std::size_t kUnit = ChunkDirectory::kLeastChunk;
  std::vector<Place> places = std::vector<Place>(1000);
  const Layout& layout(std::size_t number) const { return layoutAt(places[number]); }
  ChunkDirectory directory;
};

}  // namespace

TEST_F(ChunkDirectoryTest, KnowsNothingAtFirst) { EXPECT_EQ(directory.find(at(5 * kUnit)), nullptr); }

TEST_F(ChunkDirectoryTest, KnowsAChunkFromItsFirstToItsLastByte) {
  const std::size_t begin = 7 * kUnit + 160;
  const std::size_t bytes = 2 * kUnit + 48;
  add(begin, bytes, layout(1));
  EXPECT_EQ(directory.find(at(begin)), &layout(1));
  EXPECT_EQ(directory.find(at(begin + kUnit)), &layout(1));
  EXPECT_EQ(directory.find(at(begin + bytes - 1)), &layout(1));
  EXPECT_EQ(directory.find(at(begin - 1)), nullptr);
  EXPECT_EQ(directory.find(at(begin + bytes)), nullptr);
  EXPECT_EQ(directory.find(at(begin + (std::size_t{1} << 40U))), nullptr);
  EXPECT_EQ(directory.find(nullptr), nullptr);
}

TEST_F(ChunkDirectoryTest, TellsNeighboursApart) {
  add(3 * kUnit + 16, kUnit, layout(1));
  add(4 * kUnit + 16, kUnit, layout(2));
  EXPECT_EQ(directory.find(at(4 * kUnit + 15)), &layout(1));
  EXPECT_EQ(directory.find(at(4 * kUnit + 16)), &layout(2));
}

TEST_F(ChunkDirectoryTest, KnowsManyAsAListOfThemDoes) {
  struct Chunk {
    std::size_t begin;
    std::size_t bytes;
  };
  std::vector<Chunk> chunks;
  std::mt19937 random(4711);
  std::size_t next = kUnit;
  for (std::size_t i = 0; i < places.size(); ++i) {
    next += 16 * (random() % 9000) * (random() % 2);  // every other one follows at once
    chunks.push_back({next, kUnit + 16 * (random() % 20000)});
    next += chunks.back().bytes;
    add(chunks.back().begin, chunks.back().bytes, layout(i));
  }
  for (std::size_t i = 0; i < chunks.size(); ++i) {
    const auto& [begin, bytes] = chunks[i];
    ASSERT_EQ(directory.find(at(begin)), &layout(i));
    ASSERT_EQ(directory.find(at(begin + random() % bytes)), &layout(i));
    ASSERT_EQ(directory.find(at(begin + bytes - 1)), &layout(i));
    const bool isGap = i + 1 == chunks.size() || chunks[i + 1].begin > begin + bytes;
    ASSERT_EQ(directory.find(at(begin + bytes)), isGap ? nullptr : &layout(i + 1));
  }
}

TEST(BlockPoolTest, TellsTheLayoutOfBlocksOfLargeChunks) {
  const std::vector<Place> places(2);
  const Layout& first = layoutAt(places[0]);
  const Layout& second = layoutAt(places[1]);
  BlockPool pool;
  std::vector<void*> firsts;
  std::vector<void*> seconds;
  for (int i = 0; i < 5000; ++i) {
    firsts.push_back(pool.allocate(first, 100));
    seconds.push_back(pool.allocate(second, 200));
  }
  EXPECT_EQ(pool.layoutAt(firsts.front()), nullptr) << "in a small chunk";
  EXPECT_EQ(pool.layoutAt(firsts.back()), &first);
  EXPECT_EQ(pool.layoutAt(seconds.back()), &second);
  int known = 0;
  for (void* block : firsts) {
    const Layout* layout = pool.layoutAt(block);
    ASSERT_TRUE(layout == nullptr || layout == &first);
    known += layout != nullptr ? 1 : 0;
  }
  EXPECT_GT(known, 3900);
  EXPECT_EQ(pool.layoutAt(&places), nullptr);
}

TEST(BlockPoolTest, GivesABlockOutAgain) {
  const std::vector<Place> places(2);
  const Layout& first = layoutAt(places[0]);
  const Layout& second = layoutAt(places[1]);
  BlockPool pool;
  void* block = pool.allocate(first, 64);
  pool.free(block, first);
  EXPECT_NE(pool.allocate(second, 64), block) << "blocks of another layout lie elsewhere";
  EXPECT_EQ(pool.allocate(first, 64), block);
}

}  // namespace tarn::kern::internal
