#include "Recorder/Package/LumenwhirlPackage.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <limits>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace lumenwhirl {
namespace {

namespace fs = std::filesystem;
using Kind = LumenwhirlPackage::Error::Kind;

class Package : public testing::Test {
protected:
    Package() {
        std::string name = (fs::temp_directory_path() / "lumenwhirl-package-XXXXXX").string();
        if (!::mkdtemp(name.data())) throw std::runtime_error("cannot create " + name);
        folder_ = name;
    }
    ~Package() override {
        std::error_code ignored;
        fs::remove_all(folder_, ignored);
    }

    [[nodiscard]] LumenwhirlPackage demo() const { return LumenwhirlPackage::create("Demo", folder_); }

    static void put(const fs::path& file, std::string_view text) { std::ofstream(file) << text; }
    static std::set<std::string> namesIn(const fs::path& folder) {
        std::set<std::string> names;
        for (const auto& entry : fs::directory_iterator(folder)) names.insert(entry.path().filename().string());
        return names;
    }
    static fs::perms modeOf(const fs::path& path) { return fs::status(path).permissions(); }

    /// Runs `action`, which must fail with one line that starts with `file` and holds `words`.
    template <class Action>
    static void expectError(Action action, Kind kind, const fs::path& file, std::string_view words) {
        try {
            action();
            ADD_FAILURE() << "nothing was thrown for " << file;
        } catch (const LumenwhirlPackage::Error& error) {
            const std::string_view message = error.what();
            EXPECT_EQ(error.kind(), kind);
            EXPECT_TRUE(message.starts_with(file.string() + ": ")) << message;
            EXPECT_NE(message.find(words), std::string_view::npos) << message;
            EXPECT_EQ(message.find('\n'), std::string_view::npos);
        }
    }

    fs::path folder_;
};

const ProjectSettings project = ProjectSettings::makeDefault(10, true, false);

TEST_F(Package, namesEndInTheSuffixExactlyOnce) {
    EXPECT_EQ(demo().url(), folder_ / "Demo.lumenwhirl");
    EXPECT_EQ(LumenwhirlPackage::create("Demo.lumenwhirl", folder_).url(), folder_ / "Demo.lumenwhirl");
    EXPECT_EQ(LumenwhirlPackage::create("Demo.LUMENWHIRL", folder_).url(), folder_ / "Demo.LUMENWHIRL.lumenwhirl");
    EXPECT_EQ(namesIn(folder_), (std::set<std::string>{"Demo.lumenwhirl", "Demo.LUMENWHIRL.lumenwhirl"}));
    for (const std::string& bad : {std::string("a/b"), std::string("/etc"), std::string("a\0b", 3)})
        EXPECT_THROW((void)LumenwhirlPackage::create(bad, folder_), LumenwhirlPackage::Error);
}

TEST_F(Package, isCreatedForItsOwnerAloneWithMissingParents) {
    const auto package = LumenwhirlPackage::create("Demo", folder_ / "a" / "b");
    EXPECT_EQ(modeOf(package.url()), fs::perms::owner_all);
    EXPECT_NE(modeOf(folder_ / "a"), fs::perms::owner_all) << "parents have the usual mode";
    package.writeProject(project);
    EXPECT_EQ(modeOf(package.projectURL()), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(LumenwhirlPackage::create("Demo", folder_ / "a" / "b").readProject(), project) << "reused as it is";
}

TEST_F(Package, failsToBeCreatedWhereSomethingElseIs) {
    put(folder_ / "Demo.lumenwhirl", "a file");
    expectError([&] { (void)demo(); }, Kind::cannotWrite, folder_ / "Demo.lumenwhirl", "File exists; move away");
    put(folder_ / "file", "");
    expectError([&] { (void)LumenwhirlPackage::create("Demo", folder_ / "file" / "sub"); }, Kind::cannotWrite,
                folder_ / "file" / "sub", "cannot create the folder: Not a directory");
    expectError([&] { (void)LumenwhirlPackage::create(std::string(300, 'x'), folder_); }, Kind::cannotWrite,
                folder_ / (std::string(300, 'x') + ".lumenwhirl"), "choose a shorter name");
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

    put(file, R"({"clicks": [{"t": 1, "x": 1, "y": 1, "button": "middle", "phase": "up"}]})");
    expectError(read, Kind::malformed, file, "events.json: clicks[0].button: unknown value \"middle\"");
    put(file, "{\n ]");
    expectError(read, Kind::malformed, file, "malformed JSON at line 2, column 2");
    put(file, "");
    expectError(read, Kind::malformed, file, "empty");

    fs::resize_file(file, (std::uintmax_t{1} << 30) + 1);  // takes no room: it has no content
    expectError(read, Kind::cannotRead, file, "larger than 1 GiB");
    fs::remove(file);
    fs::create_directory(file);
    expectError(read, Kind::cannotRead, file, "is a folder");
    fs::remove(file);
    ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);  // nobody will ever write to it
    expectError(read, Kind::cannotRead, file, "is not a regular file");
}

TEST_F(Package, anEncodingErrorLeavesTheOldDocument) {
    const auto package = demo();
    package.writeProject(project);
    ProjectSettings broken = project;
    broken.timeline.duration = std::numeric_limits<double>::infinity();
    expectError([&] { package.writeProject(broken); }, Kind::cannotWrite, package.projectURL(),
                "timeline.duration: ");
    EXPECT_EQ(package.readProject(), project);
    EXPECT_EQ(namesIn(package.url()), std::set<std::string>{"project.json"});
}

TEST_F(Package, aFailedReplacementLeavesNothingBehind) {
    const auto package = demo();
    fs::create_directory(package.projectURL());
    expectError([&] { package.writeProject(project); }, Kind::cannotWrite, package.projectURL(), "Is a directory");
    EXPECT_EQ(namesIn(package.url()), std::set<std::string>{"project.json"});
    fs::remove_all(package.url());
    expectError([&] { package.writeProject(project); }, Kind::cannotWrite, package.projectURL(),
                "No such file or directory; check that the recording was not moved or deleted");
    EXPECT_TRUE(namesIn(folder_).empty());
}

TEST_F(Package, aWriteThatBreaksOffLeavesTheOldDocument) {
    const auto package = demo();
    package.writeProject(project);
    ProjectSettings longer = project;
    longer.timeline.cuts.resize(10'000);
    // The limit on file sizes makes the disk "full" after 4 KiB, for a process of its own.
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{4096, 4096};
        int status = 1;
        try {
            if (::setrlimit(RLIMIT_FSIZE, &limit) == 0) package.writeProject(longer);
        } catch (const LumenwhirlPackage::Error& error) {
            status =
                std::string_view(error.what()).find("cannot write: File too large") == std::string::npos ? 2 : 0;
        }
        ::_exit(status);
    }
    int status = -1;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(package.readProject(), project);
    EXPECT_EQ(namesIn(package.url()), std::set<std::string>{"project.json"});
}

}  // namespace
}  // namespace lumenwhirl
