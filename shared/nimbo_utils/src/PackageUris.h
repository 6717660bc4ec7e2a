#pragma once

#include <optional>
#include <string>
#include <vector>

/// What a reader makes of the package URIs at the head of a stream.
namespace quillon::nimbo {

/// The family that a URI below the schema base URI names: what stands between the base and the next "/". It may be
/// empty. None for a URI elsewhere, and where nothing or no "/" follows: then it is not known where the family would
/// end.
[[nodiscard]] std::optional<std::u16string> familyOfPackageUri(const std::u16string& uri);

/// Keeps, in their order, the URIs of families of which this process has a package registered. The others say nothing
/// about the age of a stream, since there is nothing to compare them with.
void keepKnownPackageUris(std::vector<std::u16string>& uris);

/// True when one of the URIs is not the current one of its family.
[[nodiscard]] bool anyPackageIsStale(const std::vector<std::u16string>& uris);

}  // namespace quillon::nimbo
