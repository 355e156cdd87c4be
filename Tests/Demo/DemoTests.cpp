#include "Demo/Demo.h"

#include "Demo/DemoScript.h"
#include "Demo/Desktop.h"
#include "Demo/DesktopPicture.h"
#include "Demo/FrameMaker.h"
#include "Media/AudioReader.h"
#include "Media/VideoReader.h"

#include <gtest/gtest.h>
#include <unistd.h>

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

/// What the demo shows from frame to frame.
class Show {
public:
    Show(const EventLog& log, int width, int height, std::uint64_t seed)
        : layout_(width, height),
          desktop_(layout_),
          player_(log, desktop_),
          picture_(layout_, width, height, seed) {}
    const cairo_region_t* advance(double time) {
        player_.advance(time);
        return picture_.update(desktop_.state(), time);
    }
    [[nodiscard]] cairo_surface_t* surface() const { return picture_.surface(); }

private:
    demo::DesktopLayout layout_;
    demo::Desktop desktop_;
    demo::LogPlayer player_;
    demo::DesktopPicture picture_;
};

TEST(DemoPicture, redrawingOnlyWhatChangedShowsTheSameAsDrawingEverything) {
    constexpr int width = 640, height = 360;
    const demo::DemoScript script = demo::writeDemoScript(12.5, width, height, 30, 3);
    Show show(script.log, width, height, 3);
    Pixels before;
    double share = 0;
    for (int i = 0; i < 375; ++i) {
        const double time = i / 30.0;
        const cairo_region_t* const changed = show.advance(time);
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
        Show fresh(script.log, width, height, 3);
        (void)fresh.advance(time);
        // Edges that a clip divides may be rounded differently.
        EXPECT_LE(largestDifference(now, pixelsOf(fresh.surface())), 2) << time;
    }
    EXPECT_LT(share / (375.0 * width * height), 0.3);
}

TEST(DemoPicture, everyInputShows) {
    constexpr int width = 960, height = 540;
    const demo::DemoScript script = demo::writeDemoScript(12, width, height, 60, 1);
    Show show(script.log, width, height, 1);
    const auto changesAt = [&show](double time) {
        (void)show.advance(time - 1e-6);
        const Pixels before = pixelsOf(show.surface());
        (void)show.advance(time + 0.1);
        return largestDifference(before, pixelsOf(show.surface())) > 30;
    };
    for (const ClickEvent& click : script.log.clicks)
        if (click.phase == ClickPhase::up && click.t < 6) {
            EXPECT_TRUE(changesAt(click.t)) << click.t;
        }
    Show typing(script.log, width, height, 1);
    for (const KeyEvent& key : script.log.keys) {
        (void)typing.advance(key.t - 1e-6);
        const Pixels before = pixelsOf(typing.surface());
        (void)typing.advance(key.t + 0.02);
        EXPECT_GT(largestDifference(before, pixelsOf(typing.surface())), 15) << key.t;
    }
}

demo::SurfaceHandle filledSurface(int width, int height, std::uint32_t (*pixelAt)(int x, int y)) {
    demo::SurfaceHandle surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            const std::uint32_t pixel = pixelAt(x, y);
            std::memcpy(cairo_image_surface_get_data(surface.get()) +
                            cairo_image_surface_get_stride(surface.get()) * y + 4 * x,
                        &pixel, 4);
        }
    }
    cairo_surface_mark_dirty(surface.get());
    return surface;
}

demo::RegionHandle regionOf(cairo_rectangle_int_t area) {
    return demo::RegionHandle(cairo_region_create_rectangle(&area));
}

TEST(FrameMaker, convertsWithBt709AndChromaOnTheLeft) {
    // Left half red, right half blue, the border at an odd column: the chroma sample at column 4 sits on red with
    // red to its left and blue to its right.
    const auto halves = [](int x, int) { return x <= 4 ? 0xFF0000U : 0x0000FFU; };
    const demo::SurfaceHandle surface = filledSurface(16, 4, halves);
    demo::FrameMaker maker(16, 4);
    const Picture& frame = maker.make(surface.get(), regionOf({0, 0, 16, 4}).get());
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

TEST(FrameMaker, convertingOnlyWhatChangedGivesTheWholePicture) {
    const auto noise = [](int x, int y) {
        return (static_cast<std::uint32_t>(x) * 2654435761U ^ static_cast<std::uint32_t>(y) * 40503U) >> 7U &
               0xFFFFFFU;
    };
    for (const cairo_rectangle_int_t area : {cairo_rectangle_int_t{0, 0, 1, 1}, {5, 3, 9, 7}, {31, 19, 1, 1}}) {
        const demo::SurfaceHandle black = filledSurface(32, 20, [](int, int) { return 0U; });
        demo::FrameMaker partly(32, 20), wholly(32, 20);
        (void)partly.make(black.get(), regionOf({0, 0, 32, 20}).get());
        const demo::SurfaceHandle full = filledSurface(32, 20, noise);
        const demo::ContextHandle context(cairo_create(black.get()));
        cairo_rectangle(context.get(), area.x, area.y, area.width, area.height);
        cairo_set_source_surface(context.get(), full.get(), 0, 0);
        cairo_fill(context.get());
        cairo_surface_flush(black.get());
        const Picture& a = partly.make(black.get(), regionOf(area).get());
        const Picture& b = wholly.make(black.get(), regionOf({0, 0, 32, 20}).get());
        for (int plane = 0; plane < 3; ++plane) {
            const int divisor = plane == 0 ? 1 : 2;
            for (int y = 0; y < 20 / divisor; ++y)
                EXPECT_EQ(std::memcmp(a.plane(plane) + a.stride(plane) * y, b.plane(plane) + b.stride(plane) * y,
                                      static_cast<std::size_t>(32 / divisor)),
                          0)
                    << plane << ", row " << y;
        }
    }
}

class DemoPackage : public testing::Test {
protected:
    DemoPackage() {
        const std::string name = testing::UnitTest::GetInstance()->current_test_info()->name();
        root_ = fs::temp_directory_path() / ("demo-" + name + "-" + std::to_string(::getpid()));
        fs::remove_all(root_);
        fs::create_directories(root_);
    }
    ~DemoPackage() override { fs::remove_all(root_); }
    static DemoOptions small() { return {.seconds = 1.5, .width = 320, .height = 180, .fps = 20, .seed = 6}; }
    [[nodiscard]] static std::size_t entries(const fs::path& folder) {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(folder), fs::directory_iterator()));
    }

    fs::path root_;
};

TEST_F(DemoPackage, isACompleteRecordingWhosePictureFollowsItsLog) {
    std::vector<double> fractions;
    const LumenwhirlPackage package =
        makeDemo(root_ / "a" / "b", small(), [&](double f) { fractions.push_back(f); });
    EXPECT_EQ(package.url(), root_ / "a" / "b" / "Demo.lumenwhirl");
    EXPECT_EQ(entries(root_ / "a" / "b"), 1U);
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
        const Picture& expected = maker.make(show.surface(), changed);
        double error = 0;
        for (int y = 0; y < 180; ++y)
            for (int x = 0; x < 320; ++x)
                error += std::abs(frame->plane(0)[frame->stride(0) * y + x] -
                                  expected.plane(0)[expected.stride(0) * y + x]);
        EXPECT_LT(error / (320.0 * 180), 4) << count;  // what encoding costs
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
    fs::create_directories(place);
    std::ofstream(place / "events.json") << "old";
    std::ofstream(place / "notes.txt") << "old";
    const LumenwhirlPackage package = makeDemo(root_, small());
    EXPECT_FALSE(package.readEvents().cursor.empty());
    EXPECT_FALSE(fs::exists(place / "notes.txt"));
    EXPECT_EQ(entries(root_), 1U);

    fs::remove_all(place);
    fs::create_directories(place);
    std::ofstream(place / "diary.txt") << "precious";
    EXPECT_THROW(makeDemo(root_, small()), DemoError);
    EXPECT_TRUE(fs::exists(place / "diary.txt"));

    fs::remove_all(place);
    std::ofstream(place) << "a file";
    EXPECT_THROW(makeDemo(root_, small()), DemoError);
    EXPECT_TRUE(fs::is_regular_file(place));
    EXPECT_EQ(entries(root_), 1U);
}

TEST_F(DemoPackage, whenStoppedLeavesNothingAndKeepsTheOlderOne) {
    std::stop_source stop;
    const auto stopHalfway = [&stop](double fraction) {
        if (fraction > 0.5) stop.request_stop();
    };
    const auto kindOf = [&](const fs::path& folder) {
        try {
            makeDemo(folder, small(), stopHalfway, stop.get_token());
        } catch (const DemoError& error) {
            return error.kind();
        }
        return DemoError::Kind::invalidOptions;
    };
    EXPECT_EQ(kindOf(root_ / "new" / "folder"), DemoError::Kind::stopped);
    EXPECT_EQ(entries(root_), 0U);

    fs::create_directories(root_ / "Demo.lumenwhirl");
    std::ofstream(root_ / "Demo.lumenwhirl" / "events.json") << "old";
    EXPECT_EQ(kindOf(root_), DemoError::Kind::stopped);
    EXPECT_EQ(entries(root_), 1U);
    EXPECT_TRUE(fs::exists(root_ / "Demo.lumenwhirl" / "events.json"));
}

TEST_F(DemoPackage, refusesWhatCannotBeRecordedBeforeTouchingTheDisk) {
    const auto refused = [this](DemoOptions options) {
        try {
            makeDemo(root_ / "new", options);
        } catch (const DemoError& error) {
            return error.kind() == DemoError::Kind::invalidOptions &&
                   std::string(error.what()).find('\n') == std::string::npos;
        }
        return false;
    };
    for (const double seconds : {0.0, -1.0, 1e9, std::nan("")})
        EXPECT_TRUE(refused({.seconds = seconds})) << seconds;
    EXPECT_TRUE(refused({.width = 1921}));
    EXPECT_TRUE(refused({.width = 0}));
    EXPECT_TRUE(refused({.width = 20000}));
    EXPECT_TRUE(refused({.width = 4000, .height = 200}));
    EXPECT_TRUE(refused({.fps = 0}));
    EXPECT_TRUE(refused({.fps = 1000}));
    EXPECT_EQ(entries(root_), 0U);
}

}  // namespace
}  // namespace lumenwhirl
