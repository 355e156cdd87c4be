#include "Exporter/Preset.h"

#include <gtest/gtest.h>

namespace lumenwhirl {
namespace {

TEST(Preset, asksForBitsByThePixel) {
    // Of 1920 * 1080 * 60 = 124,416,000 pixels a second, 9 and 13 hundredths, the fraction dropped.
    EXPECT_EQ(ratesFor(Preset::web, 1920, 1080, 60), (PresetRates{11'197'440, 120}));
    EXPECT_EQ(ratesFor(Preset::social, 1920, 1080, 60), (PresetRates{16'174'080, 0}));
    EXPECT_EQ(ratesFor(Preset::prores, 1920, 1080, 60), PresetRates());  // the encoder decides
    EXPECT_EQ(ratesFor(Preset::web, 1280, 720, 24), (PresetRates{1'990'656, 48}));
    EXPECT_EQ(ratesFor(Preset::web, 16384, 16384, 60).bitRate, 1'449'551'462);  // .4; no 32-bit number
}

}  // namespace
}  // namespace lumenwhirl
