#pragma once

#include "Demo/DesktopState.h"
#include "Demo/DesktopView.h"
#include "Demo/DisplayList.h"
#include "Demo/ListPainter.h"

#include <array>
#include <cstdint>
#include <vector>

namespace lumenwhirl::demo {

/// The desktop's picture, kept from frame to frame: what did not change is not drawn again. Not shared between
/// threads. Throws std::bad_alloc.
class DesktopPicture {
public:
    DesktopPicture(const DesktopLayout& layout, int pixelWidth, int pixelHeight, std::uint64_t seed);

    /// Draws the desktop as it is at `now`; returns the device pixels that differ from before, everything the
    /// first time. Valid until the next call.
    const cairo_region_t* update(const DesktopState& state, double now);
    /// Cairo's RGB24: a 32-bit word a pixel, red in bits 16 to 23. Valid until the next update.
    [[nodiscard]] cairo_surface_t* surface() const noexcept { return revealed_ ? revealed_.get() : drawn_.get(); }

private:
    [[nodiscard]] SurfaceHandle makeSurface() const;
    cairo_surface_t* wallpaper(bool isDark);
    void show(const DesktopState& state, bool isDark, double now);
    /// Adds to `changed_` where two versions of a picture differ.
    void addDifferences();
    void keepPast(const DesktopState& state);
    void reveal(double progress);

    int width_, height_;
    double scale_;
    std::uint64_t seed_;
    ListPainter painter_;
    DisplayList list_;
    std::array<SurfaceHandle, 2> wallpapers_;  // by day, at night
    struct Shown {
        std::uint64_t fingerprint = 0;
        Rect bounds;
    };
    std::vector<Shown> before_, after_;  // sorted by fingerprint
    RegionHandle changed_;
    SurfaceHandle drawn_;
    // While the appearance changes: how it was, and both together.
    SurfaceHandle past_, revealed_;
    double appearanceChangedAt_ = never;
};

}  // namespace lumenwhirl::demo
