#include "Demo/DemoScript.h"
#include "Demo/DemoSpeech.h"
#include "Demo/Desktop.h"
#include "Engine/Motion/CameraModel.h"
#include "Engine/Motion/CursorRenderModel.h"
#include "Engine/Overlays/KeystrokeModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <set>
#include <string>
#include <vector>

namespace lumenwhirl::demo {
namespace {

struct Pixels {
    int width, height;
};
const std::vector<Pixels> sizes{{1920, 1080}, {3840, 2160}, {320, 180}, {1080, 1920}, {2560, 1080}};

template <class Events>
void expectInOrderAndBefore(const Events& events, double end) {
    for (std::size_t i = 0; i < events.size(); ++i) {
        EXPECT_GE(events[i].t, i == 0 ? 0 : events[i - 1].t);
        EXPECT_LT(events[i].t, end);
    }
}

template <class Events>
void expectInside(const Events& events, Pixels size) {
    for (const auto& event : events) {
        EXPECT_TRUE(event.x >= 0 && event.x <= size.width && event.y >= 0 && event.y <= size.height)
            << event.t << ": " << event.x << ", " << event.y;
    }
}

TEST(DemoScript, isOneThatCouldHaveBeenRecorded) {
    for (const Pixels size : sizes) {
        for (const double seconds : {1.0, 7.3, 12.0, 40.0}) {
            SCOPED_TRACE(std::to_string(size.width) + " wide, " + std::to_string(seconds) + " s");
            const DemoScript script = writeDemoScript(seconds, size.width, size.height, 30, 5);
            const EventLog& log = script.log;
            EXPECT_EQ(log.recording.fps, 30);
            EXPECT_EQ(log.recording.display.pixelWidth, size.width);
            expectInOrderAndBefore(log.cursor, seconds);
            expectInOrderAndBefore(log.clicks, seconds);
            expectInOrderAndBefore(log.scroll, seconds);
            expectInOrderAndBefore(log.keys, seconds);
            expectInside(log.cursor, size);
            expectInside(log.clicks, size);
            expectInside(log.scroll, size);
            // The pointer does not jump: a hand crosses the desktop in a third of a second at least.
            const double stage = 1920 * Layout(size.width, size.height).scale();
            for (std::size_t i = 1; i < log.cursor.size(); ++i) {
                const CursorSample &a = log.cursor[i - 1], &b = log.cursor[i];
                EXPECT_LT(std::hypot(b.x - a.x, b.y - a.y), 3 * stage * (b.t - a.t) + 1) << b.t;
            }
            // Presses and releases take turns, and nobody holds a button for long.
            ASSERT_EQ(log.clicks.size() % 2, 0U);
            for (std::size_t i = 0; i < log.clicks.size(); i += 2) {
                EXPECT_EQ(log.clicks[i].phase, ClickPhase::down);
                EXPECT_EQ(log.clicks[i + 1].phase, ClickPhase::up);
                EXPECT_NEAR(log.clicks[i + 1].t - log.clicks[i].t, 0.1, 0.05);
            }
            double end = 0;
            for (const CaptionCue& cue : script.cues) {
                EXPECT_GT(cue.start, end);
                EXPECT_GE(cue.end, cue.start + 0.39);
                end = cue.end;
            }
            EXPECT_LE(end, seconds);
            EXPECT_GE(static_cast<double>(script.cues.size()), std::floor(seconds / 3));
        }
    }
}

TEST(DemoScript, everyClickHitsWhatItMeansAndTheDesktopDoesWhatTheLogSays) {
    for (const Pixels size : sizes) {
        for (std::uint64_t seed = 0; seed < 12; ++seed) {
            SCOPED_TRACE("width " + std::to_string(size.width) + ", seed " + std::to_string(seed));
            const DemoScript script = writeDemoScript(24, size.width, size.height, 60, seed);
            Desktop desktop(Layout(size.width, size.height));
            LogPlayer player(script.log, desktop);
            std::vector<Part> hit;
            for (const ClickEvent& click : script.log.clicks) {
                player.advance(click.t);
                if (click.phase == ClickPhase::down) hit.push_back(desktop.pressed.part);
            }
            const std::vector<Part> round{Part::newTask, Part::labelChip, Part::addTask, Part::publish,
                                          Part::menuItem};
            std::vector<Part> expected = round;
            expected.insert(expected.end(), round.begin(), round.end());
            EXPECT_EQ(hit, expected);

            player.advance(24);
            EXPECT_EQ(desktop.addedTasks, 2);
            EXPECT_TRUE(desktop.isBoardSaved);
            EXPECT_EQ(desktop.windows.back(), Part::notes);
            EXPECT_GT(desktop.publishing.startedAt, 12 + 6);
            EXPECT_FALSE(desktop.isDark);  // dark after the first round, light again after the second
            EXPECT_GT(desktop.appearanceChangedAt, 12 + 10);
            EXPECT_NE(desktop.scroll.startedAt, never);

            // The newest card says what was typed between the second round's first two clicks.
            std::string typed;
            for (const KeyEvent& key : script.log.keys)
                if (key.t > 12 && key.t < script.log.clicks[12].t) typed += key.chars;
            EXPECT_EQ(desktop.columns[0].front().title, typed);
            EXPECT_GE(typed.size(), 5U);
        }
    }
}

TEST(DemoScript, showsWhatTheProgramMakesOfARecording) {
    for (std::uint64_t seed = 0; seed < 40; ++seed) {
        const Pixels size = sizes[seed % sizes.size()];
        SCOPED_TRACE("width " + std::to_string(size.width) + ", seed " + std::to_string(seed));
        const EventLog log = writeDemoScript(12, size.width, size.height, 60, seed).log;
        // The camera zooms in twice, with the whole screen in between and at the end.
        const std::vector<ZoomSegment> zooms = CameraModel::autoSegments(log.clicks, {});
        ASSERT_EQ(zooms.size(), 2U);
        EXPECT_GT(zooms[0].start, 0.4);
        EXPECT_GT(zooms[1].start - zooms[0].end, 0.5);
        EXPECT_LT(zooms[1].end, 10.5);
        // The pointer hides before it has moved and at the end, and shows at every click.
        const CursorRenderModel cursor(log, CursorStyle{}, 0.4, 0.6);
        EXPECT_EQ(cursor.opacity(0.1), 0);
        EXPECT_EQ(cursor.opacity(11.5), 0);
        for (const ClickEvent& click : log.clicks) EXPECT_EQ(cursor.opacity(click.t), 1);
        // Only the shortcuts make pills.
        const KeystrokeModel keystrokes(log, false, 1.2, 0.4, 4);
        std::set<std::string> texts;
        for (double t = 0; t < 12; t += 0.05)
            for (const KeyPill& pill : keystrokes.pills(t)) texts.insert(pill.text);
        EXPECT_EQ(texts, (std::set<std::string>{"⌘S", "⇧⌘P", "↩"}));
    }
    for (const double seconds : {14.0, 16.0, 20.0, 31.0, 60.0}) {  // wherever the last round is cut short
        const DemoScript script = writeDemoScript(seconds, 1920, 1080, 60, 2);
        EXPECT_LT(CameraModel::autoSegments(script.log.clicks, {}).back().end, seconds) << seconds;
    }
}

double rootMeanSquare(const std::vector<float>& samples, double start, double end) {
    const auto first = static_cast<std::size_t>(start * DemoSpeech::sampleRate);
    const auto last = static_cast<std::size_t>(end * DemoSpeech::sampleRate);
    double sum = 0;
    for (std::size_t i = first; i < last; ++i) sum += static_cast<double>(samples[i]) * samples[i];
    return std::sqrt(sum / static_cast<double>(last - first));
}

TEST(DemoSpeech, speaksDuringCaptionsAtAMicrophonesLevel) {
    for (const std::uint64_t seed : {1U, 4U, 9U, 12U}) {
        SCOPED_TRACE(seed);
        const DemoScript script = writeDemoScript(12, 1920, 1080, 60, seed);
        std::vector<float> samples(12U * DemoSpeech::sampleRate);
        DemoSpeech(script, seed).render(samples);

        std::vector<double> blocks;
        for (int i = 0; i < 600; ++i) blocks.push_back(rootMeanSquare(samples, 0.02 * i, 0.02 * (i + 1)));
        std::sort(blocks.begin(), blocks.end());
        EXPECT_GT(blocks[510], 0.03);  // the 85th percentile, which normalising looks at
        EXPECT_LT(blocks[510], 0.05);
        const auto [lowest, highest] = std::minmax_element(samples.begin(), samples.end());
        EXPECT_LT(std::max(*highest, -*lowest), 0.6F);
        for (const CaptionCue& cue : script.cues) {
            EXPECT_GT(rootMeanSquare(samples, cue.start + 0.1, cue.end - 0.15), 0.01);
            EXPECT_LT(rootMeanSquare(samples, cue.end, cue.end + 0.2), 0.006);  // keys may tap softly
        }
    }
}

TEST(DemoSpeech, doesNotDependOnTheSizeOfThePieces) {
    const DemoScript script = writeDemoScript(3, 1920, 1080, 60, 1);
    std::vector<float> whole(3U * DemoSpeech::sampleRate), pieces(whole.size());
    DemoSpeech(script, 7).render(whole);
    DemoSpeech speech(script, 7);
    std::size_t done = 0;
    for (std::size_t size = 1; done < pieces.size(); size = (size * 7 + 3) % 1999) {
        const std::size_t count = std::min(size, pieces.size() - done);
        speech.render(std::span(pieces).subspan(done, count));
        done += count;
    }
    EXPECT_EQ(whole, pieces);
}

}  // namespace
}  // namespace lumenwhirl::demo
