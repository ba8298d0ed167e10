// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstddef>
#include <utility>
#include <vector>

// An LRU cache of a few entries, with linear search, for keys that have no hash. When the cache is
// full, a new entry replaces the least recently used one.
template <typename Entry, std::size_t maximumEntries>
class PlixLruList {
public:
    // The entry that matches, now the most recently used one; null when there is none. Valid until
    // the list is used again.
    template <typename Predicate>
    Entry* find(Predicate matches) {
        const auto found = std::find_if(m_entries.begin(), m_entries.end(), matches);
        if (found == m_entries.end())
            return nullptr;
        std::rotate(found, found + 1, m_entries.end());
        return &m_entries.back();
    }

    void add(Entry entry) {
        if (m_entries.size() == maximumEntries)
            m_entries.erase(m_entries.begin());
        m_entries.push_back(std::move(entry));
    }

    template <typename Predicate>
    void removeIf(Predicate matches) {
        m_entries.erase(std::remove_if(m_entries.begin(), m_entries.end(), matches),
                        m_entries.end());
    }

private:
    // The most recently used one at the end.
    std::vector<Entry> m_entries;
};
