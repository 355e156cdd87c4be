#pragma once

#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <span>
#include <vector>

namespace lumenwhirl {

/// Ascending order of times with NaN last, so that sorting is defined for every input.
[[nodiscard]] inline bool isEarlier(double left, double right) {
    return left < right || (std::isnan(right) && !std::isnan(left));
}

/// Whether `items` are in ascending order of their field `t`; false if one is NaN.
template <class Item>
[[nodiscard]] bool isInTimeOrder(std::span<const Item> items) {
    for (std::size_t index = 1; index < items.size(); ++index)
        if (!(items[index - 1].t <= items[index].t)) return false;
    return items.empty() || items.front().t <= items.back().t;
}

/// A half-open range of indices.
struct IndexRange {
    std::size_t first = 0, last = 0;
};

/// The `items`, ascending by their field `t`, whose age at `time` is between 0 and `lifetime`, both included. The
/// age is the rounded difference; it never grows with `t`, so that a binary search is possible.
template <class Item>
[[nodiscard]] IndexRange aliveRange(std::span<const Item> items, double time, double lifetime) {
    const auto firstNot = [&](auto&& predicate) {
        std::size_t low = 0, high = items.size();
        while (low < high) {
            const std::size_t middle = low + (high - low) / 2;
            if (predicate(time - items[middle].t))
                low = middle + 1;
            else
                high = middle;
        }
        return low;
    };
    const std::size_t first = firstNot([&](double age) { return !(age <= lifetime); });
    const std::size_t last = firstNot([](double age) { return age >= 0; });
    return {first, first < last ? last : first};
}

/// Finds, among spans in ascending order of start that may overlap, the first that contains a time, both ends
/// included. Searches the running maximum of the ends, which never falls: where this first reaches the time, that
/// span's own end does.
class ClosedSpanIndex {
public:
    ClosedSpanIndex() = default;
    /// `Span` has `start` and `end`.
    template <class Span>
    explicit ClosedSpanIndex(std::span<const Span> spans) {
        entries_.reserve(spans.size());
        double latestEnd = -std::numeric_limits<double>::infinity();
        for (const Span& span : spans) {
            if (span.end > latestEnd) latestEnd = span.end;
            entries_.push_back({span.start, latestEnd});
        }
    }

    [[nodiscard]] std::optional<std::size_t> find(double time) const {
        std::size_t low = 0, high = entries_.size();
        while (low < high) {
            const std::size_t middle = low + (high - low) / 2;
            if (entries_[middle].latestEnd < time)
                low = middle + 1;
            else
                high = middle;
        }
        if (low == entries_.size() || !(entries_[low].start <= time) || !(time <= entries_[low].latestEnd))
            return std::nullopt;
        return low;
    }

private:
    struct Entry {
        double start, latestEnd;
    };
    std::vector<Entry> entries_;
};

}  // namespace lumenwhirl
