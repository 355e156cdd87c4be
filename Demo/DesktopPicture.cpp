#include "Demo/DesktopPicture.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace lumenwhirl::demo {
namespace {

constexpr double revealTime = 0.7;
// Beyond so many rectangles clipping to each costs more than drawing what lies between them.
constexpr int mostRectangles = 24;

constexpr std::array accents{rgb(0x5B57EE), rgb(0x2F6FED), rgb(0x7A4FE0), rgb(0x0F8B8D)};

CairoRegion regionOf(const cairo_rectangle_int_t& area) {
    return CairoRegion(cairo_region_create_rectangle(&area));
}

}  // namespace

DesktopPicture::DesktopPicture(int pixelWidth, int pixelHeight, std::uint64_t seed)
    : width_(pixelWidth),
      height_(pixelHeight),
      scale_(Layout(pixelWidth, pixelHeight).scale()),
      seed_(seed),
      painter_(scale_),
      everything_(regionOf({0, 0, pixelWidth, pixelHeight})),
      drawn_(makeSurface(pixelWidth, pixelHeight)) {}

cairo_surface_t* DesktopPicture::wallpaper(bool isDark) {
    CairoSurface& surface = wallpapers_[isDark ? 1 : 0];
    if (!surface) surface = makeWallpaper(width_, height_, isDark, seed_);
    return surface.get();
}

void DesktopPicture::list(const Desktop& desktop, bool isDark, double now) {
    list_.clear();
    listDesktop(list_, desktop, isDark, accents[seed_ % accents.size()], now);
}

/// Adds to `changed_` what is only on the picture before, or only on the one listed now.
void DesktopPicture::addDifferences() {
    const auto byFingerprint = [](const Shown& a, const Shown& b) { return a.first < b.first; };
    after_.clear();
    for (const DrawCommand& command : list_.commands())
        after_.emplace_back(command.fingerprint(), command.pixels(scale_));
    std::sort(after_.begin(), after_.end(), byFingerprint);
    std::vector<Shown> different;
    std::set_symmetric_difference(before_.begin(), before_.end(), after_.begin(), after_.end(),
                                  std::back_inserter(different), byFingerprint);
    for (const auto& [fingerprint, area] : different) cairo_region_union_rectangle(changed_.get(), &area);
    cairo_region_intersect(changed_.get(), everything_.get());
    if (cairo_region_num_rectangles(changed_.get()) > mostRectangles) {
        cairo_rectangle_int_t around;
        cairo_region_get_extents(changed_.get(), &around);
        cairo_region_union_rectangle(changed_.get(), &around);
    }
    std::swap(before_, after_);
}

/// The new look spreads from where the command was given; the old one stays outside a circle with a soft edge.
void DesktopPicture::reveal(double progress) {
    const CairoContext context(cairo_create(revealed_.get()));
    cairo_set_source_surface(context.get(), drawn_.get(), 0, 0);
    cairo_paint(context.get());
    const double x = width_ / 2.0, y = 0.27 * height_, edge = 90 * scale_;
    const double radius = progress * (std::hypot(x, height_ - y) + edge);
    const CairoPattern outside(
        cairo_pattern_create_radial(x, y, std::max(radius - edge, 0.0), x, y, std::max(radius, 1.0)));
    cairo_pattern_add_color_stop_rgba(outside.get(), 0, 0, 0, 0, 0);
    cairo_pattern_add_color_stop_rgba(outside.get(), 1, 0, 0, 0, 1);
    cairo_set_source_surface(context.get(), past_.get(), 0, 0);
    cairo_mask(context.get(), outside.get());
    cairo_surface_flush(revealed_.get());
}

void DesktopPicture::keepPast(const Desktop& desktop) {
    // As it looked at that moment, so that the picture depends on the log only, not on the frames drawn before.
    list(desktop, !desktop.isDark, desktop.appearanceChangedAt);
    past_ = makeSurface(width_, height_);
    painter_.paint(past_.get(), list_, everything_.get(), wallpaper(!desktop.isDark));
    revealed_ = makeSurface(width_, height_);
}

const cairo_region_t* DesktopPicture::update(const Desktop& desktop, double now) {
    changed_.reset(cairo_region_create());
    const double elapsed = now - desktop.appearanceChangedAt;
    if (elapsed >= 0 && desktop.appearanceChangedAt != appearanceChangedAt_) {
        appearanceChangedAt_ = desktop.appearanceChangedAt;
        if (elapsed < revealTime) keepPast(desktop);
        before_.clear();
    }
    const bool wasRevealing = revealed_ != nullptr;
    if (elapsed >= revealTime) {
        past_.reset();
        revealed_.reset();
    }

    const bool isDark = desktop.isDarkAt(now);
    list(desktop, isDark, now);
    if (before_.empty()) cairo_region_union(changed_.get(), everything_.get());
    addDifferences();
    if (!cairo_region_is_empty(changed_.get()))
        painter_.paint(drawn_.get(), list_, changed_.get(), wallpaper(isDark));
    if (revealed_) reveal(eased(elapsed / revealTime));
    if (wasRevealing) cairo_region_union(changed_.get(), everything_.get());
    return changed_.get();
}

}  // namespace lumenwhirl::demo
