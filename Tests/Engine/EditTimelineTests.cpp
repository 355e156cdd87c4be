#include "Engine/Timeline/EditTimeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <random>
#include <vector>

namespace lumenwhirl {
namespace {

using Segment = EditTimeline::Segment;

Timeline recordingOf(double duration) {
    Timeline timeline;
    timeline.duration = duration;
    return timeline;
}

/// Small multiples of half a second, so that edges coincide, nest and repeat; some fields are invalid.
Timeline randomEdit(unsigned seed) {
    std::mt19937 random(seed);
    const auto halves = [&](int low, int high) { return std::uniform_int_distribution(low, high)(random) * 0.5; };
    Timeline timeline = recordingOf(halves(0, 60));
    if (seed % 3 == 0) timeline.trimStart = halves(-4, 20);
    if (seed % 4 == 0) timeline.trimEnd = halves(-4, 70);
    for (double left = halves(0, 24); left > 0; left -= 1) {
        const double start = halves(-8, 64);
        timeline.cuts.push_back({start, start + halves(-2, 6)});
    }
    constexpr double rates[] = {-1, 0, 0.01, 0.5, 1, 2, 3.7, 64};
    for (double left = halves(0, 16); left > 0; left -= 1) {
        const double start = halves(-8, 64);
        timeline.speedRanges.push_back({start, start + halves(-2, 24), rates[random() % std::size(rates)]});
    }
    return timeline;
}

TEST(EditTimeline, trimsKeepWhatLiesBetween) {
    struct Case {
        double trimStart, trimEnd, keptStart, keptEnd;
    };
    // Of 10 s. An end of 0 or less, or beyond the recording, means the end of the recording.
    for (const Case& each : {Case{0, 0, 0, 10}, Case{2, 0, 2, 10}, Case{2, 12, 2, 10}, Case{-3, 7, 0, 7},
                             Case{0, -1, 0, 10}, Case{1, 10, 1, 10}}) {
        Timeline edit = recordingOf(10);
        edit.trimStart = each.trimStart;
        edit.trimEnd = each.trimEnd;
        const EditTimeline timeline(edit);
        const double length = each.keptEnd - each.keptStart;
        EXPECT_EQ(timeline.segments(), (std::vector<Segment>{{0, length, each.keptStart, each.keptEnd, 1}}));
        EXPECT_EQ(timeline.isIdentity(), length == 10);
        EXPECT_EQ(timeline.firstSourceStart(), each.keptStart);
        EXPECT_EQ(timeline.lastSourceEnd(), each.keptEnd);
    }
}

TEST(EditTimeline, aCutShortensTheOutputAndIsJumpedOver) {
    Timeline edit = recordingOf(10);
    edit.cuts = {{3, 5}, {10, 12}, {7, 7}, {9, 8}};  // only the first removes anything
    const EditTimeline timeline(edit);
    EXPECT_EQ(timeline.segments(), (std::vector<Segment>{{0, 3, 0, 3, 1}, {3, 8, 5, 10, 1}}));
    EXPECT_EQ(timeline.outputDuration(), 8);  // 10 s less the 2 s cut
    EXPECT_EQ(timeline.sourceTimeForOutput(4), 6);
    EXPECT_EQ(timeline.outputTimeForSource(6), 4);
    EXPECT_EQ(timeline.outputTimeForSource(4), 8) << "what was cut away maps to the end";
    EXPECT_EQ(timeline.skipTarget(4), 5);
    EXPECT_EQ(timeline.skipTarget(3.0000005), std::nullopt) << "within a microsecond of kept material";
    EXPECT_EQ(timeline.skipTarget(11), std::nullopt) << "nothing follows";
    EXPECT_EQ(timeline.sourceTimeForOutput(-1), 0);
    EXPECT_EQ(timeline.sourceTimeForOutput(99), 10);
}

TEST(EditTimeline, speedRangesStretchTimeAndTheFirstStoredWins) {
    Timeline edit = recordingOf(10);
    edit.speedRanges = {{2, 4, 2}};
    EXPECT_EQ(EditTimeline(edit).segments(),
              (std::vector<Segment>{{0, 2, 0, 2, 1}, {2, 3, 2, 4, 2}, {3, 9, 4, 10, 1}}));

    edit.speedRanges = {{4, 8, 2}, {0, 10, 0.01}, {5, 6, 8}, {7, 9, -1}};
    // 0.01 is raised to 0.05, so that a second of source lasts 20. The edges of ranges that do not win cut too.
    EXPECT_EQ(EditTimeline(edit).segments(), (std::vector<Segment>{{0, 80, 0, 4, 0.05},
                                                                   {80, 80.5, 4, 5, 2},
                                                                   {80.5, 81, 5, 6, 2},
                                                                   {81, 81.5, 6, 7, 2},
                                                                   {81.5, 82, 7, 8, 2},
                                                                   {82, 102, 8, 9, 0.05},
                                                                   {102, 122, 9, 10, 0.05}}));
    EXPECT_EQ(EditTimeline(edit).rateForOutput(80), 2);
    EXPECT_EQ(EditTimeline(edit).rateForOutput(122), 0.05);
}

TEST(EditTimeline, anEditThatRemovesEverythingShowsTheWholeRecording) {
    Timeline edit = recordingOf(10);
    edit.cuts = {{6, 20}, {-5, 6}};
    EXPECT_TRUE(EditTimeline(edit).isIdentity());
    edit = recordingOf(10);
    edit.trimStart = 8;
    edit.trimEnd = 4;
    EXPECT_TRUE(EditTimeline(edit).isIdentity());
    EXPECT_EQ(EditTimeline(recordingOf(-3)).outputDuration(), 0);
}

/// The rate of the half second of source that begins at `start`; none where it is removed.
std::optional<double> rateOf(double start, const Timeline& edit) {
    const auto isIn = [start](const auto& range) { return range.start <= start && start < range.end; };
    const bool endsEarly = edit.trimEnd > 0 && edit.trimEnd <= edit.duration;
    if (!isIn(TimeRange{edit.trimStart, endsEarly ? edit.trimEnd : edit.duration})) return std::nullopt;
    if (std::any_of(edit.cuts.begin(), edit.cuts.end(), isIn)) return std::nullopt;
    for (const SpeedRange& range : edit.speedRanges)
        if (isIn(range) && range.rate > 0) return std::max(range.rate, 0.05);
    return 1;
}

TEST(EditTimeline, everyHalfSecondIsShownAsTheEditSays) {
    for (unsigned seed = 0; seed < 3000; ++seed) {
        SCOPED_TRACE(seed);
        const Timeline edit = randomEdit(seed);
        const EditTimeline timeline(edit);
        std::vector<std::optional<double>> rates;
        for (double t = 0; t < edit.duration; t += 0.5) rates.push_back(rateOf(t, edit));
        if (std::none_of(rates.begin(), rates.end(), [](const auto& rate) { return rate.has_value(); }))
            std::fill(rates.begin(), rates.end(), 1);  // nothing would be left
        std::optional<double> next;                    // the start of what is kept after the half second
        double outEnd = timeline.outputDuration();
        for (std::size_t i = rates.size(); i-- > 0;) {
            const double start = 0.5 * static_cast<double>(i), middle = start + 0.25;
            if (!rates[i]) {
                ASSERT_EQ(timeline.skipTarget(middle), next);
                const bool isBeforeAll =
                    std::none_of(rates.begin(), rates.begin() + static_cast<std::ptrdiff_t>(i),
                                 [](const auto& rate) { return rate.has_value(); });
                ASSERT_EQ(timeline.outputTimeForSource(middle), isBeforeAll ? 0 : timeline.outputDuration());
                continue;
            }
            const double output = outEnd - 0.25 / *rates[i];
            ASSERT_EQ(timeline.skipTarget(middle), std::nullopt);
            ASSERT_NEAR(timeline.outputTimeForSource(middle), output, 1e-9);
            ASSERT_NEAR(timeline.sourceTimeForOutput(output), middle, 1e-9);
            ASSERT_EQ(timeline.rateForOutput(output), *rates[i]);
            outEnd -= 0.5 / *rates[i];
            next = start;
        }
        ASSERT_NEAR(outEnd, 0, 1e-9);
    }
}

TEST(EditTimeline, mapsBackAndForthAndNeverBackwards) {
    for (unsigned seed = 0; seed < 300; ++seed) {
        SCOPED_TRACE(seed);
        const EditTimeline timeline(randomEdit(seed));
        double previous = timeline.firstSourceStart();
        for (int step = 0; step <= 500; ++step) {
            const double output = step * timeline.outputDuration() / 500;
            const double source = timeline.sourceTimeForOutput(output);
            ASSERT_GE(source, previous);
            ASSERT_EQ(timeline.skipTarget(source), std::nullopt);
            ASSERT_NEAR(timeline.outputTimeForSource(source), output, 1e-9 * (1 + timeline.outputDuration()));
            previous = source;
        }
    }
}

TEST(EditTimeline, survivesInvalidTimes) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    constexpr double nan = std::numeric_limits<double>::quiet_NaN();
    for (const double odd : {infinity, -infinity, nan, 1e308}) {
        Timeline edit{odd, odd, odd, {{odd, 5}, {1, odd}, {odd, odd}}, {{odd, 5, odd}, {1, odd, 2}}};
        for (const double duration : {10.0, odd}) {
            edit.duration = duration;
            const EditTimeline timeline(edit);
            EXPECT_FALSE(timeline.segments().empty());
            for (const double t : {odd, 3.0}) {
                (void)timeline.sourceTimeForOutput(t);
                (void)timeline.outputTimeForSource(t);
                (void)timeline.skipTarget(t);
            }
        }
    }
}

}  // namespace
}  // namespace lumenwhirl
