#pragma once

#include <cstdint>
#include <vector>

namespace lumenwhirl {

/// One axis of a resampling: for every output sample the source samples it is made of, and their weights.
///
/// `sharp` is the Catmull-Rom cubic (Keys, "Cubic convolution interpolation", 1981, a = -1/2), which keeps text
/// crisp; `smooth` is the triangle, which never overshoots (alpha). Scaling down stretches them by the scale, so
/// that nothing aliases.
class AxisMap {
public:
    enum class Filter { sharp, smooth };
    /// What lies beyond the source: its edge samples again, or zeros.
    enum class Beyond { edge, nothing };
    /// Weights are fixed point. Those of one output sum to 1 << 14, or less where nothing lies beyond the source.
    static constexpr int weightBits = 14;

    struct Geometry {
        int begin = 0, end = 0;  // output samples [begin, end)
        double step = 1;         // source samples per output sample, > 0
        double origin = 0;       // where output sample 0 lies, in source samples (sample k lies at k)
        int sourceSize = 1;      // >= 1
        Filter filter = Filter::sharp;
        Beyond beyond = Beyond::edge;
        bool operator==(const Geometry&) const = default;
    };

    /// Returns false, and does nothing, if the geometry is unchanged. Reuses memory.
    bool build(const Geometry& geometry);

    [[nodiscard]] const Geometry& geometry() const noexcept { return geometry_; }
    [[nodiscard]] int count() const noexcept { return geometry_.end - geometry_.begin; }
    /// Source samples an output sample is made of; the same for all.
    [[nodiscard]] int taps() const noexcept { return taps_; }
    /// First source sample of the i-th output of the range; it and the taps after it are inside the source.
    [[nodiscard]] int first(int i) const noexcept { return first_[static_cast<std::size_t>(i)]; }
    /// Its `taps` weights.
    [[nodiscard]] const std::int16_t* weights(int i) const noexcept {
        return weights_.data() + static_cast<std::size_t>(i) * static_cast<std::size_t>(taps_);
    }

private:
    Geometry geometry_;
    int taps_ = 0;
    std::vector<int> first_;
    std::vector<std::int16_t> weights_;
};

}  // namespace lumenwhirl
