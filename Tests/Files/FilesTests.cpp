#include "Files/AtomicFile.h"
#include "Files/Descriptor.h"
#include "Files/FileError.h"
#include "Files/TemporaryFile.h"
#include "Files/WholeFile.h"
#include "Tests/Support/Files.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <set>
#include <string>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;
using Access = AtomicFile::Access;
using Durability = AtomicFile::Durability;

class Files : public testing::Test {
protected:
    [[nodiscard]] std::set<std::string> names() const { return namesIn(folder.path()); }
    template <class Action>
    static std::string problemOf(Action action, const fs::path& expectedFile) {
        try {
            action();
        } catch (const FileError& error) {
            EXPECT_EQ(error.file(), expectedFile);
            EXPECT_EQ(error.what(), expectedFile.string() + ": " + error.problem());
            return error.problem();
        }
        return "nothing was thrown";
    }

    const TemporaryFolder folder;
};

/// Content for a destination, in place at once.
void replace(const fs::path& destination, std::string_view text, Durability durability = Durability::none) {
    AtomicFile file(destination, Access::umask);
    file.write(text);
    file.commit(durability);
}

TEST_F(Files, aNewFileTakesNobodysPlaceAndNobodysFolder) {
    fs::create_symlink(folder / "elsewhere", folder / "link");
    EXPECT_FALSE(createNewFile(folder / "link").isOpen());
    EXPECT_TRUE(createNewFile(folder / "new").isOpen());
    EXPECT_FALSE(createNewFile(folder / "new").isOpen());
    EXPECT_EQ(fs::status(folder / "new").permissions(), fs::perms::owner_read | fs::perms::owner_write);
    if (::geteuid() == 0) {
        ASSERT_EQ(::chown(folder.path().c_str(), 12345, 12345), 0);
        EXPECT_FALSE(createNewFile(folder / "another").isOpen());
        EXPECT_EQ(errno, EPERM);
    }
    EXPECT_EQ(names(), (std::set<std::string>{"link", "new"}));
}

TEST_F(Files, anAtomicFileAppearsAsAWholeOrNotAtAll) {
    const fs::path destination = folder / "file";
    writeFile(destination, "old");
    for (const Durability durability : {Durability::none, Durability::content, Durability::contentAndName}) {
        const std::string old = readWholeFile(destination, 100);
        {
            AtomicFile file(destination, Access::umask);
            file.write("half of the n");
            EXPECT_EQ(readWholeFile(destination, 100), old);
            EXPECT_EQ(names().size(), 2U);
        }
        EXPECT_EQ(names(), std::set<std::string>{"file"});
        const std::string text = "new " + std::to_string(static_cast<int>(durability));
        replace(destination, text, durability);
        EXPECT_EQ(readWholeFile(destination, 100), text);
        EXPECT_EQ(names(), std::set<std::string>{"file"});
    }
}

TEST_F(Files, whatLibrariesWriteByNameIsCommittedAndNobodysLinkIsFollowed) {
    const std::string text(200'000, 'x');
    AtomicFile named(folder / "named", Access::owner);
    const std::string hidden = *names().begin();
    EXPECT_TRUE(AtomicFile::isPathOfOne(named.path()));
    fs::rename(folder / hidden, folder / "aside");
    writeFile(folder / "victim", "whole");
    fs::create_symlink("victim", folder / hidden);  // by somebody else who may write to the folder
    writeFile(named.path(), text);                  // truncates
    EXPECT_EQ(readWholeFile(folder / "victim", 10), "whole");
    fs::rename(folder / "aside", folder / hidden);
    named.commit(Durability::content);
    EXPECT_EQ(readWholeFile(folder / "named", 1'000'000), text);
}

TEST_F(Files, theModeIsTheOwnersAloneUntilItIsThatOfTheUmask) {
    const auto modeOf = [this](Access access) {
        AtomicFile file(folder / "file", access);
        EXPECT_EQ(static_cast<unsigned>(fs::status(file.path()).permissions()), 0600U);
        file.commit(Durability::none);
        return static_cast<unsigned>(fs::status(folder / "file").permissions());
    };
    const mode_t before = ::umask(027);
    EXPECT_EQ(modeOf(Access::umask), 0640U);
    EXPECT_EQ(modeOf(Access::owner), 0600U);
    ::umask(before);
}

TEST_F(Files, everyNameThatTheFileSystemTakesCanBeWritten) {
    for (const std::size_t length : {1U, 249U, 255U}) {
        const fs::path destination = folder / std::string(length, 'n');
        replace(destination, "text");
        EXPECT_EQ(readWholeFile(destination, 4), "text");
    }
    const fs::path before = fs::current_path();
    fs::current_path(folder.path());  // a name without a folder
    replace("relative", "text", Durability::contentAndName);
    fs::current_path(before);
    EXPECT_EQ(names().count("relative"), 1U);
    EXPECT_EQ(names().size(), 4U);
}

TEST_F(Files, aCrashsLeftoversAreRecognised) {
    const AtomicFile file(folder / "events.json", Access::owner);
    EXPECT_TRUE(AtomicFile::isTemporaryName(*names().begin()));
    for (const char* other : {"events.json", ".events.journal", ".lumenwhirl-", ".lumenwhirl-abcdefghijk",
                              ".lumenwhirl-abcdefghijklm", ".lumenwhirl-abcdefghijk.", ".lumenwhirl-ABCDEFGHIJKL"})
        EXPECT_FALSE(AtomicFile::isTemporaryName(other)) << other;
}

TEST_F(Files, onlyWhatNobodyWritesAnyMoreIsALeftover) {
    AtomicFile alive(folder / "video.mp4", Access::umask);
    alive.write("half");
    const std::string kept = *names().begin(), left = ".lumenwhirl-abcdefghijkl", other = ".lumenwhirl-notes";
    writeFile(folder / left, "half");
    writeFile(folder / other, "text");
    AtomicFile::removeLeftoversBeside(folder / "video.mp4");
    EXPECT_EQ(names(), (std::set<std::string>{kept, other}));
    AtomicFile::removeLeftoversBeside(folder / "missing/video.mp4");
}

TEST_F(Files, aFailureNamesTheDestinationAndLeavesNothing) {
    fs::create_directory(folder / "taken");
    EXPECT_EQ(problemOf([&] { replace(folder / "taken", "text"); }, folder / "taken"),
              "cannot write: Is a directory");
    EXPECT_EQ(problemOf([&] { replace(folder / "missing/file", "text"); }, folder / "missing/file"),
              "cannot write: No such file or directory");
    EXPECT_EQ(problemOf([&] { replace("/proc/file", "text"); }, "/proc/file").find("cannot write: "), 0U);
    const fs::path tooLong = folder / std::string(256, 'n');
    EXPECT_EQ(problemOf([&] { replace(tooLong, "text"); }, tooLong), "cannot write: File name too long");
    EXPECT_EQ(names(), std::set<std::string>{"taken"});

    const fs::path destination = folder / "file";
    writeFile(destination, "old");
    EXPECT_TRUE(holdsOnFullDisk(4096, [&] {
        const std::string problem = problemOf([&] { replace(destination, std::string(5000, 'x')); }, destination);
        return problem == "cannot write: File too large" && readWholeFile(destination, 3) == "old" &&
               names() == std::set<std::string>{"file", "taken"};
    }));
}

TEST_F(Files, onlyRegularFilesUpToALimitAreRead) {
    const fs::path file = folder / "file";
    EXPECT_EQ(problemOf([&] { (void)readWholeFile(file, 10); }, file), "cannot open: No such file or directory");
    writeFile(file, "0123456789");
    EXPECT_EQ(readWholeFile(file, 10), "0123456789");
    EXPECT_GE(readWholeFile(file, 10, 64).capacity(), 74U);
    EXPECT_EQ(problemOf([&] { (void)readWholeFile(file, 9); }, file), "is larger than 9 bytes");
    EXPECT_NE(readWholeFile("/proc/self/status", 1 << 20), "") << "a size of 0 says nothing there";
    EXPECT_EQ(problemOf([&] { (void)readWholeFile(folder.path(), 10); }, folder.path()),
              "is a folder, not a file");
    ASSERT_EQ(::mkfifo((folder / "pipe").c_str(), 0600), 0);  // nobody will ever write to it
    EXPECT_EQ(problemOf([&] { (void)readWholeFile(folder / "pipe", 10); }, folder / "pipe"),
              "is not a regular file");
}

TEST_F(Files, aTemporaryFileGoesUnlessItIsReleased) {
    writeFile(folder / "gone", "");
    writeFile(folder / "kept", "");
    {
        TemporaryFile gone(folder / "gone"), kept(folder / "kept");
        const TemporaryFile moved(std::move(gone));
        EXPECT_EQ(kept.release(), folder / "kept");
    }
    EXPECT_EQ(names(), std::set<std::string>{"kept"});
}

}  // namespace
}  // namespace lumenwhirl
