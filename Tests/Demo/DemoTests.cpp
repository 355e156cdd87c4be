#include "Demo/Demo.h"

#include "Demo/DemoScript.h"
#include "Demo/DesktopPicture.h"
#include "Demo/FrameMaker.h"
#include "Media/AudioReader.h"
#include "Media/VideoReader.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;

using Pixels = std::vector<std::uint32_t>;

Pixels pixelsOf(cairo_surface_t* surface) {
    const int width = cairo_image_surface_get_width(surface), height = cairo_image_surface_get_height(surface);
    const auto columns = static_cast<std::size_t>(width);
    Pixels pixels(columns * static_cast<std::size_t>(height));
    for (int y = 0; y < height; ++y) {
        std::memcpy(pixels.data() + columns * static_cast<std::size_t>(y),
                    cairo_image_surface_get_data(surface) + cairo_image_surface_get_stride(surface) * y,
                    4 * columns);
    }
    for (std::uint32_t& pixel : pixels) pixel &= 0xFFFFFFU;
    return pixels;
}

int largestDifference(const Pixels& a, const Pixels& b) {
    int largest = 0;
    for (std::size_t i = 0; i < a.size(); ++i)
        for (const unsigned shift : {0U, 8U, 16U})
            largest = std::max(largest, std::abs(static_cast<int>(a[i] >> shift & 255U) -
                                                 static_cast<int>(b[i] >> shift & 255U)));
    return largest;
}

/// The mean difference of luma.
double lumaDifference(const Picture& a, const Picture& b) {
    double sum = 0;
    for (int y = 0; y < a.height(); ++y)
        for (int x = 0; x < a.width(); ++x)
            sum += std::abs(a.plane(0)[a.stride(0) * y + x] - b.plane(0)[b.stride(0) * y + x]);
    return sum / a.width() / a.height();
}

bool areEqual(const Picture& a, const Picture& b) {
    for (int plane = 0; plane < 3; ++plane)
        for (int y = 0; y < a.height() / (plane == 0 ? 1 : 2); ++y)
            if (std::memcmp(a.plane(plane) + a.stride(plane) * y, b.plane(plane) + b.stride(plane) * y,
                            static_cast<std::size_t>(a.width() / (plane == 0 ? 1 : 2))) != 0)
                return false;
    return true;
}

demo::CairoRegion wholeOf(int width, int height) {
    const cairo_rectangle_int_t area{0, 0, width, height};
    return demo::CairoRegion(cairo_region_create_rectangle(&area));
}

/// What the demo shows from frame to frame.
class Show {
public:
    Show(const EventLog& log, int width, int height, std::uint64_t seed)
        : desktop_(demo::Layout(width, height)), player_(log, desktop_), picture_(width, height, seed) {}
    const cairo_region_t* advance(double time) {
        player_.advance(time);
        return picture_.update(desktop_, time);
    }
    [[nodiscard]] cairo_surface_t* surface() const { return picture_.surface(); }

private:
    demo::Desktop desktop_;
    demo::LogPlayer player_;
    demo::DesktopPicture picture_;
};

TEST(DemoPicture, redrawingOnlyWhatChangedShowsTheSameAsDrawingEverything) {
    constexpr int width = 640, height = 360;
    const demo::DemoScript script = demo::writeDemoScript(12.5, width, height, 30, 3);
    Show show(script.log, width, height, 3);
    demo::FrameMaker maker(width, height);
    Pixels before;
    double share = 0;
    for (int i = 0; i < 375; ++i) {
        const double time = i / 30.0;
        const cairo_region_t* const changed = show.advance(time);
        const Picture frame = maker.make(show.surface(), changed);
        const Pixels now = pixelsOf(show.surface());
        for (int at = 0; at < width * height; ++at) {
            const auto index = static_cast<std::size_t>(at);
            const bool isIn = cairo_region_contains_point(changed, at % width, at / width) != 0;
            share += isIn ? 1 : 0;
            if (!before.empty() && now[index] != before[index]) {
                ASSERT_TRUE(isIn) << time << ", pixel " << at;
            }
        }
        before = now;
        if (i % 23 != 0 && i != 332 && i != 340) continue;  // two times are while the appearance changes
        EXPECT_TRUE(
            areEqual(frame, demo::FrameMaker(width, height).make(show.surface(), wholeOf(width, height).get())))
            << time;
        Show fresh(script.log, width, height, 3);
        (void)fresh.advance(time);
        // Edges that a clip divides may be rounded differently.
        EXPECT_LE(largestDifference(now, pixelsOf(fresh.surface())), 2) << time;
    }
    EXPECT_LT(share / (375.0 * width * height), 0.3);
}

TEST(DemoPicture, showsEveryClickAndKey) {
    constexpr int width = 960, height = 540;
    const demo::DemoScript script = demo::writeDemoScript(12, width, height, 60, 1);
    const auto changes = [](Show& show, double time, double later) {
        (void)show.advance(time - 1e-6);
        const Pixels before = pixelsOf(show.surface());
        (void)show.advance(time + later);
        return largestDifference(before, pixelsOf(show.surface()));
    };
    Show clicking(script.log, width, height, 1), typing(script.log, width, height, 1);
    for (const ClickEvent& click : script.log.clicks)
        if (click.phase == ClickPhase::up && click.t < 6) {
            EXPECT_GT(changes(clicking, click.t, 0.1), 30) << click.t;
        }
    for (const KeyEvent& key : script.log.keys) EXPECT_GT(changes(typing, key.t, 0.02), 15) << key.t;
}

TEST(FrameMaker, convertsWithBt709AndChromaOnTheLeft) {
    // Left half red, right half blue, the border at an odd column: the chroma sample at column 4 sits on red with
    // red to its left and blue to its right.
    const demo::CairoSurface surface = demo::makeSurface(16, 4);
    const demo::CairoContext context(cairo_create(surface.get()));
    cairo_set_source_rgb(context.get(), 0, 0, 1);
    cairo_paint(context.get());
    cairo_set_source_rgb(context.get(), 1, 0, 0);
    cairo_rectangle(context.get(), 0, 0, 5, 4);
    cairo_fill(context.get());
    cairo_surface_flush(surface.get());
    demo::FrameMaker maker(16, 4);
    const Picture frame = maker.make(surface.get(), wholeOf(16, 4).get());
    // Y = 16 + 219 * 0.2126 = 62.6 and 16 + 219 * 0.0722 = 31.8; red: U = 128 - 224 * 0.2126 / 1.8556 = 102.3,
    // V = 240; blue: U = 240, V = 128 - 224 * 0.0722 / 1.5748 = 117.7.
    EXPECT_EQ(frame.plane(0)[4], 63);
    EXPECT_EQ(frame.plane(0)[5], 32);
    EXPECT_EQ(frame.plane(1)[0], 102);
    EXPECT_EQ(frame.plane(2)[0], 240);
    EXPECT_EQ(frame.plane(1)[7], 240);
    EXPECT_EQ(frame.plane(2)[7], 118);
    EXPECT_NEAR(frame.plane(1)[2], 0.75 * 102.3 + 0.25 * 240, 1);  // weights 1 2 1: three quarters red
}

class DemoPackage : public testing::Test {
protected:
    static DemoOptions small() { return {.seconds = 1.5, .width = 320, .height = 180, .fps = 20, .seed = 6}; }
    [[nodiscard]] static std::size_t entries(const fs::path& folder) {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }
    static void write(const fs::path& file) {
        fs::create_directories(file.parent_path());
        std::ofstream(file) << "old";
    }
    /// Why no demo was made; none if one was.
    [[nodiscard]] static std::optional<DemoError::Kind> failureOf(const fs::path& folder,
                                                                  const DemoOptions& options,
                                                                  std::stop_source* stopAtHalf = nullptr) {
        const auto progress = [stopAtHalf](double fraction) {
            if (stopAtHalf != nullptr && fraction > 0.5) stopAtHalf->request_stop();
        };
        try {
            (void)makeDemo(folder, options, progress,
                           stopAtHalf != nullptr ? stopAtHalf->get_token() : std::stop_token());
        } catch (const DemoError& error) {
            EXPECT_EQ(std::string(error.what()).find('\n'), std::string::npos);
            return error.kind();
        }
        return std::nullopt;
    }

    TemporaryFolder root_;
};

TEST_F(DemoPackage, isACompleteRecordingWhosePictureFollowsItsLog) {
    std::vector<double> fractions;
    const fs::path folder = root_ / "a/b";
    const LumenwhirlPackage package = makeDemo(folder, small(), [&](double f) { fractions.push_back(f); });
    EXPECT_EQ(package.url(), folder / "Demo.lumenwhirl");
    EXPECT_EQ(entries(folder), 1U);
    EXPECT_TRUE(std::is_sorted(fractions.begin(), fractions.end()));
    EXPECT_EQ(fractions.back(), 1);

    const EventLog log = package.readEvents();
    const demo::DemoScript script = demo::writeDemoScript(1.5, 320, 180, 20, 6);
    EXPECT_EQ(log, script.log);
    const ProjectSettings project = package.readProject();
    EXPECT_EQ(project.timeline.duration, 1.5);
    EXPECT_TRUE(project.zoom.automatic && project.zoom.segments.empty());
    EXPECT_EQ(project.audio, (AudioInfo{true, true, false}));
    ASSERT_TRUE(project.captions && project.keystrokes);
    EXPECT_TRUE(project.captions->enabled && project.keystrokes->enabled);
    EXPECT_EQ(project.captions->cues, script.cues);

    VideoReader reader(package.recordingURL());
    EXPECT_EQ(reader.info().width, 320);
    EXPECT_EQ(reader.info().height, 180);
    Show show(log, 320, 180, 6);
    demo::FrameMaker maker(320, 180);
    int count = 0;
    for (; const std::optional<VideoFrame> frame = reader.next(); ++count) {
        EXPECT_NEAR(frame->time(), count / 20.0, 1e-6);
        const cairo_region_t* const changed = show.advance(count / 20.0);
        EXPECT_LT(lumaDifference(*frame, maker.make(show.surface(), changed)), 4) << count;  // what encoding costs
    }
    EXPECT_EQ(count, 30);

    AudioReader audio(package.recordingURL());
    EXPECT_EQ(audio.sampleRate(), 48000);
    AudioBuffer buffer;
    std::size_t samples = 0;
    while (audio.read(buffer, 4096)) samples += buffer.frames();
    EXPECT_NEAR(static_cast<double>(samples), 1.5 * 48000, 2048);
}

TEST_F(DemoPackage, replacesAnOlderOneButNothingElse) {
    const fs::path place = root_ / "Demo.lumenwhirl";
    write(place / "events.json");
    write(place / "notes.txt");
    const LumenwhirlPackage package = makeDemo(root_.path(), small());
    EXPECT_FALSE(package.readEvents().cursor.empty());
    EXPECT_FALSE(fs::exists(place / "notes.txt"));
    EXPECT_EQ(entries(root_.path()), 1U);

    fs::remove_all(place);
    write(place / "diary.txt");
    EXPECT_EQ(failureOf(root_.path(), small()), DemoError::Kind::cannotWrite);
    EXPECT_TRUE(fs::exists(place / "diary.txt"));

    fs::remove_all(place);
    write(place);
    EXPECT_EQ(failureOf(root_.path(), small()), DemoError::Kind::cannotWrite);
    EXPECT_TRUE(fs::is_regular_file(place));
    EXPECT_EQ(entries(root_.path()), 1U);
}

TEST_F(DemoPackage, whenStoppedLeavesNothingAndKeepsTheOlderOne) {
    std::stop_source stop;
    EXPECT_EQ(failureOf(root_ / "new/folder", small(), &stop), DemoError::Kind::stopped);
    EXPECT_TRUE(root_.isEmpty());

    write(root_ / "Demo.lumenwhirl/events.json");
    EXPECT_EQ(failureOf(root_.path(), small(), &stop), DemoError::Kind::stopped);
    EXPECT_EQ(entries(root_.path()), 1U);
    EXPECT_TRUE(fs::exists(root_ / "Demo.lumenwhirl/events.json"));
}

TEST_F(DemoPackage, refusesWhatCannotBeRecordedBeforeTouchingTheDisk) {
    const std::vector<DemoOptions> impossible{
        {.seconds = 0},  {.seconds = -1}, {.seconds = 1e9}, {.seconds = std::nan("")},
        {.width = 1921}, {.width = 0},    {.width = 20000}, {.width = 4000, .height = 200},
        {.fps = 0},      {.fps = 1000}};
    for (std::size_t i = 0; i < impossible.size(); ++i)
        EXPECT_EQ(failureOf(root_ / "new", impossible[i]), DemoError::Kind::invalidOptions) << i;
    EXPECT_TRUE(root_.isEmpty());
}

}  // namespace
}  // namespace lumenwhirl
