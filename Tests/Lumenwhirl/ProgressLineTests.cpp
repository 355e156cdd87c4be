#include "Lumenwhirl/Commands/ProgressLine.h"

#include <gtest/gtest.h>

#include <string>

namespace lumenwhirl {
namespace {

constexpr int wide = 120;

/// Half of 600 frames at 50 a second.
ProgressLine halfDone(ProgressLine::Symbols symbols = ProgressLine::Symbols::ascii) {
    ProgressLine line("Exporting", symbols);
    for (int frame = 1; frame <= 300; ++frame) line.update(frame, 600, frame / 50.0);
    return line;
}

TEST(ProgressLine, saysShareSpeedAndTimeLeft) {
    const ProgressLine line = halfDone();
    EXPECT_NEAR(line.framesPerSecond(), 50, 1e-9);
    // 300 frames left at 50 a second are 6 s.
    EXPECT_EQ(line.text(wide),
              "Exporting  50%  ###############...............  300/600 frames  50 fps  0:06 left");
    EXPECT_NE(halfDone(ProgressLine::Symbols::unicode).text(wide).find("━┄"), std::string::npos);
}

TEST(ProgressLine, narrowTerminalsKeepWhatMattersMost) {
    const ProgressLine line = halfDone();
    for (int columns = 0; columns < wide; ++columns)
        EXPECT_LE(line.text(columns).size(), static_cast<std::size_t>(columns)) << columns;
    EXPECT_EQ(line.text(27), "Exporting  50%  0:06 left");
    EXPECT_EQ(line.text(14), "Exporting  50%");
}

TEST(ProgressLine, speedFollowsAChangeWithinSeconds) {
    ProgressLine line = halfDone();
    // From 50 to 10 frames a second: after the 4 s that are averaged over, nothing of the old speed is left.
    for (int frame = 1; frame <= 50; ++frame) line.update(300 + frame, 600, 6 + frame / 10.0);
    EXPECT_NEAR(line.framesPerSecond(), 10, 0.5);
}

TEST(ProgressLine, knowsNoSpeedBeforeTheSecondFrameAndStaysSane) {
    ProgressLine line("Exporting", ProgressLine::Symbols::ascii);
    EXPECT_EQ(line.text(30), "Exporting   0%  0/0 frames");
    line.update(1, 600, 0.5);
    EXPECT_EQ(line.text(30), "Exporting   0%  1/600 frames");
    line.update(2, 600, 0.5);  // a clock that has not moved
    EXPECT_EQ(line.framesPerSecond(), 0);
    line.update(599, 600, 1);
    EXPECT_NE(line.text(wide).find(" 99%"), std::string::npos);  // 100 % only when done
    line.update(601, 600, 2);
    EXPECT_NE(line.text(wide).find("100%"), std::string::npos);
}

TEST(ProgressLine, durationsAndSizesReadAsPeopleWriteThem) {
    EXPECT_EQ(durationText(0), "0:00");
    EXPECT_EQ(durationText(6.2), "0:07");  // never promises less than it takes
    EXPECT_EQ(durationText(3599.5), "1:00:00");
    EXPECT_EQ(durationText(1e300), "99:59:59");
    EXPECT_EQ(sizeText(999), "999 bytes");
    EXPECT_EQ(sizeText(1000), "1.0 kB");
    EXPECT_EQ(sizeText(999949), "999.9 kB");
    EXPECT_EQ(sizeText(999950), "1.0 MB");
    EXPECT_EQ(sizeText(8'400'000'000), "8.4 GB");
}

}  // namespace
}  // namespace lumenwhirl
