#pragma once

#include "Demo/Desktop.h"
#include "Demo/DrawList.h"

#include <array>
#include <cstdint>
#include <utility>
#include <vector>

namespace lumenwhirl::demo {

/// The desktop's picture, kept from frame to frame: what did not change is not drawn again. Not shared between
/// threads. Throws std::bad_alloc.
class DesktopPicture {
public:
    DesktopPicture(int pixelWidth, int pixelHeight, std::uint64_t seed);

    /// Draws the desktop as it is at `now`; returns the device pixels that differ from before, everything the
    /// first time. Valid until the next call.
    const cairo_region_t* update(const Desktop& desktop, double now);
    /// Cairo's RGB24: a 32-bit word a pixel, red in bits 16 to 23. Valid until the next update.
    [[nodiscard]] cairo_surface_t* surface() const noexcept { return revealed_ ? revealed_.get() : drawn_.get(); }

private:
    cairo_surface_t* wallpaper(bool isDark);
    void list(const Desktop& desktop, bool isDark, double now);
    void addDifferences();
    void keepPast(const Desktop& desktop);
    void reveal(double progress);

    int width_, height_;
    double scale_;
    std::uint64_t seed_;
    ListPainter painter_;
    DrawList list_;
    std::array<CairoSurface, 2> wallpapers_;  // by day, at night
    using Shown = std::pair<std::uint64_t, cairo_rectangle_int_t>;
    std::vector<Shown> before_,
        after_;  // fingerprints and places of what is shown, sorted
    CairoRegion everything_, changed_;
    CairoSurface drawn_;
    // While the appearance changes: how it was, and both together.
    CairoSurface past_, revealed_;
    double appearanceChangedAt_ = never;
};

/// Adds the whole desktop as it looks at `now`, at or after its last input.
void listDesktop(DrawList& list, const Desktop& desktop, bool isDark, const Color& accent, double now);

/// Rows of misty hills under a wide sky: by day, or at night with a moon and stars. Opaque, in device pixels;
/// `seed` shifts the hills. Dithered, so that the soft gradients show no bands. Throws std::bad_alloc.
[[nodiscard]] CairoSurface makeWallpaper(int width, int height, bool isNight, std::uint64_t seed);

}  // namespace lumenwhirl::demo
