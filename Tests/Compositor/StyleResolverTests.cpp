#include "Compositor/StyleResolver.h"

#include <gtest/gtest.h>

namespace lumenwhirl {
namespace {

TEST(StyleResolver, colorsAreSixOrEightHexDigits) {
    const Color orange{1, 0x7E / 255.0, 0x5F / 255.0, 1};
    for (const char* text : {"#ff7e5f", "  #FF7E5F\t", "FF7E5F", "#FF7E5FFF"})
        EXPECT_EQ(StyleResolver::ciColor(text), orange) << text;
    EXPECT_EQ(StyleResolver::ciColor("#FF7E5F80")->alpha, 128 / 255.0);
    EXPECT_EQ(StyleResolver::ciColor("+12345")->blue, 0x45 / 255.0);  // a sign counts as one of the six
    for (const char* text : {"", "#", "#FFF", "#FF7E5F0", "#GG7E5F", "##F7E5F", "-12345", "#FF 7E5", "orange"})
        EXPECT_FALSE(StyleResolver::ciColor(text)) << text;
}

TEST(StyleResolver, lengthsScaleWithTheShortSide) {
    Style style;
    style.padding = 64;
    style.border = "#FFFFFF33";
    EXPECT_NEAR(StyleResolver::resolve(style, {1280, 720}).paddingPx, 42.6667, 1e-4);  // 64 * 720 / 1080
    EXPECT_EQ(StyleResolver::resolve(style, {320, 240}).border->widthPx, 1);  // never thinner than a pixel
    style.border = "white";
    EXPECT_FALSE(StyleResolver::resolve(style, {320, 240}).border);
}

TEST(StyleResolver, shadowsAreSubtleUnlessNamedExactly) {
    Style style;
    for (const auto& [name, shadow] : std::vector<std::pair<const char*, RenderStyle::Shadow>>{
             {"none", {}}, {"dramatic", {0.55, 60, 35}}, {"subtle", {0.28, 20, 12}}, {"Medium", {0.28, 20, 12}}}) {
        style.shadow = name;
        EXPECT_EQ(StyleResolver::resolve(style, {1000, 1000}).shadow, shadow) << name;
    }
}

TEST(StyleResolver, backgroundsFallBackToBuiltInColors) {
    const auto background = [](Background stored, const StyleResolver::ImageLoader& load = {}) {
        Style style;
        style.background = std::move(stored);
        return StyleResolver::resolve(style, {1920, 1080}, load).background;
    };
    const auto gradient = [](const char* top, const char* bottom) {
        return RenderStyle::Background(
            RenderStyle::Gradient{*StyleResolver::ciColor(top), *StyleResolver::ciColor(bottom)});
    };
    const auto sunset = gradient("#FF7E5F", "#FEB47B"), graphite = gradient("#232526", "#414345");
    EXPECT_EQ(background({"gradient", "ocean", {}, {}}), gradient("#2E3192", "#1BFFFF"));
    EXPECT_EQ(background({"gradient", "unknown", {}, {}}), sunset);
    EXPECT_EQ(background({"gradient", {}, {}, {}}), sunset);
    EXPECT_EQ(background({"Gradient", "ocean", {}, {}}), sunset);
    EXPECT_EQ(background({"wallpaper", {}, {}, {}}), graphite);
    EXPECT_EQ(background({"solid", {}, {}, {}}),
              RenderStyle::Background(RenderStyle::Solid{{16 / 255.0, 16 / 255.0, 20 / 255.0, 1}}));
    EXPECT_EQ(background({"solid", {}, "nonsense", {}}),
              RenderStyle::Background(RenderStyle::Solid{{0.06, 0.06, 0.08, 1}}));

    const auto none = [](const std::filesystem::path&) { return std::optional<Image>(); };
    const auto some = [](const std::filesystem::path& file) {
        return file == "here.png" ? std::optional(Image(3, 2)) : std::nullopt;
    };
    EXPECT_EQ(background({"image", {}, {}, "here.png"}, none), graphite);
    EXPECT_EQ(background({"image", {}, {}, {}}, some), graphite);
    EXPECT_EQ(std::get<RenderStyle::Picture>(background({"image", {}, {}, "here.png"}, some)).image->width, 3);
}

}  // namespace
}  // namespace lumenwhirl
