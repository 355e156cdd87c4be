#include "Exporter/FrameMaker.h"

#include "Exporter/PictureOf.h"
#include "Tests/Exporter/Recordings.h"

#include <gtest/gtest.h>

#include <cstring>
#include <deque>
#include <random>

namespace lumenwhirl {
namespace {

// An encoder holds some of the frames for a while, so they come back in any order; recorded frames change a
// little, stay or are given again. Every frame must be what a compositor draws that knows nothing of any other.
TEST(FrameMaker, framesThatAreUsedAgainShowNothingOld) {
    EventLog events = recordings::quietLog();
    for (int i = 0; i < 20; ++i)
        events.cursor.push_back({.t = 0.05 * i, .x = 10.0 + 5 * i, .y = 20.0 + 3 * (i % 7)});
    ProjectSettings settings = recordings::plainProject(1);
    settings.style.padding = 0.05;
    const FrameStates states(events, settings, {recordings::width, recordings::height},
                             FrameStates::Zoom::asProject);
    FrameMaker<std::uint8_t> maker(states);
    FrameCompositor compositor;
    compositor.prepareStyle(states.renderStyle(), states.canvas(), states.contentSize());
    Picture expected(static_cast<int>(states.canvas().width), static_cast<int>(states.canvas().height));
    compositor.drawBase(expected.mutableView());

    std::mt19937 random(3);
    std::deque<VideoFrame> held;
    VideoFrame recorded = recordings::numbered(0);
    for (int i = 0; i < 60; ++i) {
        SCOPED_TRACE(i);
        if (random() % 3 > 0) recorded = recordings::numbered(static_cast<unsigned>(random() % 9));
        const double time = i / 60.0;
        const VideoFrame made = maker.make({recorded, time, i});
        compositor.render(pictureOf(recorded), states.state(time), expected.mutableView());
        for (int plane = 0; plane < 3; ++plane) {
            const PlaneView wanted = expected.view().planes[static_cast<std::size_t>(plane)];
            for (int y = 0; y < wanted.height; ++y) {
                ASSERT_EQ(std::memcmp(made.plane(plane) + y * made.stride(plane), wanted.row(y),
                                      static_cast<std::size_t>(wanted.width)),
                          0)
                    << "plane " << plane << " row " << y;
            }
        }
        held.push_back(made);
        while (held.size() > random() % 5)
            held.erase(held.begin() + static_cast<std::ptrdiff_t>(random() % held.size()));
    }
}

}  // namespace
}  // namespace lumenwhirl
