#include "Pixels/Kernels/Kernels.h"

#include <algorithm>
#include <cstddef>

namespace lumenwhirl {

void RowTables::build(const AxisMap& source) {
    map = &source;
    blocks = (source.count() + 7) / 8 * 2;
    layout = buildBlocks() ? Layout::blocks : buildRuns() ? Layout::runs : Layout::plain;
}

bool RowTables::buildBlocks() {
    constexpr int window = 16;
    const int count = map->count(), taps = map->taps(), size = map->geometry().sourceSize;
    pairs = (taps + 1) / 2;
    if (size < window || count <= 0) return false;
    const auto cells = static_cast<std::size_t>(blocks) * static_cast<std::size_t>(pairs);
    windows.resize(cells);
    shuffles.resize(cells * 16);
    weights.resize(cells * 8);
    for (int pair = 0; pair < pairs; ++pair) {
        for (int block = 0; block < blocks; ++block) {
            const auto cell = static_cast<std::size_t>(pair) * static_cast<std::size_t>(blocks) +
                              static_cast<std::size_t>(block);
            const int low = map->first(std::min(block * 4, count - 1)) + pair * 2;
            const int start = std::min(low, size - window);
            windows[cell] = start;
            for (int o = 0; o < 4; ++o) {
                const int i = std::min(block * 4 + o, count - 1);
                for (int k = 0; k < 2; ++k) {
                    const int tap = pair * 2 + k;
                    const int index = map->first(i) + std::min(tap, taps - 1) - start;
                    if (index >= window) return false;
                    const std::size_t lane = static_cast<std::size_t>(o * 2 + k);
                    shuffles[cell * 16 + lane * 2] = static_cast<std::uint8_t>(index);
                    shuffles[cell * 16 + lane * 2 + 1] = 0x80;  // a zero byte: taps become 16-bit numbers
                    weights[cell * 8 + lane] = tap < taps ? map->weights(i)[tap] : std::int16_t{0};
                }
            }
        }
    }
    return true;
}

bool RowTables::buildRuns() {
    const int count = map->count(), taps = map->taps(), size = map->geometry().sourceSize;
    run = (taps + 15) / 16 * 16;
    if (size < run || count <= 0) return false;
    windows.resize(static_cast<std::size_t>(count));
    weights.assign(static_cast<std::size_t>(count) * static_cast<std::size_t>(run), 0);
    for (int i = 0; i < count; ++i) {
        const int start = std::min(map->first(i), size - run);
        windows[static_cast<std::size_t>(i)] = start;
        std::copy_n(map->weights(i), taps, weights.begin() + std::ptrdiff_t{i} * run + (map->first(i) - start));
    }
    return true;
}

std::size_t RowTables::paddedCount() const noexcept {
    return static_cast<std::size_t>(std::max(blocks * 4, map != nullptr ? map->count() : 0)) + 32;
}

}  // namespace lumenwhirl
