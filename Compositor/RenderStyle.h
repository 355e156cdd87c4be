#pragma once

#include "Pixels/Image.h"

#include <memory>
#include <optional>
#include <variant>

namespace lumenwhirl {

/// A style made concrete for one canvas: every length in canvas pixels.
struct RenderStyle {
    struct Solid {
        Color color;
        bool operator==(const Solid&) const = default;
    };
    struct Gradient {  // vertical, linear
        Color top, bottom;
        bool operator==(const Gradient&) const = default;
    };
    struct Picture {  // scaled to fill the canvas, centred; shared, never changed
        std::shared_ptr<const Image> image;
        bool operator==(const Picture&) const = default;
    };
    using Background = std::variant<Solid, Gradient, Picture>;
    struct Shadow {
        double opacity = 0;  // 0...1
        double radius = 0;   // standard deviation of the blur
        double yOffset = 0;  // downwards
        bool operator==(const Shadow&) const = default;
    };
    struct Border {
        double widthPx = 0;
        Color color;
        bool operator==(const Border&) const = default;
    };

    Background background = Solid{};
    double paddingPx = 0;
    double cornerRadiusPx = 0;
    Shadow shadow;
    std::optional<Border> border;
    bool operator==(const RenderStyle&) const = default;

    /// Opaque black, nothing else: the style before any project is loaded.
    [[nodiscard]] static RenderStyle plain() { return {}; }
};

}  // namespace lumenwhirl
