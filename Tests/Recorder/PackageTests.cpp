#include "Recorder/Package/LumenwhirlPackage.h"

#include "Tests/Support/Files.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <set>
#include <string>
#include <string_view>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;
using Kind = LumenwhirlPackage::Error::Kind;

class Package : public testing::Test {
protected:
    [[nodiscard]] LumenwhirlPackage demo() const { return LumenwhirlPackage::create("Demo", folder.path()); }

    static fs::perms modeOf(const fs::path& path) { return fs::status(path).permissions(); }

    /// Runs `action`, which must fail because of `file` with one line that holds `words`.
    template <class Action>
    static void expectError(Action action, Kind kind, const fs::path& file, std::string_view words) {
        try {
            action();
            ADD_FAILURE() << "nothing was thrown for " << file;
        } catch (const LumenwhirlPackage::Error& error) {
            const std::string_view message = error.what();
            EXPECT_EQ(error.kind(), kind);
            EXPECT_EQ(error.file(), file);
            EXPECT_NE(message.find(words), std::string_view::npos) << message;
            EXPECT_EQ(message.find('\n'), std::string_view::npos);
        }
    }

    const TemporaryFolder folder;
};

const ProjectSettings project = ProjectSettings::makeDefault(10, true, false);

TEST_F(Package, namesEndInTheSuffixExactlyOnce) {
    EXPECT_EQ(demo().url(), folder / "Demo.lumenwhirl");
    EXPECT_EQ(LumenwhirlPackage::create("Demo.lumenwhirl", folder.path()).url(), folder / "Demo.lumenwhirl");
    EXPECT_EQ(LumenwhirlPackage::create("Demo.LUMENWHIRL", folder.path()).url(),
              folder / "Demo.LUMENWHIRL.lumenwhirl");
    EXPECT_EQ(namesIn(folder.path()), (std::set<std::string>{"Demo.lumenwhirl", "Demo.LUMENWHIRL.lumenwhirl"}));
    const std::string longest = std::string(244, 'x') + ".lumenwhirl";
    LumenwhirlPackage::create(longest, folder.path()).writeProject(project);
    EXPECT_EQ(LumenwhirlPackage(folder / longest).readProject(), project);
    for (const std::string& bad : {std::string("a/b"), std::string("/etc"), std::string("a\0b", 3)})
        EXPECT_THROW((void)LumenwhirlPackage::create(bad, folder.path()), LumenwhirlPackage::Error);
}

TEST_F(Package, isCreatedForItsOwnerAloneWithMissingParents) {
    const auto package = LumenwhirlPackage::create("Demo", folder / "a" / "b");
    EXPECT_EQ(modeOf(package.url()), fs::perms::owner_all);
    EXPECT_NE(modeOf(folder / "a"), fs::perms::owner_all) << "parents have the usual mode";
    package.writeProject(project);
    EXPECT_EQ(modeOf(package.projectURL()), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(LumenwhirlPackage::create("Demo", folder / "a" / "b").readProject(), project) << "reused as it is";
}

TEST_F(Package, failsToBeCreatedWhereSomethingElseIs) {
    writeFile(folder / "Demo.lumenwhirl", "a file");
    expectError([&] { (void)demo(); }, Kind::cannotWrite, folder / "Demo.lumenwhirl", "File exists; move away");
    writeFile(folder / "file", "");
    expectError([&] { (void)LumenwhirlPackage::create("Demo", folder / "file" / "sub"); }, Kind::cannotWrite,
                folder / "file" / "sub", "cannot create the folder: Not a directory");
    expectError([&] { (void)LumenwhirlPackage::create(std::string(300, 'x'), folder.path()); }, Kind::cannotWrite,
                folder / (std::string(300, 'x') + ".lumenwhirl"), "choose a shorter name");
}

TEST_F(Package, documentsAreReadAsTheyWereWrittenLast) {
    const auto package = demo();
    EventLog log;
    log.cursor = {{0.5, 1, 2}};
    package.writeEvents(log);
    package.writeProject(ProjectSettings::makeDefault(99, false, true));
    package.writeProject(project);
    const LumenwhirlPackage opened(package.url());
    EXPECT_EQ(opened.readEvents(), log);
    EXPECT_EQ(opened.readProject(), project);
    EXPECT_EQ(namesIn(package.url()), (std::set<std::string>{"events.json", "project.json"}));
}

TEST_F(Package, unreadableDocumentsSayWhy) {
    const auto package = demo();
    const auto read = [&] { (void)package.readEvents(); };
    const fs::path file = package.eventsURL();
    expectError(read, Kind::cannotRead, file, "No such file or directory; check that");

    writeFile(file, R"({"clicks": [{"t": 1, "x": 1, "y": 1, "button": "middle", "phase": "up"}]})");
    expectError(read, Kind::malformed, file, "events.json: clicks[0].button: unknown value \"middle\"");
    writeFile(file, "{\n ]");
    expectError(read, Kind::malformed, file, "malformed JSON at line 2, column 2");
    writeFile(file, "");
    expectError(read, Kind::malformed, file, "empty");

    fs::resize_file(file, (std::uintmax_t{1} << 30) + 1);  // sparse: takes no space
    expectError(read, Kind::cannotRead, file, "is larger than 1 GiB; restore the file");
    fs::remove(file);
    fs::create_directory(file);
    expectError(read, Kind::cannotRead, file, "is a folder, not a file; restore the file");
}

TEST_F(Package, aDocumentThatCannotBeWrittenLeavesTheOldOneAndNothingElse) {
    const auto package = demo();
    package.writeProject(project);
    ProjectSettings broken = project;
    broken.timeline.duration = std::numeric_limits<double>::infinity();
    expectError([&] { package.writeProject(broken); }, Kind::cannotWrite, package.projectURL(),
                "timeline.duration: ");
    EXPECT_EQ(package.readProject(), project);
    fs::create_directory(package.eventsURL());
    expectError([&] { package.writeEvents({}); }, Kind::cannotWrite, package.eventsURL(),
                "cannot write: Is a directory; move away what is in its place");
    EXPECT_EQ(namesIn(package.url()), (std::set<std::string>{"events.json", "project.json"}));
    fs::remove_all(package.url());
    expectError([&] { package.writeProject(project); }, Kind::cannotWrite, package.projectURL(),
                "cannot write: No such file or directory; check that the recording was not moved or deleted");
    EXPECT_TRUE(folder.isEmpty());
}

}  // namespace
}  // namespace lumenwhirl
