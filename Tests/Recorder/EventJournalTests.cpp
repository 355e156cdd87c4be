#include "Recorder/Package/EventJournal.h"

#include "Recorder/Package/LumenwhirlPackage.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <string>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;

const RecordingInfo info{81234.567891234, 60, {7, 1919, 1079, 1280, 720, 1.5, -1280, 0.25}};

EventLog unusualLog() {
    EventLog log;
    log.recording = info;
    log.cursor = {{0, 0.1, 1e-7}, {1.0 / 3, 1919, 1079}};
    log.clicks = {{0.5, 1, 2, MouseButton::other, ClickPhase::down},
                  {0.75, 1, 2, MouseButton::right, ClickPhase::up}};
    log.scroll = {{1, 3, 4, -1, 1}};
    log.keys = {{1.5, 19, "\"\\ \n€", {"cmd", "shift"}, true}, {1.5, 0x1FF, "", {}, false}};
    return log;
}

void append(const EventLog& log, EventJournal& journal) {
    for (const auto& sample : log.cursor) journal.append(sample);
    for (const auto& click : log.clicks) journal.append(click);
    for (const auto& scroll : log.scroll) journal.append(scroll);
    for (const auto& key : log.keys) journal.append(key);
}

class Journal : public testing::Test {
protected:
    [[nodiscard]] auto read() const { return EventJournal::read(folder_.path()); }

    TemporaryFolder folder_;
    const fs::path file_ = folder_ / std::string(EventJournal::fileName);
};

TEST_F(Journal, isReadBackWhileBeingWrittenAndAfterTheProgramIsKilled) {
    EXPECT_EQ(read(), std::nullopt);
    const EventLog log = unusualLog();
    RecordingInfo early = info;  // before the first frame
    early.startHostTime = 0;
    const pid_t child = ::fork();
    if (child == 0) {
        EventJournal journal(folder_.path(), early);
        append(log, journal);
        journal.append(log.recording);
        ::_exit(::raise(SIGKILL));
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    ASSERT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(read(), log);

    EXPECT_THROW(EventJournal(folder_.path(), info), LumenwhirlPackage::Error);
    EXPECT_EQ(read(), log);
    EventJournal::remove(folder_.path());
    EventJournal next(folder_.path(), info);
    append(log, next);
    EXPECT_EQ(next.failure(), std::nullopt);
    EXPECT_EQ(read(), log);
    EXPECT_EQ(fs::status(file_).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EventJournal::remove(folder_.path());
    EventJournal::remove(folder_.path());
    EXPECT_NE(next.failure().value_or("").find("was moved or deleted"), std::string::npos);
    EXPECT_TRUE(folder_.isEmpty());
}

TEST_F(Journal, isReadUpToWhereACrashCutIt) {
    const EventLog log = unusualLog();
    {
        EventJournal journal(folder_.path(), info);
        append(log, journal);
    }
    const std::string whole = contentsOf(file_);
    const auto count = [](const EventLog& events) {
        return events.cursor.size() + events.clicks.size() + events.scroll.size() + events.keys.size();
    };
    std::size_t lines = 0;  // complete ones
    for (std::size_t length = 0; length <= whole.size(); ++length) {
        SCOPED_TRACE(length);
        lines += length > 0 && whole[length - 1] == '\n' ? 1 : 0;
        writeFile(file_, whole.substr(0, length));
        EXPECT_EQ(count(*read()), std::max<std::size_t>(lines, 1) - 1);
    }
    writeFile(file_, "something else\n");
    EXPECT_THROW((void)read(), LumenwhirlPackage::Error);

    // A block of zeros, as after a power cut, destroys the lines it touches and no others.
    std::string holed = whole;
    const std::size_t start = whole.find("clicks") + 5;
    const std::size_t end = whole.find("scroll") + 3;
    holed.replace(start, end - start, end - start, '\0');
    writeFile(file_, holed);
    EventLog expected = log;
    expected.clicks.clear();
    expected.scroll.clear();
    EXPECT_EQ(read(), expected);

    // Where the later line is damaged, the first line's recording counts.
    writeFile(file_, whole + "recording {\"fps\":30,\"display\":{\"id\":1" + std::string(100, '\0') + "}\n");
    EXPECT_EQ(read(), log);
}

TEST_F(Journal, endsWithACompleteLineOnAFullDisk) {
    EXPECT_TRUE(holdsOnFullDisk(2000, [&] {
        EventJournal journal(folder_.path(), info);
        int kept = 0;
        for (int index = 0; index < 100; ++index) {
            journal.append(CursorSample{1.0 * index, 640.125, 360.25});
            if (!journal.failure()) ++kept;
        }
        const std::string failure = journal.failure().value_or("");
        const std::string whole = contentsOf(file_);
        return kept > 10 && kept < 100 && failure.starts_with(file_.string() + ": cannot write: ") &&
               failure.find("; ") != std::string::npos && whole.ends_with('\n') &&
               read()->cursor.size() == static_cast<std::size_t>(kept);
    }));
    EventJournal::remove(folder_.path());
    EXPECT_TRUE(holdsOnFullDisk(50, [&] {  // not even the header
        try {
            EventJournal journal(folder_.path(), info);
        } catch (const LumenwhirlPackage::Error&) {
            return !fs::exists(file_);
        }
        return false;
    }));
}

}  // namespace
}  // namespace lumenwhirl
