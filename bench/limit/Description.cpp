#include "Description.h"

#include <algorithm>
#include <string_view>

namespace bench {
namespace {

/// SplitMix64: small, and, unlike the distributions of the standard library, the same on every platform.
class Random {
 public:
  explicit Random(std::uint64_t seed) : fState(seed) {}

  std::uint64_t next() {
    std::uint64_t z = fState += 0x9e3779b97f4a7c15U;
    z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9U;
    z = (z ^ (z >> 27)) * 0x94d049bb133111ebU;
    return z ^ (z >> 31);
  }

  /// A number in [0, bound); bound is far below 2^32, so the bias of the multiplication does not matter.
  std::size_t below(std::size_t bound) { return static_cast<std::size_t>(((next() >> 32) * bound) >> 32); }

  std::size_t between(std::size_t low, std::size_t high) { return low + below(high - low + 1); }

  bool oneIn(std::size_t odds) { return below(odds) == 0; }

 private:
  std::uint64_t fState;
};

/// One letter in sixteen is not ASCII, among them a pair of surrogates.
std::u16string text(Random& random, std::size_t length) {
  static constexpr std::u16string_view kPlain = u"abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789 _";
  static constexpr std::u16string_view kSpecial = u"äöüßéñλж中語€Ω";
  static constexpr std::u16string_view kPair = u"\U0001F600";
  std::u16string result;
  result.reserve(length);
  while (result.size() < length) {
    if (!random.oneIn(16)) {
      result += kPlain[random.below(kPlain.size())];
    } else if (random.oneIn(8) && length - result.size() >= kPair.size()) {
      result += kPair;
    } else {
      result += kSpecial[random.below(kSpecial.size())];
    }
  }
  return result;
}

Uuid uuid(Random& random) {
  Uuid result;
  for (std::size_t half = 0; half < 2; ++half) {
    const std::uint64_t bits = random.next();
    for (std::size_t i = 0; i < 8; ++i) result[half * 8 + i] = static_cast<std::uint8_t>(bits >> (i * 8));
  }
  result[6] = static_cast<std::uint8_t>((result[6] & 0x0f) | 0x40);  // the marks of a random uuid
  result[8] = static_cast<std::uint8_t>((result[8] & 0x3f) | 0x80);
  return result;
}

/// The containment tree: most folders hold a few dozen children, a few hold the most that is allowed.
struct Tree {
  std::vector<RecordIndex> parent;
  std::vector<bool> isFolder;
};

std::size_t drawFanOut(Random& random) { return random.oneIn(40) ? kMaxFanOut : random.between(4, 36); }

/// Grows the tree level by level. The last folder still open never runs out before another has been made.
Tree growTree(Random& random, std::size_t count) {
  Tree tree;
  tree.parent.push_back(kNoRecord);
  tree.isFolder.push_back(true);
  for (std::size_t folder = 0; tree.parent.size() < count; ++folder) {
    if (!tree.isFolder[folder]) continue;
    bool madeFolder = false;
    const std::size_t fanOut = std::min(drawFanOut(random), count - tree.parent.size());
    for (std::size_t i = 0; i < fanOut; ++i) {
      const bool makeFolder = random.oneIn(20) || (!madeFolder && i + 1 == fanOut);
      madeFolder |= makeFolder;
      tree.parent.push_back(static_cast<RecordIndex>(folder));
      tree.isFolder.push_back(makeFolder);
    }
  }
  return tree;
}

/// Renumbers the nodes in the order of a depth-first walk.
Tree inWalkOrder(const Tree& tree) {
  const std::size_t count = tree.parent.size();
  std::vector<std::vector<RecordIndex>> children(count);
  for (std::size_t i = 1; i < count; ++i) children[tree.parent[i]].push_back(static_cast<RecordIndex>(i));

  Tree result;
  std::vector<RecordIndex> newIndex(count, kNoRecord);
  std::vector<RecordIndex> pending{0};
  while (!pending.empty()) {
    const RecordIndex node = pending.back();
    pending.pop_back();
    newIndex[node] = static_cast<RecordIndex>(result.parent.size());
    result.parent.push_back(node == 0 ? kNoRecord : newIndex[tree.parent[node]]);
    result.isFolder.push_back(tree.isFolder[node]);
    pending.insert(pending.end(), children[node].rbegin(), children[node].rend());
  }
  return result;
}

/// Half of the references stay in the neighbourhood, as they do in a class diagram; the others go anywhere.
RecordIndex drawTarget(Random& random, std::size_t from, std::size_t count) {
  constexpr std::size_t kNear = 50;
  if (random.oneIn(2)) return static_cast<RecordIndex>(random.below(count));
  const std::size_t low = from > kNear ? from - kNear : 0;
  return static_cast<RecordIndex>(random.between(low, std::min(from + kNear, count - 1)));
}

void fillValues(Random& random, Record& record) {
  constexpr Microseconds kFirstTime = 946'684'800'000'000;  // 2000-01-01
  constexpr std::size_t kTimeSpanSeconds = 788'918'400;     // 25 years
  record.name = text(random, random.between(8, 24));
  record.hasDocumentation = !random.oneIn(4);
  if (record.hasDocumentation) record.documentation = text(random, random.between(0, 80));
  record.abstract = random.oneIn(4);
  record.multiplicity = random.oneIn(2) ? 1 : static_cast<std::int32_t>(random.between(0, 1000)) - 500;
  record.revision = static_cast<std::int64_t>(random.next() >> 20);
  record.weight = static_cast<double>(random.between(0, 1'000'000)) / 64.0;
  record.visibility = static_cast<Visibility>(random.below(4));
  if (random.oneIn(10)) {
    record.modified = kFirstTime + static_cast<Microseconds>(random.below(kTimeSpanSeconds)) * 1'000'000 +
                      static_cast<Microseconds>(random.below(1'000'000));
  }
  record.tags.resize(random.between(0, 4));
  for (std::u16string& tag : record.tags) tag = text(random, random.between(2, 14));
  record.marks.resize(random.between(0, 8));
  for (std::int32_t& mark : record.marks) mark = static_cast<std::int32_t>(random.next());
}

void fillReferences(Random& random, std::size_t from, Description& description) {
  Record& record = description[from];
  if (!random.oneIn(4)) record.base = drawTarget(random, from, description.size());
  for (std::size_t tries = random.between(0, 3); tries > 0; --tries) {
    const RecordIndex target = drawTarget(random, from, description.size());
    if (std::find(record.related.begin(), record.related.end(), target) == record.related.end()) {
      record.related.push_back(target);
    }
  }
}

}  // namespace

Description describe(std::size_t count, std::uint64_t seed) {
  Random random(seed);
  const Tree tree = inWalkOrder(growTree(random, count));
  Description description(count);
  for (std::size_t i = 0; i < count; ++i) {
    Record& record = description[i];
    record.uuid = uuid(random);
    record.parent = tree.parent[i];
    record.isFolder = tree.isFolder[i];
    fillValues(random, record);
    fillReferences(random, i, description);
  }
  return description;
}

}  // namespace bench
