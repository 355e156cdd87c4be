#include "Compositor/StyleResolver.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace lumenwhirl::StyleResolver {

const std::array<GradientPreset, 6> gradientPresets{{
    {"sunset", "#FF7E5F", "#FEB47B"},
    {"ocean", "#2E3192", "#1BFFFF"},
    {"forest", "#134E5E", "#71B280"},
    {"grape", "#654EA3", "#EAAFC8"},
    {"graphite", "#232526", "#414345"},
    {"sky", "#56CCF2", "#2F80ED"},
}};

namespace {

GradientPreset presetNamed(std::string_view name) {
    const auto found = std::ranges::find(gradientPresets, name, &GradientPreset::name);
    return found != gradientPresets.end() ? *found : gradientPresets.front();
}

RenderStyle::Gradient gradientBackground(std::string_view name) {
    const GradientPreset preset = presetNamed(name);
    return {ciColor(preset.top).value_or(Color{0.1, 0.1, 0.1}),
            ciColor(preset.bottom).value_or(Color{0.05, 0.05, 0.05})};
}

RenderStyle::Background resolveBackground(const Background& background, const ImageLoader& loadImage) {
    if (background.type == "solid")
        return RenderStyle::Solid{ciColor(background.color.value_or("#101014")).value_or(Color{0.06, 0.06, 0.08})};
    if (background.type == "gradient") {
        const GradientPreset preset = presetNamed(background.preset.value_or("sunset"));
        return RenderStyle::Gradient{ciColor(preset.top).value_or(Color{1.0, 0.49, 0.37}),
                                     ciColor(preset.bottom).value_or(Color{0.99, 0.70, 0.48})};
    }
    if (background.type == "image") {
        if (background.path && loadImage) {
            if (auto image = loadImage(*background.path))
                return RenderStyle::Picture{std::make_shared<const Image>(std::move(*image))};
        }
        return gradientBackground("graphite");
    }
    // Linux has no single service that knows the desktop's wallpaper, so a neutral gradient stands in for it.
    if (background.type == "wallpaper") return gradientBackground("graphite");
    return gradientBackground("sunset");
}

RenderStyle::Shadow resolveShadow(std::string_view name, double canvasHeight) {
    if (name == "none") return {};
    if (name == "medium") return {0.42, 0.035 * canvasHeight, 0.02 * canvasHeight};
    if (name == "dramatic") return {0.55, 0.06 * canvasHeight, 0.035 * canvasHeight};
    return {0.28, 0.02 * canvasHeight, 0.012 * canvasHeight};
}

std::string_view trimmed(std::string_view text) {
    constexpr std::string_view blanks = " \t\n\v\f\r";
    const std::size_t start = text.find_first_not_of(blanks);
    if (start == std::string_view::npos) return {};
    return text.substr(start, text.find_last_not_of(blanks) - start + 1);
}

}  // namespace

RenderStyle resolve(const Style& style, Size canvas, const ImageLoader& loadImage) {
    const double shortSide = std::min(canvas.width, canvas.height);
    RenderStyle result;
    result.background = resolveBackground(style.background, loadImage);
    result.shadow = resolveShadow(style.shadow, canvas.height);
    if (style.border) {
        if (const auto color = ciColor(*style.border))
            result.border = RenderStyle::Border{std::max(shortSide / 640, 1.0), *color};
    }
    result.paddingPx = style.padding * shortSide / 1080;
    result.cornerRadiusPx = style.cornerRadius * shortSide / 1080;
    return result;
}

std::optional<Color> ciColor(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with('#')) text.remove_prefix(1);
    if (text.size() != 6 && text.size() != 8) return std::nullopt;
    const bool hasAlpha = text.size() == 8;
    if (text.starts_with('+')) text.remove_prefix(1);
    std::uint64_t value = 0;
    const auto [end, problem] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    if (problem != std::errc{} || end != text.data() + text.size()) return std::nullopt;
    if (!hasAlpha) value = value << 8 | 0xFF;
    const auto component = [value](int shift) { return static_cast<double>(value >> shift & 0xFF) / 255; };
    return Color{component(24), component(16), component(8), component(0)};
}

}  // namespace lumenwhirl::StyleResolver
