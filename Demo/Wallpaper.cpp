#include "Demo/DemoScript.h"
#include "Demo/DesktopPicture.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <vector>

namespace lumenwhirl::demo {
namespace {

// Lengths here are in heights of the picture, so that every size shows the same landscape.

constexpr std::size_t hillCount = 6;
using Crests = std::array<float, hillCount>;  // of one column, back to front

struct Rgb {
    float red = 0, green = 0, blue = 0;
};

constexpr Rgb tone(std::uint32_t hex) {
    const Color color = rgb(hex);
    return {static_cast<float>(color.red), static_cast<float>(color.green), static_cast<float>(color.blue)};
}

Rgb mix(Rgb a, Rgb b, float p) {
    return {a.red + (b.red - a.red) * p, a.green + (b.green - a.green) * p, a.blue + (b.blue - a.blue) * p};
}

float smooth(float p) {
    p = std::clamp(p, 0.0F, 1.0F);
    return p * p * (3 - 2 * p);
}

struct Palette {
    std::array<Rgb, 4> sky;  // at `skyHeights`
    std::array<Rgb, hillCount> crest, foot;
    Rgb disc, glow;  // sun or moon
    float discY = 0, discRadius = 0, glowStrength = 0;
};
constexpr std::array<float, 4> skyHeights{0, 0.28F, 0.52F, 0.74F};
constexpr float discX = 0.70F;  // of the width

constexpr Palette day{
    {tone(0x5B83D6), tone(0x8DA9EA), tone(0xC9C8F2), tone(0xF9D9D3)},
    {tone(0xC3BDEB), tone(0xA5A8E2), tone(0x8392D8), tone(0x6079C8), tone(0x4461B2), tone(0x2E4A97)},
    {tone(0xE3D3EE), tone(0xC4BEEB), tone(0xA0A8E2), tone(0x7890D6), tone(0x5876C4), tone(0x263F86)},
    tone(0xFFF6EA),
    tone(0xFFDCC4),
    0.44F,
    0.062F,
    0.62F};
constexpr Palette night{
    {tone(0x0B1030), tone(0x18205A), tone(0x333581), tone(0x5B4A98)},
    {tone(0x3F3D85), tone(0x2F3274), tone(0x242A63), tone(0x1A2150), tone(0x12193F), tone(0x0B1130)},
    {tone(0x564C97), tone(0x434185), tone(0x323770), tone(0x252C5C), tone(0x1A2149), tone(0x080D26)},
    tone(0xF6F3FF),
    tone(0x8F86E0),
    0.20F,
    0.046F,
    0.42F};

Rgb skyAt(const Palette& palette, float y) {
    for (std::size_t i = 1; i < skyHeights.size(); ++i)
        if (y < skyHeights[i])
            return mix(palette.sky[i - 1], palette.sky[i],
                       smooth((y - skyHeights[i - 1]) / (skyHeights[i] - skyHeights[i - 1])));
    return palette.sky.back();
}

std::vector<Crests> makeCrests(int width, int height, std::uint64_t seed) {
    Random random(seed * 7919 + 17);
    std::array<std::array<double, 4>, hillCount> phases{};
    for (auto& hill : phases)
        for (double& phase : hill) phase = random.between(0, 6.28318);
    std::vector<Crests> crests(static_cast<std::size_t>(width));
    double x = 0;  // columns, exact
    for (Crests& column : crests) {
        for (std::size_t i = 0; i < hillCount; ++i) {
            const double depth = static_cast<double>(i), at = x / height;
            const double base = 0.515 + 0.082 * depth + 0.004 * depth * depth;
            const auto& phase = phases[i];
            const double wave =
                0.62 * std::sin(at * (3.1 - 0.22 * depth) + phase[0]) +
                0.30 * std::sin(at * (6.3 - 0.4 * depth) + phase[1]) +
                (i < 3 ? 0.11 * std::sin(at * 14.2 + phase[2]) : 0.05 * std::sin(at * 10.1 + phase[3]));
            column[i] = static_cast<float>(base + (0.040 + 0.007 * depth) * wave);
        }
        ++x;
    }
    return crests;
}

Rgb colorAt(const Palette& palette, float x, float y, float aspect, float pixel, const Crests& crests) {
    Rgb color = skyAt(palette, y);
    const float dx = x - discX * aspect, dy = y - palette.discY;
    const float distance = std::sqrt(dx * dx + dy * dy);
    color = mix(color, palette.glow, palette.glowStrength * std::exp(-distance * distance / 0.075F));
    color =
        mix(color, palette.disc, std::clamp((palette.discRadius - distance) / (1.5F * pixel) + 0.5F, 0.0F, 1.0F));
    for (std::size_t i = 0; i < hillCount; ++i) {
        const float below = y - crests[i];
        if (below < -pixel) continue;
        // Mist: a hill is strongest at its crest and pales towards its foot.
        const Rgb hill = mix(palette.crest[i], palette.foot[i], smooth(below / 0.16F));
        const float lit = 0.18F * std::exp(-below / 0.012F) * std::exp(-std::abs(dx) / 0.55F);
        color = mix(color, mix(hill, palette.glow, lit), std::clamp(below / pixel + 0.5F, 0.0F, 1.0F));
    }
    return color;
}

/// A different number in [-0.5, 0.5) for every pixel (integer hash of Wang, 2007).
float ditherAt(std::uint32_t x, std::uint32_t y) {
    std::uint32_t h = x * 0x9E3779B1U ^ y * 0x85EBCA77U;
    h = (h ^ 61U) ^ (h >> 16U);
    h *= 9;
    h ^= h >> 4U;
    h *= 0x27D4EB2DU;
    h ^= h >> 15U;
    return static_cast<float>(h >> 8U) * 0x1p-24F - 0.5F;
}

std::uint32_t packed(Rgb color, float dither) {
    const auto byte = [dither](float value) {
        return static_cast<std::uint32_t>(std::clamp(value * 255 + 0.5F + dither, 0.0F, 255.0F));
    };
    return 0xFF000000U | byte(color.red) << 16U | byte(color.green) << 8U | byte(color.blue);
}

void drawStars(cairo_surface_t* surface, float aspect, float height, std::uint64_t seed) {
    Random random(seed + 4242);
    const CairoContext context(cairo_create(surface));
    for (int count = static_cast<int>(90 * aspect); count > 0; --count) {
        const double low = random.between(0, 1);
        const auto x = static_cast<float>(random.between(0, aspect)),
                   y = static_cast<float>(0.04 + 0.46 * low * low),
                   radius = static_cast<float>(random.between(0.0006, 0.0015)),
                   brightness = static_cast<float>(random.between(0.15, 0.75));
        cairo_set_source_rgba(context.get(), 0.93, 0.94, 1, brightness);
        cairo_arc(context.get(), x * height, y * height, std::max(0.5F, radius * height), 0, 6.2832);
        cairo_fill(context.get());
    }
}

}  // namespace

CairoSurface makeWallpaper(int width, int height, bool isNight, std::uint64_t seed) {
    const Palette& palette = isNight ? night : day;
    CairoSurface surface = makeSurface(width, height);
    const std::vector<Crests> crests = makeCrests(width, height, seed);
    const float pixel = 1.0F / static_cast<float>(height);
    const float aspect = static_cast<float>(width) * pixel;
    unsigned char* const rows = cairo_image_surface_get_data(surface.get());
    const std::ptrdiff_t stride = cairo_image_surface_get_stride(surface.get());
    for (int row = 0; row < height; ++row) {
        const float y = (static_cast<float>(row) + 0.5F) * pixel;
        for (int column = 0; column < width; ++column) {
            const float x = (static_cast<float>(column) + 0.5F) * pixel;
            const Rgb color = colorAt(palette, x, y, aspect, pixel, crests[static_cast<std::size_t>(column)]);
            const std::uint32_t value =
                packed(color, ditherAt(static_cast<std::uint32_t>(column), static_cast<std::uint32_t>(row)));
            std::memcpy(rows + row * stride + column * 4, &value, 4);
        }
    }
    cairo_surface_mark_dirty(surface.get());
    if (isNight) drawStars(surface.get(), aspect, static_cast<float>(height), seed);
    return surface;
}

}  // namespace lumenwhirl::demo
