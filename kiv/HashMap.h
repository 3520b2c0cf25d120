// SPDX-License-Identifier: Apache-2.0
#pragma once
// Unordered collections keyed by value types that provide std::hash.
#include <unordered_map>

namespace Kiv {

template <class K, class V>
using HashMap = std::unordered_map<K, V>;

}  // namespace Kiv
