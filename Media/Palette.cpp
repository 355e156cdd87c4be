#include "Media/Palette.h"

#include "Media/MediaError.h"

#include <cassert>
#include <new>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <libimagequant.h>

namespace lumenwhirl {
namespace {

/// Not ReleasedBy: the functions' attributes get lost on the way through its parameter, which GCC warns of.
struct Released {
    void operator()(liq_attr* handle) const noexcept { liq_attr_destroy(handle); }
    void operator()(liq_histogram* handle) const noexcept { liq_histogram_destroy(handle); }
    void operator()(liq_image* handle) const noexcept { liq_image_destroy(handle); }
    void operator()(liq_result* handle) const noexcept { liq_result_destroy(handle); }
};
template <class T>
using Handle = std::unique_ptr<T, Released>;

template <class T>
[[nodiscard]] Handle<T> owned(T* made) {
    if (!made) throw std::bad_alloc();  // the arguments are valid, so nothing else can have failed
    return Handle<T>(made);
}

// Why libimagequant with one palette for all, and its own dithering. The demo recording, 12 s at 720x405 and 15
// frames a second, 36 samples learned; PSNR, mean error of 8x8 blocks (banding), and of the pixels that do not
// change from one frame to the next the part that changed all the same (crawling):
//
//   colours                         dithering                      MB    PSNR  blocks  crawling
//   FFmpeg 5.1's palettegen, one    ordered (bayer_scale 3)       4.95   37.4   1.46     0 %
//   the same                        sierra2_4a                    6.19   37.4   0.91     2.9 %
//   the same, anew for every frame  ordered (bayer_scale 3)      16.2    38.9   1.06    61 %
//   libimagequant, one              ordered (bayer_scale 3)       5.01   38.4   1.16     0 %
//   the same                        ordered (bayer_scale 4)       4.68   40.6   1.06     0 %
//   the same                        sierra2_4a                    5.87   39.1   0.64     2.1 %
//   the same                        its own, level 1              5.94   40.4   0.75     2.3 %
//   the same                        and unchanged pixels kept     5.14   40.4   0.75     0 %
//   the same                        level 0.8, small noise kept   4.07   40.4   0.79     0 %
//
// Ordered dithering puts its pattern on flat areas, or bands where it is weak enough not to; sierra2_4a frays
// small text. libimagequant's spares edges and flat areas. It takes 31 ms for a whole picture, paletteuse 4 ms,
// but mostly less than a whole picture changes.

/// How much of a pixel's error is handed on, 0...1: at 0.5 shadows still band a little, at 1 specks of far-off
/// colours show. Blocks and size by level: 0: 1.01, 4.2 MB; 0.5: 0.83, 4.8 MB; 0.7: 0.78, 5.0 MB; 1: 0.75, 5.1 MB.
constexpr float ditheringLevel = 0.8F;

/// The library works with OpenMP, whose threads spin while they wait: of two cores it took 60 % more time in all,
/// for no less time by the clock beside other work. Holds for the calling thread.
void stayOnThisThread() {
    // Of the runtime that the library brings along, whichever it is; there may be none.
    using SetThreads = void (*)(int);
    static const auto setThreads = reinterpret_cast<SetThreads>(dlsym(RTLD_DEFAULT, "omp_set_num_threads"));
    if (setThreads) setThreads(1);
}

}  // namespace

struct Palette::State {
    /// Valid while the picture and `rows` are.
    [[nodiscard]] Handle<liq_image> imageOf(const RgbaPixels& picture) {
        rows.clear();
        for (int y = 0; y < picture.height; ++y) {
            // The library only reads what it is not told to own.
            rows.push_back(const_cast<std::uint8_t*>(picture.first + y * picture.stride));
        }
        return owned(liq_image_create_rgba_rows(attributes.get(), rows.data(), picture.width, picture.height, 0));
    }

    void check(liq_error error) const {
        if (error == LIQ_OK) return;
        if (error == LIQ_OUT_OF_MEMORY) throw std::bad_alloc();
        throw MediaError(MediaError::Kind::encoderFailed, file,
                         "cannot choose its colours: error " + std::to_string(error) + " of libimagequant");
    }

    std::filesystem::path file;
    Handle<liq_attr> attributes = owned(liq_attr_create());
    Handle<liq_histogram> histogram = owned(liq_histogram_create(attributes.get()));
    Handle<liq_result> result;
    std::vector<std::uint32_t> colors;
    std::vector<void*> rows;
    std::vector<std::uint8_t> indices;
};

Palette::Palette(const std::filesystem::path& file) : state_(std::make_unique<State>()) {
    state_->file = file;
    state_->check(liq_set_max_colors(state_->attributes.get(), mostColors));
}
Palette::~Palette() = default;
Palette::Palette(Palette&&) noexcept = default;
Palette& Palette::operator=(Palette&&) noexcept = default;

void Palette::learn(const RgbaPixels& picture) {
    State& state = *state_;
    assert(state.histogram);
    stayOnThisThread();
    const Handle<liq_image> image = state.imageOf(picture);
    state.check(liq_histogram_add_image(state.histogram.get(), state.attributes.get(), image.get()));
}

void Palette::choose() {
    State& state = *state_;
    assert(state.histogram);
    stayOnThisThread();
    liq_result* result = nullptr;
    state.check(liq_histogram_quantize(state.histogram.get(), state.attributes.get(), &result));
    state.result.reset(result);
    state.histogram.reset();
    state.check(liq_set_dithering_level(state.result.get(), ditheringLevel));
    const liq_palette& palette = *liq_get_palette(state.result.get());
    for (unsigned i = 0; i < palette.count; ++i) {
        const liq_color& color = palette.entries[i];
        state.colors.push_back(0xFF000000U | unsigned{color.r} << 16 | unsigned{color.g} << 8 | color.b);
    }
}

std::span<const std::uint32_t> Palette::colors() const noexcept {
    return state_->colors;
}

const std::uint8_t* Palette::map(const RgbaPixels& picture) {
    State& state = *state_;
    assert(state.result);
    stayOnThisThread();
    const Handle<liq_image> image = state.imageOf(picture);
    const std::size_t size = static_cast<std::size_t>(picture.width) * static_cast<std::size_t>(picture.height);
    if (state.indices.size() < size) state.indices.resize(size);
    state.check(liq_write_remapped_image(state.result.get(), image.get(), state.indices.data(), size));
    return state.indices.data();
}

}  // namespace lumenwhirl
