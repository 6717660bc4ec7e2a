#pragma once

#include <functional>
#include <map>

namespace tarn::kern::meta {

/// An ordered map from a name to a handle. Iteration is in ascending order of the key's code units, the same in every
/// run: formats depend on that order.
template <class Key, class Handle>
using ElementMap = std::map<Key, Handle, std::less<>>;

}  // namespace tarn::kern::meta
