#include "Pixels/Kernels/Kernels.h"

#include <algorithm>

namespace lumenwhirl {
namespace {

constexpr int rowShift = AxisMap::weightBits - 6;  // rows keep 6 fractional bits

void resampleRow(const AxisMap& map, const std::uint8_t* row, std::int16_t* out) {
    for (int i = 0; i < map.count(); ++i) {
        const std::int16_t* weights = map.weights(i);
        const std::uint8_t* samples = row + map.first(i);
        std::int32_t sum = 1 << (rowShift - 1);
        for (int k = 0; k < map.taps(); ++k) sum += weights[k] * samples[k];
        out[i] = static_cast<std::int16_t>(sum >> rowShift);
    }
}

void plainResampleRows(const RowTables& tables, const std::uint8_t* const* rows, std::int16_t* const* outs) {
    for (int i = 0; i < Kernels::rowsAtOnce; ++i) resampleRow(*tables.map, rows[i], outs[i]);
}

template <class Sample>
void plainBlendRows(const std::int16_t* const* rows, const std::int16_t* weights, int taps, Sample* out,
                    int count) {
    using Format = PictureFormat<Sample>;
    constexpr int shift = Format::unit == 1 ? 5 : 3;
    for (int i = 0; i < count; ++i) {
        int sum = 0;
        // Each product is rounded by itself, as the 16-bit fixed-point multiplications of processors do.
        for (int k = 0; k < taps; ++k) sum += (rows[k][i] * weights[k] + (1 << 14)) >> 15;
        out[i] =
            static_cast<Sample>(std::clamp((sum + (1 << (shift - 1))) >> shift, Format::lowest, Format::highest));
    }
}

template <class Sample>
void plainOverlayRow(Sample* out, const Sample* premultiplied, const Sample* alpha, int opacity, int count) {
    constexpr std::uint32_t unit = PictureFormat<Sample>::unit;
    for (int i = 0; i < count; ++i) {
        // 255 * 256 * 257 / 256 = 65535: coverage in 16 bits, so that full coverage leaves nothing of what was
        // there.
        const std::uint32_t coverage =
            (static_cast<std::uint32_t>(alpha[i]) * static_cast<std::uint32_t>(opacity) * 257 + 128 * unit) /
            (256 * unit);
        const std::uint32_t added =
            static_cast<std::uint32_t>(premultiplied[i]) * static_cast<std::uint32_t>(opacity) << 8;
        out[i] = static_cast<Sample>(
            std::min<std::uint32_t>((out[i] * (65535 - coverage) + added + 32768) >> 16, 256 * unit - 1));
    }
}

}  // namespace

const Kernels& Kernels::reference() {
    static constexpr Kernels kernels{plainResampleRows,
                                     {plainBlendRows<std::uint8_t>, plainOverlayRow<std::uint8_t>},
                                     {plainBlendRows<std::uint16_t>, plainOverlayRow<std::uint16_t>}};
    return kernels;
}

}  // namespace lumenwhirl
