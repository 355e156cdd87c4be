#pragma once

#include "Compositor/RenderStyle.h"
#include "Engine/Documents/ProjectSettings.h"
#include "Engine/Geometry/Shapes.h"

#include <array>
#include <filesystem>
#include <functional>
#include <optional>
#include <string_view>

/// Turns a stored style into the concrete one of a canvas. Never fails: what cannot be parsed or loaded falls
/// back to built-in colours.
namespace lumenwhirl::StyleResolver {

/// Decodes an image file; empty if it cannot. Called at most once per resolve().
using ImageLoader = std::function<std::optional<Image>(const std::filesystem::path&)>;

struct GradientPreset {
    std::string_view name, top, bottom;  // colours in hex
};
extern const std::array<GradientPreset, 6> gradientPresets;

/// `canvas` in pixels. Without a loader an "image" background falls back as for an unreadable file.
[[nodiscard]] RenderStyle resolve(const Style& style, Size canvas, const ImageLoader& loadImage = {});
/// The only parser of stored colours: six or eight hex digits, alpha last, "#" optional, surrounding blanks
/// allowed.
[[nodiscard]] std::optional<Color> ciColor(std::string_view text);

}  // namespace lumenwhirl::StyleResolver
