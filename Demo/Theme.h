#pragma once

#include "Pixels/Image.h"

#include <cstdint>

namespace lumenwhirl::demo {

[[nodiscard]] constexpr Color rgb(std::uint32_t hex, double alpha = 1) {
    return {(hex >> 16U & 255U) / 255.0, (hex >> 8U & 255U) / 255.0, (hex & 255U) / 255.0, alpha};
}

[[nodiscard]] constexpr Color mixed(const Color& a, const Color& b, double p) {
    return {a.red + (b.red - a.red) * p, a.green + (b.green - a.green) * p, a.blue + (b.blue - a.blue) * p,
            a.alpha + (b.alpha - a.alpha) * p};
}

/// The colours of the desktop's two appearances.
struct Theme {
    bool isDark = false;
    Color bar, barText;  // the top bar
    Color dock, dockEdge;
    Color window, windowEdge, titleBar, sidebar;
    Color text, textSoft, textFaint;
    Color hairline, column, card, cardEdge, field, hover;
    Color popover;
    double shadow = 0.3;  // opacity under a window
};

[[nodiscard]] const Theme& lightTheme();
[[nodiscard]] const Theme& darkTheme();

/// What people, labels and projects are painted with; the same in both appearances.
namespace palette {
inline constexpr Color violet = rgb(0x7C5CFC), blue = rgb(0x3B82F6), teal = rgb(0x14B8A6), green = rgb(0x22A565),
                       amber = rgb(0xF59E0B), coral = rgb(0xF9735B), pink = rgb(0xEC4899), white = rgb(0xFFFFFF);
}

}  // namespace lumenwhirl::demo
