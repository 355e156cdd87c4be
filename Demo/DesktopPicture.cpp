#include "Demo/DesktopPicture.h"

#include "Demo/Wallpaper.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <new>

namespace lumenwhirl::demo {
namespace {

constexpr double revealTime = 0.7;
// Beyond so many rectangles clipping to each costs more than drawing what lies between them.
constexpr int mostRectangles = 24;

constexpr std::array accents{rgb(0x5B57EE), rgb(0x2F6FED), rgb(0x7A4FE0), rgb(0x0F8B8D)};

}  // namespace

DesktopPicture::DesktopPicture(const DesktopLayout& layout, int pixelWidth, int pixelHeight, std::uint64_t seed)
    : width_(pixelWidth),
      height_(pixelHeight),
      scale_(layout.scale()),
      seed_(seed),
      painter_(layout.scale()),
      changed_(cairo_region_create()),
      drawn_(makeSurface()) {}

SurfaceHandle DesktopPicture::makeSurface() const {
    SurfaceHandle surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width_, height_));
    if (cairo_surface_status(surface.get()) != CAIRO_STATUS_SUCCESS) throw std::bad_alloc();
    return surface;
}

cairo_surface_t* DesktopPicture::wallpaper(bool isDark) {
    SurfaceHandle& surface = wallpapers_[isDark ? 1 : 0];
    if (!surface) surface = makeWallpaper(width_, height_, isDark, seed_);
    return surface.get();
}

void DesktopPicture::show(const DesktopState& state, bool isDark, double now) {
    list_.clear();
    showDesktop({list_, state, isDark ? darkTheme() : lightTheme(), accents[seed_ % accents.size()], now});
    after_.clear();
    for (const DrawCommand& command : list_.commands())
        after_.push_back({command.fingerprint(), command.bounds()});
    std::sort(after_.begin(), after_.end(),
              [](const Shown& a, const Shown& b) { return a.fingerprint < b.fingerprint; });
}

void DesktopPicture::addDifferences() {
    const cairo_rectangle_int_t everything{0, 0, width_, height_};
    const auto add = [this, &everything](const Shown& shown) {
        const Rect& area = shown.bounds;
        const Rect pixels =
            intersection({area.x * scale_, area.y * scale_, area.width * scale_, area.height * scale_},
                         {0, 0, static_cast<double>(everything.width), static_cast<double>(everything.height)});
        if (pixels.width <= 0 || pixels.height <= 0) return;
        const int left = static_cast<int>(std::floor(pixels.x)), top = static_cast<int>(std::floor(pixels.y));
        const cairo_rectangle_int_t rectangle{left, top,
                                              static_cast<int>(std::ceil(pixels.x + pixels.width)) - left,
                                              static_cast<int>(std::ceil(pixels.y + pixels.height)) - top};
        cairo_region_union_rectangle(changed_.get(), &rectangle);
    };
    auto old = before_.cbegin();
    auto fresh = after_.cbegin();
    while (old != before_.cend() || fresh != after_.cend()) {
        if (fresh == after_.cend() || (old != before_.cend() && old->fingerprint < fresh->fingerprint)) {
            add(*old++);
        } else if (old == before_.cend() || fresh->fingerprint < old->fingerprint) {
            add(*fresh++);
        } else {
            ++old;
            ++fresh;
        }
    }
    if (cairo_region_num_rectangles(changed_.get()) > mostRectangles) {
        cairo_rectangle_int_t around;
        cairo_region_get_extents(changed_.get(), &around);
        cairo_region_union_rectangle(changed_.get(), &around);
    }
}

void DesktopPicture::reveal(double progress) {
    const ContextHandle context(cairo_create(revealed_.get()));
    cairo_set_source_surface(context.get(), drawn_.get(), 0, 0);
    cairo_paint(context.get());
    // The new look spreads from where the command was given; the old one stays outside a circle with a soft edge.
    const double x = width_ / 2.0, y = 0.27 * height_, edge = 90 * scale_;
    const double radius = progress * (std::hypot(x, height_ - y) + edge);
    const PatternHandle outside(
        cairo_pattern_create_radial(x, y, std::max(radius - edge, 0.0), x, y, std::max(radius, 1.0)));
    cairo_pattern_add_color_stop_rgba(outside.get(), 0, 0, 0, 0, 0);
    cairo_pattern_add_color_stop_rgba(outside.get(), 1, 0, 0, 0, 1);
    cairo_set_source_surface(context.get(), past_.get(), 0, 0);
    cairo_mask(context.get(), outside.get());
    cairo_surface_flush(revealed_.get());
}

void DesktopPicture::keepPast(const DesktopState& state) {
    // As it looked at that moment, so that the picture depends on the log only, not on the frames drawn before.
    const bool wasDark = !state.isDark;
    show(state, wasDark, state.appearanceChangedAt);
    const cairo_rectangle_int_t everything{0, 0, width_, height_};
    const RegionHandle whole(cairo_region_create_rectangle(&everything));
    past_ = makeSurface();
    painter_.paint(past_.get(), list_, whole.get(), wallpaper(wasDark));
    revealed_ = makeSurface();
    before_.clear();
}

const cairo_region_t* DesktopPicture::update(const DesktopState& state, double now) {
    const cairo_rectangle_int_t everything{0, 0, width_, height_};
    changed_.reset(cairo_region_create());
    const double elapsed = now - state.appearanceChangedAt;
    if (elapsed >= 0 && state.appearanceChangedAt != appearanceChangedAt_) {
        appearanceChangedAt_ = state.appearanceChangedAt;
        if (elapsed < revealTime)
            keepPast(state);
        else
            before_.clear();
    }
    const bool wasRevealing = revealed_ != nullptr;
    if (elapsed >= revealTime) {
        past_.reset();
        revealed_.reset();
    }

    const bool isDark = state.isDarkAt(now);
    show(state, isDark, now);
    if (before_.empty()) cairo_region_union_rectangle(changed_.get(), &everything);
    addDifferences();
    std::swap(before_, after_);
    if (!cairo_region_is_empty(changed_.get()))
        painter_.paint(drawn_.get(), list_, changed_.get(), wallpaper(isDark));
    if (revealed_) reveal(eased(elapsed / revealTime));
    if (wasRevealing) cairo_region_union_rectangle(changed_.get(), &everything);
    return changed_.get();
}

}  // namespace lumenwhirl::demo
