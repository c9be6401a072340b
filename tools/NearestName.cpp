#include "tools/NearestName.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>

namespace varnock {
namespace {

/// Longer names are not compared: the work grows with the square.
constexpr std::size_t kLongest = 64;

char lower(char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

std::size_t distance(std::string_view from, std::string_view to) {
    std::vector<std::size_t> row(to.size() + 1);
    std::iota(row.begin(), row.end(), std::size_t{0});
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i);
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t replaced =
                diagonal + (lower(from[i - 1]) == lower(to[j - 1]) ? 0 : 1);
            diagonal = std::exchange(row[j], std::min({replaced, row[j] + 1, row[j - 1] + 1}));
        }
    }
    return row.back();
}

}  // namespace

std::string nearestName(std::string_view mistyped, const std::vector<std::string>& names) {
    if (mistyped.size() > kLongest) {
        return {};
    }
    std::string nearest;
    std::size_t least = kLongest;
    for (const std::string& name : names) {
        const std::size_t found = distance(mistyped, name);
        if (found < least && found <= std::max(mistyped.size(), name.size()) / 2) {
            least = found;
            nearest = name;
        }
    }
    return nearest;
}

std::vector<std::string> nearestNames(std::string_view mistyped,
                                      const std::vector<std::string>& names, std::size_t count) {
    using Found = std::pair<std::size_t, const std::string*>;
    std::vector<Found> all;
    all.reserve(names.size());
    for (const std::string& name : names) {
        all.emplace_back(distance(mistyped.substr(0, kLongest), name), &name);
    }
    std::stable_sort(all.begin(), all.end(),
                     [](const Found& a, const Found& b) { return a.first < b.first; });
    std::vector<std::string> nearest;
    for (std::size_t i = 0; i < std::min(count, all.size()); ++i) {
        nearest.push_back(*all[i].second);
    }
    return nearest;
}

std::string alternatives(const std::vector<std::string>& names) {
    std::string out;
    for (std::size_t i = 0; i < names.size(); ++i) {
        out += i == 0 ? "" : i + 1 == names.size() ? " and " : ", ";
        out += names[i];
    }
    return out;
}

}  // namespace varnock
