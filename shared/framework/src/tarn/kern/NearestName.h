#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include <bedrock/i18n.h>

namespace tarn::kern::internal {

/// Finds the known name that somebody who wrote an unknown one most likely meant, for the ends of messages.
///
/// Near is: equal but for the case of ASCII letters, or a few letters changed, added, left out or swapped with their
/// neighbour, at most one in three. Of equally near names the first one offered wins. Names come from files too, so
/// very long ones are never compared: that would take time by the square of their length.
class NearestName {
 public:
  explicit NearestName(std::u16string_view wanted)
      : fWanted(wanted), fLimit(std::max<std::size_t>(1, wanted.size() / 3)) {}

  void offer(std::u16string_view candidate) {
    if (fWanted.empty() || candidate.empty() || fWanted.size() > kLongest || candidate.size() > kLongest) return;
    const std::size_t distance = foldsToWanted(candidate) ? 0 : distanceTo(candidate);
    if (distance > fLimit || distance >= fDistance || distance >= fWanted.size()) return;
    fDistance = distance;
    fNearest = candidate;
  }

  [[nodiscard]] bool found() const noexcept { return fDistance != kNone; }
  [[nodiscard]] const std::u16string& name() const noexcept { return fNearest; }

  /// `; did you mean "name"?`, or nothing.
  [[nodiscard]] std::string suggestion() const {
    return found() ? "; did you mean \"" + bedrock::i18n::to_string(fNearest) + "\"?" : std::string();
  }

 private:
  static constexpr std::size_t kLongest = 128;
  static constexpr std::size_t kNone = static_cast<std::size_t>(-1);

  static char16_t folded(char16_t unit) noexcept {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit - u'A' + u'a') : unit;
  }

  [[nodiscard]] bool foldsToWanted(std::u16string_view candidate) const noexcept {
    return std::equal(fWanted.begin(), fWanted.end(), candidate.begin(), candidate.end(),
                      [](char16_t a, char16_t b) { return folded(a) == folded(b); });
  }

  /// Changes, additions, omissions and swaps of neighbours that lead from one to the other. Three rows of the usual
  /// table do.
  [[nodiscard]] std::size_t distanceTo(std::u16string_view candidate) const {
    const std::size_t difference =
        fWanted.size() > candidate.size() ? fWanted.size() - candidate.size() : candidate.size() - fWanted.size();
    if (difference > fLimit) return kNone;
    std::array<std::array<std::size_t, kLongest + 1>, 3> rows{};
    for (std::size_t j = 0; j <= candidate.size(); ++j) rows[0][j] = j;
    for (std::size_t i = 1; i <= fWanted.size(); ++i) {
      const auto& before = rows[(i - 1) % 3];
      const auto& twoBefore = rows[(i + 1) % 3];
      auto& row = rows[i % 3];
      row[0] = i;
      for (std::size_t j = 1; j <= candidate.size(); ++j) {
        const bool isSame = fWanted[i - 1] == candidate[j - 1];
        row[j] = std::min({before[j] + 1, row[j - 1] + 1, before[j - 1] + (isSame ? 0U : 1U)});
        const bool isSwapped =
            i > 1 && j > 1 && fWanted[i - 1] == candidate[j - 2] && fWanted[i - 2] == candidate[j - 1];
        if (isSwapped) row[j] = std::min(row[j], twoBefore[j - 2] + 1);
      }
    }
    return rows[fWanted.size() % 3][candidate.size()];
  }

  std::u16string_view fWanted;
  std::size_t fLimit;
  std::size_t fDistance = kNone;
  std::u16string fNearest;
};

/// The suggestion among the keys of a map from names.
template <class Map>
[[nodiscard]] std::string suggestionAmong(const Map& named, std::u16string_view wanted) {
  NearestName nearest(wanted);
  for (const auto& entry : named) nearest.offer(entry.first);
  return nearest.suggestion();
}

}  // namespace tarn::kern::internal
