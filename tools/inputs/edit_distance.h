#pragma once

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

namespace custsim {

// Edit distance (insertions, deletions, substitutions), to suggest the name a misspelt one
// probably meant.
inline size_t editDistance(std::string_view a, std::string_view b) {
    std::vector<size_t> row(b.size() + 1);
    for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        size_t diagonal = row[0];
        row[0] = i;
        for (size_t j = 1; j <= b.size(); ++j) {
            const size_t above = row[j];
            const size_t substitution = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({row[j] + 1, row[j - 1] + 1, substitution});
            diagonal = above;
        }
    }
    return row[b.size()];
}

// The same when it is at most `limit`, else limit + 1: only the diagonal band of width
// 2 * limit + 1 is computed, so comparing a long name costs its length times the band, not the
// product of the two lengths.
inline size_t boundedEditDistance(std::string_view a, std::string_view b, size_t limit) {
    const size_t beyond = limit + 1;
    if ((a.size() > b.size() ? a.size() - b.size() : b.size() - a.size()) > limit) return beyond;
    std::vector<size_t> row(b.size() + 1, beyond);
    for (size_t j = 0; j <= std::min(b.size(), limit); ++j) row[j] = j;
    for (size_t i = 1; i <= a.size(); ++i) {
        const size_t from = i > limit ? i - limit : 1;
        const size_t to = std::min(b.size(), i + limit);
        size_t diagonal = from == 1 ? row[0] : row[from - 1];
        row[from - 1] = from == 1 && i <= limit ? i : beyond;
        size_t best = row[from - 1];
        for (size_t j = from; j <= to; ++j) {
            const size_t above = row[j];
            const size_t substitution = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            row[j] = std::min({above + 1, row[j - 1] + 1, substitution, beyond});
            diagonal = above;
            best = std::min(best, row[j]);
        }
        if (to < b.size()) row[to + 1] = beyond;
        if (best > limit) return beyond;
    }
    return std::min(row[b.size()], beyond);
}

}  // namespace custsim
