#pragma once

#include "Engine/Geometry/Shapes.h"

#include <array>
#include <optional>
#include <string_view>

namespace lumenwhirl {

/// The shape of the finished video; decides the canvas and how much closer the camera zooms.
class AspectRatio {
public:
    enum class Case { r16x9, r1x1, r9x16 };
    using enum Case;

    constexpr AspectRatio(Case value) noexcept : value_(value) {}  // NOLINT(google-explicit-constructor)
    /// Only the exact names "16:9", "1:1" and "9:16".
    [[nodiscard]] static std::optional<AspectRatio> fromRawValue(std::string_view name);
    /// Like `fromRawValue`, with 16:9 for every other name.
    [[nodiscard]] static AspectRatio fromString(std::string_view name);

    static constexpr std::array<Case, 3> allCases{r16x9, r1x1, r9x16};
    [[nodiscard]] std::string_view rawValue() const;
    [[nodiscard]] double ratio() const;     // width / height
    [[nodiscard]] double zoomBias() const;  // multiplies a zoom's magnification above 1
    /// The output canvas in pixels, both sides even. Only the content's width counts; width 2 at least.
    [[nodiscard]] Size canvas(Size contentPointSize) const;

    bool operator==(const AspectRatio&) const = default;

private:
    Case value_;
};

}  // namespace lumenwhirl
