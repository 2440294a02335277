#pragma once

#include <QString>

#include <algorithm>
#include <utility>
#include <vector>

namespace Plugin::OptiRoster::Internal {

// Sorts ascending by a QString key with QString's operator<, which compares UTF-16 code units
// case-sensitively. Equal names keep their order. Each key is computed once: a display name is
// built anew at each call.
template <typename List, typename Key>
void sortByName(List& list, Key key)
{
    std::vector<std::pair<QString, int>> keys;
    keys.reserve(std::size_t(list.size()));
    for (int i = 0; i < list.size(); ++i)
        keys.emplace_back(key(list.at(i)), i);
    std::stable_sort(keys.begin(), keys.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    List sorted;
    sorted.reserve(list.size());
    for (const auto& entry : keys)
        sorted.append(list.at(entry.second));
    list = std::move(sorted);
}

} // namespace Plugin::OptiRoster::Internal
