#include "Pixels/Kernels/Kernels.h"

#include <algorithm>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "Kernels/FastKernels.cpp"
#include <hwy/foreach_target.h>
// clang-format off: Highway needs this order.
#include <hwy/highway.h>
// clang-format on

HWY_BEFORE_NAMESPACE();
namespace lumenwhirl::HWY_NAMESPACE {
namespace hn = hwy::HWY_NAMESPACE;

// Vectors of two 16-byte windows at most: wider ones gain nothing, their windows must be put together one by one.
#if HWY_HAVE_SCALABLE
using Bytes = hn::FixedTag<std::uint8_t, 16>;
#else
using Bytes = hn::CappedTag<std::uint8_t, 32>;
#endif
using Words = hn::RepartitionToWide<Bytes>;
using SignedWords = hn::RebindToSigned<Words>;
using Sums = hn::RepartitionToWide<SignedWords>;

#if HWY_TARGET != HWY_SCALAR

HWY_INLINE hn::VFromD<Bytes> loadWindows(const std::uint8_t* row, const std::int32_t* windows) {
    const Bytes d;
    if constexpr (hn::MaxLanes(Bytes()) == 32) {
        const hn::Half<Bytes> half;
        return hn::Combine(d, hn::LoadU(half, row + windows[1]), hn::LoadU(half, row + windows[0]));
    } else {
        return hn::LoadU(d, row + windows[0]);
    }
}

HWY_ATTR void resampleRows(const RowTables& tables, const std::uint8_t* const* rows, std::int16_t* const* outs) {
    const Bytes bytes;
    const SignedWords words;
    const Sums sums;
    const hn::Rebind<std::int16_t, Sums> results;
    constexpr int step = static_cast<int>(hn::MaxLanes(Bytes()) / 16);  // blocks a vector
    constexpr int shift = AxisMap::weightBits - 6;
    static_assert(Kernels::rowsAtOnce == 4);  // written out, because vectors cannot stand in arrays everywhere
    const auto rounding = hn::Set(sums, 1 << (shift - 1));
    for (int block = 0; block < tables.blocks; block += step) {
        auto a = rounding, b = rounding, c = rounding, d = rounding;
        auto spareA = hn::Zero(sums), spareB = spareA, spareC = spareA, spareD = spareA;
        for (int pair = 0; pair < tables.pairs; ++pair) {
            const auto cell = static_cast<std::size_t>(pair) * static_cast<std::size_t>(tables.blocks) +
                              static_cast<std::size_t>(block);
            const auto shuffle = hn::LoadU(bytes, tables.shuffles.data() + cell * 16);
            const auto weights = hn::LoadU(words, tables.weights.data() + cell * 8);
            const std::int32_t* windows = tables.windows.data() + cell;
            const auto tapsA = hn::BitCast(words, hn::TableLookupBytesOr0(loadWindows(rows[0], windows), shuffle));
            const auto tapsB = hn::BitCast(words, hn::TableLookupBytesOr0(loadWindows(rows[1], windows), shuffle));
            const auto tapsC = hn::BitCast(words, hn::TableLookupBytesOr0(loadWindows(rows[2], windows), shuffle));
            const auto tapsD = hn::BitCast(words, hn::TableLookupBytesOr0(loadWindows(rows[3], windows), shuffle));
            a = hn::ReorderWidenMulAccumulate(sums, tapsA, weights, a, spareA);
            b = hn::ReorderWidenMulAccumulate(sums, tapsB, weights, b, spareB);
            c = hn::ReorderWidenMulAccumulate(sums, tapsC, weights, c, spareC);
            d = hn::ReorderWidenMulAccumulate(sums, tapsD, weights, d, spareD);
        }
        const auto store = [&](auto sum, auto spare, std::int16_t* out) HWY_ATTR {
            const auto whole = hn::ShiftRight<shift>(hn::RearrangeToOddPlusEven(sum, spare));
            hn::StoreU(hn::DemoteTo(results, whole), results, out + block * 4);
        };
        store(a, spareA, outs[0]);
        store(b, spareB, outs[1]);
        store(c, spareC, outs[2]);
        store(d, spareD, outs[3]);
    }
}

/// For tables laid out as runs.
HWY_ATTR void resampleRuns(const RowTables& tables, const std::uint8_t* const* rows, std::int16_t* const* outs) {
    const hn::CappedTag<std::int16_t, 16> words;
    const hn::Rebind<std::uint8_t, decltype(words)> bytes;
    const hn::RepartitionToWide<decltype(words)> sums;
    constexpr int shift = AxisMap::weightBits - 6;
    static_assert(Kernels::rowsAtOnce == 4);
    const int lanes = static_cast<int>(hn::Lanes(words)), count = tables.map->count();
    for (int i = 0; i < count; ++i) {
        const std::ptrdiff_t start = tables.windows[static_cast<std::size_t>(i)];
        const std::int16_t* weights = tables.weights.data() + std::ptrdiff_t{i} * tables.run;
        auto a = hn::Zero(sums), b = a, c = a, d = a, spareA = a, spareB = a, spareC = a, spareD = a;
        for (int k = 0; k < tables.run; k += lanes) {
            const auto weight = hn::LoadU(words, weights + k);
            const auto tapsOf = [&](const std::uint8_t* row)
                                    HWY_ATTR { return hn::PromoteTo(words, hn::LoadU(bytes, row + start + k)); };
            a = hn::ReorderWidenMulAccumulate(sums, tapsOf(rows[0]), weight, a, spareA);
            b = hn::ReorderWidenMulAccumulate(sums, tapsOf(rows[1]), weight, b, spareB);
            c = hn::ReorderWidenMulAccumulate(sums, tapsOf(rows[2]), weight, c, spareC);
            d = hn::ReorderWidenMulAccumulate(sums, tapsOf(rows[3]), weight, d, spareD);
        }
        const auto store = [&](auto sum, auto spare, std::int16_t* out) HWY_ATTR {
            const std::int32_t total = hn::GetLane(hn::SumOfLanes(sums, hn::Add(sum, spare)));
            out[i] = static_cast<std::int16_t>((total + (1 << (shift - 1))) >> shift);
        };
        store(a, spareA, outs[0]);
        store(b, spareB, outs[1]);
        store(c, spareC, outs[2]);
        store(d, spareD, outs[3]);
    }
}

HWY_INLINE void storeClamped(hn::VFromD<hn::ScalableTag<std::int16_t>> values, std::uint8_t* out) {
    const hn::Rebind<std::uint8_t, hn::ScalableTag<std::int16_t>> bytes;
    hn::StoreU(hn::DemoteTo(bytes, values), bytes, out);
}
HWY_INLINE void storeClamped(hn::VFromD<hn::ScalableTag<std::int16_t>> values, std::uint16_t* out) {
    using Format = PictureFormat<std::uint16_t>;
    const hn::ScalableTag<std::int16_t> words;
    const hn::ScalableTag<std::uint16_t> samples;
    const auto clamped = hn::Min(hn::Max(values, hn::Set(words, Format::lowest)), hn::Set(words, Format::highest));
    hn::StoreU(hn::BitCast(samples, clamped), samples, out);
}

template <class Sample>
HWY_ATTR void blendInto(const std::int16_t* const* rows, const std::int16_t* weights, int taps, Sample* out,
                        int count) {
    constexpr int shift = PictureFormat<Sample>::unit == 1 ? 5 : 3;
    const hn::ScalableTag<std::int16_t> words;
    const auto rounding = hn::Set(words, 1 << (shift - 1));
    const int lanes = static_cast<int>(hn::Lanes(words));
    if (count < lanes) {
        Kernels::reference().into<Sample>().blendRows(rows, weights, taps, out, count);
        return;
    }
    for (int i = 0; i < count;) {
        auto sum = rounding;
        for (int k = 0; k < taps; ++k) {
            const auto weight = hn::Set(words, weights[k]);
            sum = hn::Add(sum, hn::MulFixedPoint15(hn::LoadU(words, rows[k] + i), weight));
        }
        storeClamped(hn::ShiftRight<shift>(sum), out + i);
        i += lanes;
        // The last vector overlaps the one before rather than write past the end.
        if (i < count && i + lanes > count) i = count - lanes;
    }
}

#else

void resampleRows(const RowTables& tables, const std::uint8_t* const* rows, std::int16_t* const* outs) {
    Kernels::reference().resampleRows(tables, rows, outs);
}
void resampleRuns(const RowTables& tables, const std::uint8_t* const* rows, std::int16_t* const* outs) {
    Kernels::reference().resampleRows(tables, rows, outs);
}
template <class Sample>
void blendInto(const std::int16_t* const* rows, const std::int16_t* weights, int taps, Sample* out, int count) {
    Kernels::reference().into<Sample>().blendRows(rows, weights, taps, out, count);
}

#endif

template <class Sample>
HWY_ATTR void overlayOnto(Sample* out, const Sample* premultiplied, const Sample* alpha, int opacity, int count) {
    constexpr int unitBits = PictureFormat<Sample>::unit == 1 ? 0 : 2;
    const hn::ScalableTag<std::uint32_t> wide;
    const hn::Rebind<Sample, hn::ScalableTag<std::uint32_t>> samples;
    const hn::RebindToSigned<hn::ScalableTag<std::uint32_t>> signedWide;
    const auto strength = hn::Set(wide, static_cast<std::uint32_t>(opacity));
    const auto strength257 = hn::Set(wide, static_cast<std::uint32_t>(opacity) * 257);
    const auto all = hn::Set(wide, 65535);
    const auto small = hn::Set(wide, 128U << unitBits);
    const auto half = hn::Set(wide, 32768);
    const auto highest = hn::Set(wide, (256U << unitBits) - 1);
    const int lanes = static_cast<int>(hn::Lanes(wide));
    int i = 0;
    for (; i + lanes <= count; i += lanes) {
        const auto a = hn::PromoteTo(wide, hn::LoadU(samples, alpha + i));
        const auto coverage = hn::ShiftRight<8 + unitBits>(hn::Add(hn::Mul(a, strength257), small));
        const auto added =
            hn::ShiftLeft<8>(hn::Mul(hn::PromoteTo(wide, hn::LoadU(samples, premultiplied + i)), strength));
        const auto kept = hn::Mul(hn::PromoteTo(wide, hn::LoadU(samples, out + i)), hn::Sub(all, coverage));
        const auto sum = hn::Min(hn::ShiftRight<16>(hn::Add(hn::Add(kept, added), half)), highest);
        hn::StoreU(hn::DemoteTo(samples, hn::BitCast(signedWide, sum)), samples, out + i);
    }
    if (i < count) {
        Kernels::reference().into<Sample>().overlayRow(out + i, premultiplied + i, alpha + i, opacity, count - i);
    }
}

void blendBytes(const std::int16_t* const* rows, const std::int16_t* weights, int taps, std::uint8_t* out,
                int count) {
    blendInto(rows, weights, taps, out, count);
}
void blendWords(const std::int16_t* const* rows, const std::int16_t* weights, int taps, std::uint16_t* out,
                int count) {
    blendInto(rows, weights, taps, out, count);
}
void overlayBytes(std::uint8_t* out, const std::uint8_t* premultiplied, const std::uint8_t* alpha, int opacity,
                  int count) {
    overlayOnto(out, premultiplied, alpha, opacity, count);
}
void overlayWords(std::uint16_t* out, const std::uint16_t* premultiplied, const std::uint16_t* alpha, int opacity,
                  int count) {
    overlayOnto(out, premultiplied, alpha, opacity, count);
}

}  // namespace lumenwhirl::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace lumenwhirl {

HWY_EXPORT(resampleRows);
HWY_EXPORT(resampleRuns);
HWY_EXPORT(blendBytes);
HWY_EXPORT(blendWords);
HWY_EXPORT(overlayBytes);
HWY_EXPORT(overlayWords);

const Kernels& Kernels::fastest() {
    static constexpr Kernels kernels{
        [](const RowTables& tables, const std::uint8_t* const* rows, std::int16_t* const* outs) {
            switch (tables.layout) {
                case RowTables::Layout::blocks:
                    HWY_DYNAMIC_DISPATCH(resampleRows)(tables, rows, outs);
                    break;
                case RowTables::Layout::runs:
                    HWY_DYNAMIC_DISPATCH(resampleRuns)(tables, rows, outs);
                    break;
                case RowTables::Layout::plain:
                    reference().resampleRows(tables, rows, outs);
                    break;
            }
        },
        {[](const std::int16_t* const* rows, const std::int16_t* weights, int taps, std::uint8_t* out, int count) {
             HWY_DYNAMIC_DISPATCH(blendBytes)(rows, weights, taps, out, count);
         },
         [](std::uint8_t* out, const std::uint8_t* premultiplied, const std::uint8_t* alpha, int opacity,
            int count) {
             HWY_DYNAMIC_DISPATCH(overlayBytes)
             (out, premultiplied, alpha, opacity, count);
         }},
        {[](const std::int16_t* const* rows, const std::int16_t* weights, int taps, std::uint16_t* out,
            int count) {
             HWY_DYNAMIC_DISPATCH(blendWords)
             (rows, weights, taps, out, count);
         },
         [](std::uint16_t* out, const std::uint16_t* premultiplied, const std::uint16_t* alpha, int opacity,
            int count) {
             HWY_DYNAMIC_DISPATCH(overlayWords)
             (out, premultiplied, alpha, opacity, count);
         }},
    };
    return kernels;
}

}  // namespace lumenwhirl
#endif
