#include "Lumenwhirl/Commands/StatusText.h"

#include <gtest/gtest.h>

#include <string>

namespace lumenwhirl {
namespace {

constexpr int wide = 120;

/// Half of 600 frames at 50 a second.
ProgressLine halfDone(Symbols symbols = Symbols::ascii) {
    ProgressLine line("Exporting", symbols);
    for (int frame = 1; frame <= 300; ++frame) line.update(frame, 600, frame / 50.0);
    return line;
}

TEST(ProgressLine, showsPercentageSpeedAndTimeLeft) {
    const ProgressLine line = halfDone();
    EXPECT_NEAR(line.framesPerSecond(), 50, 1e-9);
    // 300 frames left at 50 a second are 6 s.
    EXPECT_EQ(line.text(wide),
              "Exporting  50%  ###############...............  300/600 frames  50 fps  0:06 left");
    EXPECT_NE(halfDone(Symbols::unicode).text(wide).find("━┄"), std::string::npos);
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
    // From 50 to 10 frames a second: after 4 s, the averaging window, nothing of the old speed is left.
    for (int frame = 1; frame <= 50; ++frame) line.update(300 + frame, 600, 6 + frame / 10.0);
    EXPECT_NEAR(line.framesPerSecond(), 10, 0.5);
}

TEST(ProgressLine, showsNoSpeedBeforeTheSecondFrame) {
    ProgressLine line("Exporting", Symbols::ascii);
    EXPECT_EQ(line.text(30), "Exporting   0%  0/0 frames");
    line.update(1, 600, 0.5);
    EXPECT_EQ(line.text(30), "Exporting   0%  1/600 frames");
    line.update(2, 600, 0.5);  // the clock has not moved
    EXPECT_EQ(line.framesPerSecond(), 0);
    line.update(599, 600, 1);
    EXPECT_NE(line.text(wide).find(" 99%"), std::string::npos);  // 100 % only when done
    line.update(601, 600, 2);
    EXPECT_NE(line.text(wide).find("100%"), std::string::npos);
}

constexpr RecordingController::Progress running{
    .seconds = 72.9, .file = {.framesWritten = 4321, .framesDropped = 2, .bytes = 9'400'000}, .audioLevel = 0.1F};

TEST(RecordingLine, showsTimeFramesSizeAndLevel) {
    // 0.1 is -20 dB, two thirds of the way up from -60: seven steps of ten.
    EXPECT_EQ(recordingLine(running, true, Symbols::ascii, wide),
              "Recording  1:12  4321 frames  2 dropped  9.4 MB  [#######   ]  Ctrl-C stops");
    EXPECT_EQ(recordingLine(running, false, Symbols::ascii, wide),
              "Recording  1:12  4321 frames  2 dropped  9.4 MB  Ctrl-C stops");
    EXPECT_NE(recordingLine(running, true, Symbols::unicode, wide).find("▮▮▮▮▮▮▮   ]"), std::string::npos);
    EXPECT_NE(recordingLine({}, true, Symbols::ascii, wide).find("[          ]"), std::string::npos);
}

TEST(RecordingLine, narrowTerminalsKeepWhatMattersMost) {
    for (int columns = 0; columns < wide; ++columns)
        EXPECT_LE(recordingLine(running, true, Symbols::ascii, columns).size(), static_cast<std::size_t>(columns));
    EXPECT_EQ(recordingLine(running, true, Symbols::ascii, 30), "Recording  1:12  [#######   ]");
    EXPECT_EQ(recordingLine(running, false, Symbols::ascii, 30), "Recording  1:12  2 dropped");
}

}  // namespace
}  // namespace lumenwhirl
