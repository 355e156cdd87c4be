#include "Media/ImageReader.h"
#include "Recorder/Package/EventJournal.h"
#include "Tests/EndToEnd/RecordTest.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <random>
#include <tuple>

namespace lumenwhirl::test {
namespace {

namespace fs = std::filesystem;

constexpr std::uint32_t black = 0, white = 0xFFFFFF, grey = 0x808080;
constexpr int whiteLuma = 235, greyLuma = 126, blackLuma = 16;
constexpr int leftSuper = 133, leftShift = 50, keyTwo = 11, keyS = 39;  // X key codes
constexpr double framePeriod = 1.0 / 60;

/// Where the bright pixels are.
struct Box {
    int left = 1 << 20, top = 1 << 20, right = -1, bottom = -1;  // inclusive
    [[nodiscard]] bool isEmpty() const { return right < 0; }
    void add(int x, int y) {
        left = std::min(left, x);
        top = std::min(top, y);
        right = std::max(right, x);
        bottom = std::max(bottom, y);
    }
};

Box brightPart(const Picture& frame) {
    Box box;
    for (int y = 0; y < frame.height(); ++y)
        for (int x = 0; x < frame.width(); ++x)
            if (lumaAt(frame, x, y) > 60) box.add(x, y);
    return box;
}

/// When the pointer was first at that place; -1 if it never was.
double arrivalAt(const EventLog& log, double x) {
    const auto arrival =
        std::ranges::find_if(log.cursor, [x](const CursorSample& sample) { return std::abs(sample.x - x) <= 2; });
    return arrival != log.cursor.end() ? arrival->t : -1;
}

/// Expects an event's time to fit the frames around its effect, which took up to `delay` seconds to appear.
void expectInStep(double eventTime, const std::optional<Appearance>& effect, double delay) {
    constexpr double tolerance = 0.01;
    ASSERT_TRUE(effect);
    EXPECT_LE(eventTime, effect->time + tolerance);
    EXPECT_GE(eventTime, effect->before - tolerance - delay);
}

TEST_F(RecordTest, aDisplayWithItsInputAndWithoutTheCursor) {
    display.startWindowManager();
    TestWindow window(user, {.x = 40, .y = 60, .width = 120, .height = 80, .color = grey});
    user.movePointer(500, 300);
    record();

    // The window answers each action at once, by its colour or position.
    double longest = 0;
    const auto answered = [&](const std::function<void()>& act, const std::function<void()>& answer) {
        const double start = clock.now();
        act();
        answer();
        user.finish();
        longest = std::max(longest, clock.now() - start);
    };
    const auto pause = [&] { clock.sleep(0.1, {}); };
    answered([&] { user.movePointer(250, 130); }, [&] { window.move(200, 60); });
    pause();
    answered([&] { user.setButton(1, true); }, [&] { window.fill(white); });
    user.setButton(1, false);
    pause();
    answered([&] { user.setButton(5, true); }, [&] { window.move(360, 200); });
    user.setButton(5, false);
    pause();
    user.setKey(leftSuper, true);
    answered([&] { user.setKey(keyS, true); }, [&] { window.fill(grey); });
    user.setKey(keyS, false);
    user.setKey(leftSuper, false);
    pause();
    stop();

    const EventLog log = package.readEvents();
    const std::vector<VideoFrame> frames = framesOf(package.recordingURL());
    ASSERT_GT(frames.size(), 4U);
    EXPECT_EQ(log.recording.display.pixelWidth, 640);
    for (const Picture& frame : frames) {
        EXPECT_EQ(frame.width(), 640);
        // Around the pointer there is one colour, whichever.
        const int luma = lumaAt(frame, 250, 130);
        for (int y = 125; y < 150; ++y)
            for (int x = 245; x < 265; ++x) ASSERT_NEAR(lumaAt(frame, x, y), luma, 8) << "the cursor shows";
    }
    const auto first = brightPart(frames.front());
    EXPECT_LT(first.left, 50);

    ASSERT_FALSE(log.cursor.empty());
    EXPECT_NEAR(log.cursor.back().x, 250, 2);
    EXPECT_NEAR(log.cursor.back().y, 130, 2);
    expectInStep(arrivalAt(log, 250),
                 firstFrame(frames, [](const Picture& frame) { return brightPart(frame).left > 150; }), longest);
    ASSERT_EQ(log.clicks.size(), 2U);
    EXPECT_EQ(log.clicks[0].phase, ClickPhase::down);
    EXPECT_EQ(log.clicks[1].phase, ClickPhase::up);
    EXPECT_NEAR(log.clicks[0].x, 250, 2);
    EXPECT_NEAR(log.clicks[0].y, 130, 2);
    expectInStep(log.clicks[0].t,
                 firstFrame(frames, [](const Picture& frame) { return lumaAt(frame, 300, 120) > 200; }), longest);
    ASSERT_EQ(log.scroll.size(), 1U);
    EXPECT_EQ(log.scroll[0].dy, -1);
    expectInStep(log.scroll[0].t,
                 firstFrame(frames, [](const Picture& frame) { return brightPart(frame).left > 300; }), longest);
    ASSERT_EQ(log.keys.size(), 1U);
    EXPECT_EQ(log.keys[0].chars, "s");
    EXPECT_EQ(log.keys[0].modifiers, std::vector<std::string>{"cmd"});
    expectInStep(
        log.keys[0].t,
        firstFrame(frames, [](const Picture& frame) { return std::abs(lumaAt(frame, 420, 270) - greyLuma) < 8; }),
        longest);
}

TEST_F(RecordTest, theSecondOfTwoMonitorsAtTwiceTheDensity) {
    user.setMonitor("LEFT", 0, 0, 320, 360, true);
    user.setMonitor("RIGHT", 320, 0, 320, 360, false);
    user.setResources("Xft.dpi:\t192\n");
    TestWindow left(user, {.x = 0, .y = 0, .width = 320, .height = 360, .color = white});
    TestWindow right(user, {.x = 420, .y = 100, .width = 100, .height = 60, .color = grey});
    const Json listed = targets();
    ASSERT_EQ(listed.count("/displays"), 2U);
    EXPECT_EQ(listed.text("/displays/1/name"), "RIGHT");
    EXPECT_EQ(listed.number("/displays/1/displayInfo/scaleFactor"), 2);
    EXPECT_EQ(listed.number("/displays/1/displayInfo/pointWidth"), 160);
    EXPECT_EQ(listed.number("/displays/1/displayInfo/globalOriginX"), 160);

    record({"--display", listed.json("/displays/1/id")});
    user.movePointer(10, 50);  // on the other one: at this one's edge
    user.movePointer(470, 130);
    user.movePointer(450, 121);
    user.setButton(3, true);
    user.setButton(3, false);  // and there it stays: a click is where the pointer is once the recorder asks
    clock.sleep(0.1, {});
    stop();
    const std::vector<VideoFrame> frames = framesOf(package.recordingURL());
    ASSERT_FALSE(frames.empty());
    EXPECT_EQ(frames[0].width(), 320);
    const Box box = brightPart(frames[0]);
    EXPECT_NEAR(box.left, 100, 1);
    EXPECT_NEAR(box.right, 199, 1);
    EXPECT_NEAR(box.top, 100, 1);
    const EventLog log = package.readEvents();
    ASSERT_EQ(log.clicks.size(), 2U);
    EXPECT_EQ(log.clicks[0].button, MouseButton::right);
    EXPECT_NEAR(log.clicks[0].x, 130, 2);
    EXPECT_NEAR(log.clicks[0].y, 121, 2);
    for (const CursorSample& sample : log.cursor) EXPECT_GE(sample.x, 0);
    EXPECT_EQ(log.recording.display.pointWidth, 160);
}

TEST_F(RecordTest, theExportDrawsTheCursorWhereThePointerWas) {
    record();
    for (const int x : {200, 400}) {
        user.movePointer(x, x < 300 ? 120 : 240);
        clock.sleep(0.2, {});
    }
    stop();

    // The picture fills the canvas, so that pixels of the one are pixels of the other.
    ProjectSettings project = package.readProject();
    project.style.background = {.type = "solid", .preset = std::nullopt, .color = "#000000", .path = std::nullopt};
    project.style.padding = project.style.cornerRadius = 0;
    project.style.shadow = "none";
    project.cursor.smoothing = CursorSmoothing::off;
    project.zoom.automatic = false;
    package.writeProject(project);
    const EventLog log = package.readEvents();
    const auto drawn = [&](double time) {
        const std::string picture = folder / "frame.png";
        const Outcome outcome =
            Program::run({"frame", package.url().string(), "--at", std::to_string(time), "-o", picture});
        EXPECT_EQ(outcome.status, 0) << outcome.errors;
        const Image image = readImage(picture);
        EXPECT_EQ(image.width, 640);
        Box box;
        for (int y = 0; y < image.height; ++y)
            for (int x = 0; x < image.width; ++x)
                if (image.row(y)[4 * x] > 100) box.add(x, y);
        return box;
    };
    // An arrow, whose tip is its top-left corner.
    const Box before = drawn(arrivalAt(log, 200) + 0.1), after = drawn(arrivalAt(log, 400) + 0.1);
    EXPECT_NEAR(before.left, 200, 2);
    EXPECT_NEAR(before.top, 120, 2);
    EXPECT_NEAR(after.left, 400, 2);
    EXPECT_NEAR(after.top, 240, 2);
    EXPECT_EQ(run({"export", package.url().string(), "-o", folder / "out.mp4", "--preset", "web"}).status, 0);
    EXPECT_GT(framesOf(folder / "out.mp4").size(), 10U);
}

TEST_F(RecordTest, nothingOlderThanASecondIsLostWhenItIsKilled) {
    std::mt19937 random{std::random_device{}()};
    const double life = std::uniform_real_distribution(0.0, 3.0)(random);
    SCOPED_TRACE(life);
    TestWindow window(user, {.x = 0, .y = 0, .width = 64, .height = 64, .color = black});
    Program& recorder = record();
    const double start = clock.now();
    // Every tenth of a second the pointer and the picture move on.
    std::vector<double> steps;
    while (clock.now() - start < life) {
        user.movePointer(10 + 5 * static_cast<int>(steps.size()), 200);
        window.fill(steps.size() % 2 == 0 ? white : black);
        user.finish();
        steps.push_back(clock.now());
        clock.sleep(0.1, {});
    }
    const double end = clock.now();
    recorder.send(SIGKILL);
    EXPECT_EQ(recorder.wait().status, -SIGKILL);

    const std::string video = folder / "out.mp4";
    const Outcome outcome = run({"export", package.url().string(), "-o", video, "--encoder", "software"});
    if (end - start < 1 && outcome.status != 0) {
        EXPECT_NE(outcome.errors.find("before anything could be saved"), std::string::npos) << outcome.errors;
        return;
    }
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    EXPECT_NE(outcome.errors.find("had been cut short"), std::string::npos);
    const EventLog log = package.readEvents();
    const std::vector<VideoFrame> frames = framesOf(package.recordingURL());
    ASSERT_FALSE(frames.empty());
    const double zero = log.recording.startHostTime;
    EXPECT_GE(frames.back().time() + framePeriod, end - zero - 1) << "the picture ends too early";
    for (std::size_t i = 0; i < steps.size() && steps[i] < end - 1; ++i) {
        const double x = 10 + 5 * static_cast<double>(i);
        EXPECT_TRUE(std::any_of(log.cursor.begin(), log.cursor.end(),
                                [&](const CursorSample& sample) { return sample.x == x; }))
            << "move " << i << " is lost";
    }
    const Outcome again = run({"inspect", package.url().string()});
    EXPECT_EQ(again.status, 0);
    EXPECT_EQ(again.errors, "");  // recovery is told once
}

TEST_F(RecordTest, endsBySignalHotKeyTimeAndWithItsTarget) {
    const auto expectEnd = [&](const std::string& notice) {
        const Outcome outcome = program->wait();
        EXPECT_EQ(outcome.status, 0);
        EXPECT_NE(outcome.errors.find(notice), std::string::npos) << outcome.errors;
        EXPECT_FALSE(framesOf(package.recordingURL()).empty());
        const EventLog log = package.readEvents();
        EXPECT_TRUE(log.keys.empty());  // the stop key is not part of the recording
        const double duration = package.readProject().timeline.duration;
        fs::remove_all(package.url());
        return duration;
    };
    for (const int signal : {SIGTERM, SIGHUP}) {
        record().send(signal);
        expectEnd("");
    }
    record();
    for (int i = 0; i < 100; ++i) program->send(SIGTERM);  // timeout(1) sends two
    expectEnd("");

    record();
    user.setKey(leftSuper, true);
    user.setKey(leftShift, true);
    user.setKey(keyTwo, true);
    user.setKey(keyTwo, false);
    user.setKey(leftShift, false);
    user.setKey(leftSuper, false);
    expectEnd("");

    record({"--seconds", "0.5"});
    EXPECT_NEAR(expectEnd(""), 0.5, 0.2);

    {
        TestWindow window(user, {.width = 300, .height = 200});
        record({"--window", std::to_string(window.id())});
    }
    expectEnd("the recording has ended: the window was closed");

    record();
    user.setScreenSize(320, 240);
    expectEnd("the recording has ended: ");
}

TEST_F(RecordTest, aFullDiskEndsItAndKeepsWhatWasRecorded) {
    TestWindow window(user, {.x = 0, .y = 0, .width = 640, .height = 360});
    Program::Surroundings small = surroundings();
    small.largestFileSize = 4'000'000;
    program.emplace(recordArguments({"--seconds", "30"}), small);
    program->waitForOutput();
    std::mt19937 random{7};
    const fs::path video = package.recordingURL();
    // Noise, so that the file grows, until the recorder gives up.
    while (EventJournal::isBeingWritten(package.url())) {
        for (int i = 0; i < 50; ++i)
            window.paint(static_cast<int>(random() % 640), static_cast<int>(random() % 360), 9, 7,
                         static_cast<std::uint32_t>(random()) & white);
        user.finish();
    }
    const Outcome outcome = program->wait();
    EXPECT_EQ(outcome.status, 1);
    // One line, after the one about frames that a busy machine has dropped, if there is one.
    std::string errors = outcome.errors;
    if (errors.starts_with("lumenwhirl: recorded ")) errors.erase(0, errors.find('\n') + 1);
    EXPECT_NE(errors.find("recording.mp4"), std::string::npos) << errors;
    EXPECT_EQ(std::count(errors.begin(), errors.end(), '\n'), 1) << errors;
    EXPECT_EQ(run({"inspect", package.url().string()}).status, 0);
    EXPECT_FALSE(framesOf(video).empty());
}

TEST_F(RecordTest, failuresAreOneLineAndLeaveNothing) {
    const auto expectFailure = [&](const Program::Arguments& arguments, int status, const std::string& problem,
                                   const Program::Surroundings& how) {
        const std::string line = folder.expectFailure(arguments, status, "", how);
        EXPECT_NE(line.find(problem), std::string::npos) << line;
    };
    Program::Surroundings blind = surroundings();
    blind.environment["DISPLAY"] = ":987";
    expectFailure(recordArguments({}), 1, ":987", blind);
    expectFailure({"targets"}, 1, ":987", blind);
    expectFailure({"microphones"}, 1, "server", surroundings());
    for (const auto& [more, status, problem] : std::vector<std::tuple<Program::Arguments, int, std::string>>{
             {{"--display", "123456"}, 1, "123456"},
             {{"--window", "0x123456"}, 1, "1193046"},
             {{"--window", "17", "--display", "4"}, 2, "exclude"},
             {{"--window", "Editor"}, 2, "Editor"},
             {{"--seconds", "-1"}, 2, "--seconds"},
             {{"--rate", "30"}, 2, "\"--rate\" is not expected"}})
        expectFailure(recordArguments(more), status, problem, surroundings());
    expectFailure({"record", "--codec", "vp9"}, 2, "hevc or h264", surroundings());

    blind.environment["DISPLAY"] = "";
    const auto permissions = [](const std::string& screen, const std::string& input) {
        return R"({"screenRecording":")" + screen + R"(","inputMonitoring":")" + input +
               R"(","microphone":"notDetermined"})" + "\n";
    };
    EXPECT_EQ(Program::run({"permissions"}, blind).output, permissions("notDetermined", "notDetermined"));
    EXPECT_EQ(run({"permissions"}).output, permissions("granted", "granted"));

    record();
    const Outcome early = run({"export", package.url().string(), "-o", folder / "out.mp4"});
    EXPECT_EQ(early.status, 1);
    EXPECT_NE(early.errors.find("is being recorded right now"), std::string::npos) << early.errors;
    stop();
    const Program::Arguments again = recordArguments({});
    folder.expectFailure(again, 1, package.url().string() + ": already exists", surroundings());
    fs::remove_all(package.url());

    Program::Surroundings mute = surroundings();
    mute.hasFullOutput = true;
    const Outcome unheard = Program::run(recordArguments({"--seconds", "0.2"}), mute);
    EXPECT_EQ(unheard.status, 1);
    EXPECT_TRUE(unheard.errors.starts_with("lumenwhirl: standard output: ")) << unheard.errors;
}

}  // namespace
}  // namespace lumenwhirl::test
