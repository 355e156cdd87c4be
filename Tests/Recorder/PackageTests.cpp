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

TEST_F(Package, isCreatedForItsOwnerAloneWithMissingParentsAndTheSuffixOnce) {
    const fs::path parent = folder / "a";
    const auto package = LumenwhirlPackage::create("Demo", parent / "b");
    EXPECT_EQ(fs::status(package.url()).permissions(), fs::perms::owner_all);
    EXPECT_NE(fs::status(parent).permissions(), fs::perms::owner_all) << "parents have the usual mode";
    package.writeProject(project);
    const auto again = LumenwhirlPackage::create("Demo.lumenwhirl", parent / "b");
    EXPECT_EQ(again.url(), package.url());
    EXPECT_EQ(again.readProject(), project) << "reused as it is";
    for (const std::string& bad : {std::string("a/b"), std::string("/etc"), std::string("a\0b", 3)})
        EXPECT_THROW((void)LumenwhirlPackage::create(bad, folder.path()), LumenwhirlPackage::Error);
}

TEST_F(Package, failsToBeCreatedWhereSomethingElseIs) {
    writeFile(folder / "Demo.lumenwhirl", "a file");
    expectError([&] { (void)demo(); }, Kind::cannotWrite, folder / "Demo.lumenwhirl", "File exists; move away");
    writeFile(folder / "file", "");
    expectError([&] { (void)LumenwhirlPackage::create("Demo", folder / "file" / "sub"); }, Kind::cannotWrite,
                folder / "file" / "sub", "cannot create the folder: Not a directory");
    expectError([&] { (void)LumenwhirlPackage::create(std::string(300, 'x'), folder / "new"); }, Kind::cannotWrite,
                folder / "new" / (std::string(300, 'x') + ".lumenwhirl"), "choose a shorter name");
    EXPECT_FALSE(fs::exists(folder / "new"));
    if (fs::exists("/sys/kernel"))  // where nobody can create anything, not even root
        expectError([&] { (void)LumenwhirlPackage::create("Demo", "/sys"); }, Kind::cannotWrite,
                    "/sys/Demo.lumenwhirl", "; choose another folder");
}

TEST_F(Package, unreadableDocumentsSayWhy) {
    const auto package = demo();
    const auto read = [&] { (void)package.readEvents(); };
    const fs::path file = package.eventsURL();
    expectError(read, Kind::cannotRead, file, "No such file or directory; check that");
    writeFile(file, R"({"clicks": [{"t": 1, "x": 1, "y": 1, "button": "middle", "phase": "up"}]})");
    expectError(read, Kind::malformed, file, "events.json: clicks[0].button: unknown value \"middle\"");
    fs::resize_file(file, (std::uintmax_t{1} << 30) + 1);  // sparse: takes no space
    expectError(read, Kind::cannotRead, file, "is larger than 1 GiB; restore the file");
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
