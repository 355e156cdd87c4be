#include "Engine/Timeline/EditTimeline.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <set>
#include <vector>

namespace lumenwhirl {
namespace {

using Segment = EditTimeline::Segment;

Timeline recordingOf(double duration) {
    Timeline timeline;
    timeline.duration = duration;
    return timeline;
}

/// The mapping by definition, step by step, however slow.
class Reference {
public:
    explicit Reference(const Timeline& timeline) : sourceDuration(std::max(timeline.duration, 0.0)) {
        const double d = sourceDuration;
        const double a = std::max(std::min(d, timeline.trimStart), 0.0);
        const double b = timeline.trimEnd > 0 && timeline.trimEnd <= d ? timeline.trimEnd : d;
        std::vector<TimeRange> pieces;
        if (a < b) pieces.push_back({a, b});
        std::vector<SpeedRange> parts;
        for (const TimeRange& piece : subtract(timeline.cuts, pieces))
            applySpeed(piece, timeline.speedRanges, parts);
        std::stable_sort(parts.begin(), parts.end(),
                         [](auto& left, auto& right) { return left.start < right.start; });
        for (const SpeedRange& part : parts) {
            if (part.start >= part.end) continue;
            const double rate = std::max(part.rate, 0.05);
            const double end = outputDuration + (part.end - part.start) / rate;
            segments.push_back({outputDuration, end, part.start, part.end, rate});
            outputDuration = end;
        }
        if (!segments.empty()) return;
        segments.push_back({0, d, 0, d, 1});
        outputDuration = d;
    }

    [[nodiscard]] double sourceTimeForOutput(double t) const {
        t = std::min(std::max(t, 0.0), outputDuration);
        for (const Segment& each : segments)
            if (each.outStart <= t && t < each.outEnd) return each.srcStart + (t - each.outStart) * each.rate;
        return segments.back().srcStart + (t - segments.back().outStart) * segments.back().rate;
    }
    [[nodiscard]] double rateForOutput(double t) const {
        t = std::min(std::max(t, 0.0), outputDuration);
        for (const Segment& each : segments)
            if (each.outStart <= t && t < each.outEnd) return each.rate;
        return segments.back().rate;
    }
    [[nodiscard]] double outputTimeForSource(double s) const {
        for (const Segment& each : segments)
            if (each.srcStart <= s && s <= each.srcEnd) return each.outStart + (s - each.srcStart) / each.rate;
        return s < segments.front().srcStart ? 0 : outputDuration;
    }
    [[nodiscard]] std::optional<double> skipTarget(double s) const {
        for (const Segment& each : segments)
            if (each.srcStart - 0.000001 <= s && s <= each.srcEnd + 0.000001) return std::nullopt;
        for (const Segment& each : segments)
            if (s < each.srcStart) return each.srcStart;
        return std::nullopt;
    }

    std::vector<Segment> segments;
    double outputDuration = 0, sourceDuration;

private:
    static std::vector<TimeRange> subtract(std::vector<TimeRange> cuts, const std::vector<TimeRange>& intervals) {
        std::erase_if(cuts, [](const TimeRange& cut) { return !(cut.start < cut.end); });
        std::stable_sort(cuts.begin(), cuts.end(),
                         [](auto& left, auto& right) { return left.start < right.start; });
        std::vector<TimeRange> all;
        for (const TimeRange& interval : intervals) {
            std::vector<TimeRange> pieces{interval};
            for (const TimeRange& cut : cuts) {
                std::vector<TimeRange> next;
                for (const TimeRange& piece : pieces) {
                    const bool overlaps = cut.end > piece.start && piece.end > cut.start;
                    if (!overlaps) next.push_back(piece);
                    if (overlaps && piece.start < cut.start) next.push_back({piece.start, cut.start});
                    if (overlaps && cut.end < piece.end) next.push_back({cut.end, piece.end});
                }
                pieces = next;
            }
            all.insert(all.end(), pieces.begin(), pieces.end());
        }
        return all;
    }

    static void applySpeed(TimeRange piece, const std::vector<SpeedRange>& speeds,
                           std::vector<SpeedRange>& parts) {
        if (speeds.empty()) return parts.push_back({piece.start, piece.end, 1});
        std::set<double> boundaries{piece.start, piece.end};
        for (const SpeedRange& each : speeds) {
            if (!(each.start < each.end)) continue;
            if (piece.start < each.start && each.start < piece.end) boundaries.insert(each.start);
            if (piece.start < each.end && each.end < piece.end) boundaries.insert(each.end);
        }
        for (auto u = boundaries.begin(), v = std::next(u); v != boundaries.end(); ++u, ++v) {
            const double m = (*u + *v) * 0.5;
            const auto first = std::find_if(speeds.begin(), speeds.end(), [&](const SpeedRange& each) {
                return each.start <= m && m < each.end && each.rate > 0;
            });
            parts.push_back({*u, *v, first == speeds.end() ? 1 : first->rate});
        }
    }
};

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
    constexpr double rates[] = {-1, 0, 0.01, 0.5, 1, 2, 3.7, 1e300};
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

TEST(EditTimeline, equalsItsDefinitionForRandomEdits) {
    for (unsigned seed = 0; seed < 3000; ++seed) {
        SCOPED_TRACE(seed);
        const Timeline edit = randomEdit(seed);
        const Reference expected(edit);
        const EditTimeline timeline(edit);
        ASSERT_EQ(timeline.segments(), expected.segments);
        ASSERT_EQ(timeline.outputDuration(), expected.outputDuration);
        for (double t = -1; t < 62; t += 0.25) {
            const double output = t * expected.outputDuration / 60;
            ASSERT_EQ(timeline.sourceTimeForOutput(output), expected.sourceTimeForOutput(output));
            ASSERT_EQ(timeline.rateForOutput(output), expected.rateForOutput(output));
            for (const double source : {t, t + 0.0000005, t - 0.000002}) {
                ASSERT_EQ(timeline.outputTimeForSource(source), expected.outputTimeForSource(source));
                ASSERT_EQ(timeline.skipTarget(source), expected.skipTarget(source));
            }
        }
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

TEST(EditTimeline, longEditsAreQuickToBuild) {
    // 100,000 cuts under 100,000 nested speed ranges: anything quadratic would take minutes.
    constexpr int count = 100'000;
    Timeline edit = recordingOf(count);
    for (int index = count - 1; index >= 0; --index) {
        edit.cuts.push_back({index + 0.25, index + 0.5});
        edit.speedRanges.push_back({index + 0.75, count - index * 0.25, 2});
    }
    const EditTimeline timeline(edit);
    EXPECT_GT(timeline.segments().size(), 2 * std::size_t{count});
    EXPECT_EQ(timeline.skipTarget(77'000.4), 77'000.5);
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
