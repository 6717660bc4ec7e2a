#pragma once

#include <compare>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace debian_packages {

/// A text that dpkg refuses as a version; says why.
class VersionError : public std::invalid_argument {
 public:
  using std::invalid_argument::invalid_argument;
};

/// A package version, [epoch:]upstream[-revision], as a value.
///
/// Order and equality are those of `dpkg --compare-versions`: numbers inside the text count as numbers, a tilde sorts
/// before everything, the end included. Different texts may therefore be equal ("1.0" and "1.0-0", "1.01" and "1.1"):
/// use isIdentical() where the text matters.
/// A default-constructed version is the version of a package that has none; it sorts before all others but "0" and the
/// like.
class DebianVersion {
 public:
  DebianVersion() = default;

  /// For parts that were once parsed, such as those from a saved model. Nothing is checked.
  DebianVersion(std::int32_t epoch, std::string upstream, std::string revision)
      : fEpoch(epoch), fUpstream(std::move(upstream)), fRevision(std::move(revision)) {}

  /// Accepts what dpkg accepts in its database, which includes versions it only warns about (a letter in front, an
  /// underscore). Blanks around the text are ignored. Throws VersionError for the rest, the empty text included.
  static DebianVersion parse(std::string_view text);

  std::int32_t epoch() const noexcept { return fEpoch; }
  const std::string& upstream() const noexcept { return fUpstream; }
  const std::string& revision() const noexcept { return fRevision; }
  bool isEmpty() const noexcept { return fEpoch == 0 && fUpstream.empty() && fRevision.empty(); }

  /// The shortest text that parses to the same parts: an epoch of 0 is written only where a colon follows anyway.
  std::string text() const;

  bool isIdentical(const DebianVersion& other) const noexcept {
    return fEpoch == other.fEpoch && fUpstream == other.fUpstream && fRevision == other.fRevision;
  }

  friend std::weak_ordering operator<=>(const DebianVersion& a, const DebianVersion& b) noexcept;
  friend bool operator==(const DebianVersion& a, const DebianVersion& b) noexcept { return (a <=> b) == 0; }

 private:
  std::int32_t fEpoch = 0;
  std::string fUpstream;
  std::string fRevision;
};

}  // namespace debian_packages
