#pragma once

#include "Pixels/AxisMap.h"
#include "Pixels/Picture.h"

#include <cstddef>
#include <cstdint>
#include <vector>

namespace lumenwhirl {

/// An AxisMap laid out for the kernels that resample rows.
struct RowTables {
    enum class Layout {
        plain,   // rows too short for anything but the plain loop
        blocks,  // four outputs a block, two taps a pair: for every pair of every block 16 source bytes from
                 // `windows` on, a shuffle that picks the taps, and the weights
        runs     // steps too wide for that: for every output its taps one after the other, filled up with zeros
    };
    /// Reuses memory.
    void build(const AxisMap& map);

    const AxisMap* map = nullptr;  // must outlive the tables
    Layout layout = Layout::plain;
    int blocks = 0, pairs = 0;           // blocks rounded up to even
    int run = 0;                         // source bytes an output, a multiple of 16
    std::vector<std::int32_t> windows;   // [pair][block] or [output]
    std::vector<std::uint8_t> shuffles;  // [pair][block][16]
    std::vector<std::int16_t> weights;   // [pair][block][8] or [output][run]
    /// Room a resampled row needs, in samples.
    [[nodiscard]] std::size_t paddedCount() const noexcept;

private:
    [[nodiscard]] bool buildBlocks();
    [[nodiscard]] bool buildRuns();
};

/// The per-row work of the compositor. `reference()` is plain C++ and defines the results; `fastest()` gives the
/// same bytes with the best instructions this processor has. Stateless, callable from any thread.
struct Kernels {
    static constexpr int rowsAtOnce = 4;  // tables are larger than rows: each is read once for that many
    /// Resamples rowsAtOnce rows (any may be the same) into samples of value * 64. Destinations hold
    /// tables.paddedCount() samples.
    void (*resampleRows)(const RowTables& tables, const std::uint8_t* const* rows, std::int16_t* const* outs);

    /// What writes samples of an output picture.
    template <class Sample>
    struct Into {
        /// out[i] = sum of rows[k][i] * weights[k], weights as in AxisMap, rounded and clamped to PictureFormat's
        /// range.
        void (*blendRows)(const std::int16_t* const* rows, const std::int16_t* weights, int taps, Sample* out,
                          int count);
        /// Source-over of premultiplied samples at an opacity of 0...256. Full coverage is 255 units of
        /// PictureFormat.
        void (*overlayRow)(Sample* out, const Sample* premultiplied, const Sample* alpha, int opacity, int count);
    };
    Into<std::uint8_t> bytes;
    Into<std::uint16_t> words;
    template <class Sample>
    [[nodiscard]] const Into<Sample>& into() const noexcept {
        if constexpr (sizeof(Sample) == 1) {
            return bytes;
        } else {
            return words;
        }
    }

    [[nodiscard]] static const Kernels& reference();
    [[nodiscard]] static const Kernels& fastest();
};

}  // namespace lumenwhirl
