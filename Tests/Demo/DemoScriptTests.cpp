#include "Demo/DemoScript.h"
#include "Demo/DemoSpeech.h"
#include "Demo/Desktop.h"
#include "Demo/HumanPath.h"
#include "Demo/KeyCodes.h"
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

using Kind = Target::Kind;

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

TEST(DemoScript, theLogIsOneThatARecorderCouldHaveWritten) {
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
            // Presses and releases take turns, and nobody holds a button for long.
            ASSERT_EQ(log.clicks.size() % 2, 0U);
            for (std::size_t i = 0; i < log.clicks.size(); i += 2) {
                EXPECT_EQ(log.clicks[i].phase, ClickPhase::down);
                EXPECT_EQ(log.clicks[i + 1].phase, ClickPhase::up);
                EXPECT_NEAR(log.clicks[i + 1].t - log.clicks[i].t, 0.1, 0.05);
            }
            for (const ScrollEvent& event : log.scroll) EXPECT_EQ(event.dy, std::round(event.dy));  // whole lines
        }
    }
}

TEST(DemoScript, everyClickHitsWhatItMeansAndTheDesktopDoesWhatTheLogSays) {
    for (const Pixels size : sizes) {
        for (std::uint64_t seed = 0; seed < 12; ++seed) {
            SCOPED_TRACE("width " + std::to_string(size.width) + ", seed " + std::to_string(seed));
            const DemoScript script = writeDemoScript(24, size.width, size.height, 60, seed);
            const DesktopLayout layout(size.width, size.height);
            Desktop desktop(layout);
            LogPlayer player(script.log, desktop);
            std::vector<Kind> hit;
            for (const ClickEvent& click : script.log.clicks) {
                player.advance(click.t);
                if (click.phase == ClickPhase::up) continue;
                hit.push_back(desktop.state().pressed.kind);
                EXPECT_TRUE(contains(desktop.state().layout.rect(desktop.state().pressed),
                                     {click.x / layout.scale(), click.y / layout.scale()}));
            }
            const std::vector<Kind> round{Kind::newTask, Kind::labelChip, Kind::addTask, Kind::publish,
                                          Kind::menuItem};
            std::vector<Kind> expected = round;
            expected.insert(expected.end(), round.begin(), round.end());
            EXPECT_EQ(hit, expected);

            player.advance(24);
            const DesktopState& end = desktop.state();
            EXPECT_EQ(end.addedTasks, 2);
            EXPECT_TRUE(end.isBoardSaved);
            EXPECT_EQ(end.order.back(), Window::notes);
            EXPECT_GT(end.publishing.startedAt, 12 + 6);
            EXPECT_FALSE(end.isDark);  // dark after the first round, light again after the second
            EXPECT_GT(end.appearanceChangedAt, 12 + 10);
            EXPECT_NE(end.scroll.startedAt, never);

            // The newest card says what was typed between the second round's two clicks.
            std::string typed;
            for (const KeyEvent& key : script.log.keys)
                if (key.t > 12 && key.t < script.log.clicks[12].t) typed += key.chars;
            EXPECT_EQ(end.columns[0].front().title, typed);
            EXPECT_GE(typed.size(), 5U);
        }
    }
}

TEST(DemoScript, aSeedGivesOneScriptAndAnotherSeedAnother) {
    const DemoScript first = writeDemoScript(12, 1280, 720, 60, 3);
    const DemoScript again = writeDemoScript(12, 1280, 720, 60, 3);
    const DemoScript other = writeDemoScript(12, 1280, 720, 60, 4);
    EXPECT_EQ(first.log, again.log);
    EXPECT_EQ(first.cues, again.cues);
    EXPECT_NE(first.log.cursor, other.log.cursor);
    EXPECT_NE(first.log.recording.startHostTime, other.log.recording.startHostTime);
}

TEST(DemoScript, automaticZoomLeavesTheWholeScreenInBetweenAndAtTheEnd) {
    for (const Pixels size : sizes) {
        for (std::uint64_t seed = 0; seed < 40; ++seed) {
            SCOPED_TRACE("width " + std::to_string(size.width) + ", seed " + std::to_string(seed));
            const DemoScript script = writeDemoScript(12, size.width, size.height, 60, seed);
            const std::vector<ZoomSegment> zooms = CameraModel::autoSegments(script.log.clicks, {});
            ASSERT_EQ(zooms.size(), 2U);
            EXPECT_GT(zooms[0].start, 0.4);
            EXPECT_GT(zooms[1].start - zooms[0].end, 0.5);
            EXPECT_LT(zooms[1].end, 10.5);
        }
    }
    for (const double seconds : {14.0, 16.0, 20.0, 31.0, 60.0}) {  // whatever the last round is cut to
        const DemoScript script = writeDemoScript(seconds, 1920, 1080, 60, 2);
        EXPECT_LT(CameraModel::autoSegments(script.log.clicks, {}).back().end, seconds) << seconds;
    }
}

TEST(DemoScript, thePointerHidesWhileTheHandsTypeAndShowsAtEveryClick) {
    for (std::uint64_t seed = 0; seed < 20; ++seed) {
        const DemoScript script = writeDemoScript(12, 1920, 1080, 60, seed);
        const CursorRenderModel cursor(script.log, CursorStyle{}, 0.4, 0.6);
        EXPECT_EQ(cursor.opacity(0.1), 0);  // has not moved yet
        EXPECT_EQ(cursor.opacity(11.5), 0);
        for (const ClickEvent& click : script.log.clicks) EXPECT_EQ(cursor.opacity(click.t), 1);
    }
}

TEST(DemoScript, onlyItsThreeShortcutsMakePills) {
    const DemoScript script = writeDemoScript(12, 1920, 1080, 60, 1);
    const KeystrokeModel keystrokes(script.log, false, 1.2, 0.4, 4);
    std::set<std::string> texts;
    for (double t = 0; t < 12; t += 0.05)
        for (const KeyPill& pill : keystrokes.pills(t)) texts.insert(pill.text);
    EXPECT_EQ(texts, (std::set<std::string>{"⌘S", "⇧⌘P", "↩"}));
}

TEST(DemoScript, captionsFollowEachOtherInsideTheRecording) {
    for (const double seconds : {1.0, 5.2, 12.0, 100.0}) {
        const std::vector<CaptionCue> cues = writeDemoScript(seconds, 1920, 1080, 60, 1).cues;
        double end = 0;
        for (const CaptionCue& cue : cues) {
            EXPECT_GT(cue.start, end);
            EXPECT_GE(cue.end, cue.start + 0.39);
            end = cue.end;
        }
        EXPECT_LE(end, seconds);
        EXPECT_GE(static_cast<double>(cues.size()), std::floor(seconds / 3));
    }
}

TEST(HumanPath, arrivesExactlyWithoutJumpsAndSlowsDownAtTheTarget) {
    Random random(11);
    for (int i = 0; i < 200; ++i) {
        const Point from{random.between(0, 1900), random.between(0, 1000)};
        const Point to{random.between(0, 1900), random.between(0, 1000)};
        const double distance = std::hypot(to.x - from.x, to.y - from.y);
        const std::vector<CursorSample> path = humanPath(from, to, 30, 5, random);
        ASSERT_GT(path.size(), 10U);
        EXPECT_EQ((Point{path.back().x, path.back().y}), to);
        CursorSample last{5, from.x, from.y};
        double longest = 0;
        for (const CursorSample& sample : path) {
            EXPECT_GT(sample.t, last.t);
            EXPECT_LT(sample.t - last.t, 0.08);  // the longest is the pause before a correction
            longest = std::max(longest, std::hypot(sample.x - last.x, sample.y - last.y));
            last = sample;
        }
        // Minimum jerk is at most 1.875 times as fast as the mean; curve, tremor and random durations add some.
        const double meanStep = distance / (path.back().t - 5) / 120;
        EXPECT_LT(longest, 3.2 * meanStep + 1.5);
        const CursorSample& before = path[path.size() - 2];
        EXPECT_LT(std::hypot(to.x - before.x, to.y - before.y), 0.25 * longest + 0.5);
    }
    Random same(1);
    EXPECT_TRUE(humanPath({5, 5}, {5, 5}, 30, 0, same).empty());
}

TEST(KeyCodes, areThoseOfAUsKeyboard) {
    EXPECT_EQ(keyStrokeFor('a').code, 0);
    EXPECT_EQ(keyStrokeFor('p').code, 35);
    EXPECT_EQ(keyStrokeFor('.').code, 47);
    EXPECT_EQ(keyStrokeFor(' ').code, 49);
    EXPECT_EQ(keyStrokeFor('S').code, keyStrokeFor('s').code);
    EXPECT_TRUE(keyStrokeFor('S').shift && keyStrokeFor('?').shift && !keyStrokeFor('s').shift);
    EXPECT_THROW((void)keyStrokeFor('\t'), std::invalid_argument);
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
        DemoSpeech(script.cues, script.log, seed).render(samples);

        std::vector<double> blocks;
        for (int i = 0; i < 600; ++i) blocks.push_back(rootMeanSquare(samples, 0.02 * i, 0.02 * (i + 1)));
        std::sort(blocks.begin(), blocks.end());
        EXPECT_GT(blocks[510], 0.03);  // the 85th percentile, which normalising looks at
        EXPECT_LT(blocks[510], 0.05);
        EXPECT_LT(*std::max_element(samples.begin(), samples.end()), 0.6F);
        EXPECT_GT(*std::min_element(samples.begin(), samples.end()), -0.6F);
        for (std::size_t i = 0; i < script.cues.size(); ++i) {
            EXPECT_GT(rootMeanSquare(samples, script.cues[i].start + 0.1, script.cues[i].end - 0.15), 0.01);
            const double quiet = script.cues[i].end;  // the last sound has ended; keys may tap softly
            EXPECT_LT(rootMeanSquare(samples, quiet, quiet + 0.2), 0.006);
        }
    }
}

TEST(DemoSpeech, audiosTheSameInPiecesOfAnySize) {
    const DemoScript script = writeDemoScript(3, 1920, 1080, 60, 1);
    std::vector<float> whole(3U * DemoSpeech::sampleRate), pieces(whole.size());
    DemoSpeech(script.cues, script.log, 7).render(whole);
    DemoSpeech speech(script.cues, script.log, 7);
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
