#pragma once

#include <algorithm>

namespace Plugin::OptiRoster::Internal {

// Sorts ascending by a QString key with QString's operator<, which compares UTF-16 code units
// case-sensitively. Equal names keep their order.
template <typename List, typename Key>
void sortByName(List& list, Key key)
{
    std::stable_sort(list.begin(), list.end(), [&key](const auto& a, const auto& b) { return key(a) < key(b); });
}

} // namespace Plugin::OptiRoster::Internal
