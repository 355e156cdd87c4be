#include "Tests/EndToEnd/Program.h"
#include "Tests/EndToEnd/TestFolder.h"

#include <gtest/gtest.h>

#include <functional>

namespace lumenwhirl::test {
namespace {

namespace fs = std::filesystem;

/// Replaces the first `from` in a file.
void replaceIn(const fs::path& file, const std::string& from, const std::string& to) {
    std::string text = contentsOf(file);
    const std::size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from << " in " << file;
    writeFile(file, text.replace(at, from.size(), to));
}

template <class Edit>
void editProject(const LumenwhirlPackage& package, Edit edit) {
    ProjectSettings project = package.readProject();
    edit(project);
    package.writeProject(project);
}

/// One line that names the file (and key), status 1, and not a byte changed.
void expectRefusal(const TestFolder& folder, const Program::Arguments& arguments, const std::string& message,
                   const Program::Surroundings& surroundings = {}) {
    SCOPED_TRACE(testing::PrintToString(arguments));
    const auto before = folder.contents();
    const Outcome outcome = Program::run(arguments, surroundings);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "");
    EXPECT_EQ(outcome.errors.find("lumenwhirl: " + message), 0U) << outcome.errors << " is not\n" << message;
    EXPECT_EQ(outcome.errors.find('\n'), outcome.errors.size() - 1) << outcome.errors;
    EXPECT_EQ(folder.contents(), before);
}

/// The same of every command that reads a package.
void expectRefusals(const TestFolder& folder, const fs::path& package, const std::string& message) {
    expectRefusal(folder, {"export", package.string(), "-o", folder / "out.mp4"}, message);
    expectRefusal(folder, {"frame", package.string(), "--at", "0.5", "-o", folder / "out.png"}, message);
    expectRefusal(folder, {"inspect", package.string(), "--at", "0.5"}, message);
}

TEST(BadInput, aPackageThatIsNotThereOrNotWhole) {
    const TestFolder folder;
    expectRefusals(folder, folder / "No.lumenwhirl", folder / "No.lumenwhirl: ");
    writeFile(folder / "File.lumenwhirl", "");
    expectRefusals(folder, folder / "File.lumenwhirl", folder / "File.lumenwhirl: ");
    for (const std::string_view name : {LumenwhirlPackage::eventsName, LumenwhirlPackage::projectName}) {
        const LumenwhirlPackage package = folder.makeRecording();
        const fs::path document = package.url() / name;
        fs::remove(document);
        expectRefusals(folder, package.url(), document.string() + ": ");
        fs::create_directory(document);
        expectRefusals(folder, package.url(), document.string() + ": ");
        fs::remove_all(package.url());
    }
}

TEST(BadInput, aVideoThatIsMissingCutShortOrNone) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeRecording();
    const std::string recording = package.recordingURL().string();
    const std::string whole = contentsOf(recording);
    // A quarter has lost the frames that the index at its front tells of.
    for (const std::string& damaged :
         {std::string("no video at all"), std::string(), whole.substr(0, whole.size() / 4)}) {
        writeFile(recording, damaged);
        expectRefusal(folder, {"export", package.url().string(), "-o", folder / "out.mp4"}, recording + ": ");
    }
    fs::remove(recording);
    expectRefusal(folder, {"export", package.url().string(), "-o", folder / "out.mp4"}, recording + ": ");
    expectRefusal(folder, {"frame", package.url().string(), "--at", "0", "-o", folder / "out.png"},
                  recording + ": ");
}

TEST(BadInput, aRecordingOfAudioAlone) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeRecording();
    const std::string recording = package.recordingURL().string();
    ASSERT_EQ(Program::run({"loudness", recording, "--gain", "2", "-o", folder / "sound.m4a"}).status, 0);
    fs::rename(folder / "sound.m4a", recording);
    expectRefusals(folder, package.url(), recording + ": no video track");
}

TEST(BadInput, documentsThatAreNoJsonOrHaveTheWrongTypes) {
    struct Fault {
        std::string_view document;
        std::string from, to, message;
    };
    const std::vector<Fault> faults{
        {LumenwhirlPackage::projectName, "{", "", ""},
        {LumenwhirlPackage::eventsName, "\"cursor\"", "\"cursor", ""},
        {LumenwhirlPackage::projectName, "\"cornerRadius\"", "\"cornerradius\"", "style.cornerRadius: "},
        {LumenwhirlPackage::projectName, "\"smooth\"", "\"silky\"", "cursor.smoothing: "},
        {LumenwhirlPackage::projectName, "\"cuts\": []", "\"cuts\": [{\"start\": 1, \"end\": \"2\"}]",
         "timeline.cuts[0].end: "},
        {LumenwhirlPackage::eventsName, "\"left\"", "7", "clicks[0].button: "},
        {LumenwhirlPackage::eventsName, "\"pixelWidth\": 320", "\"pixelWidth\": 320.5",
         "recording.display.pixelWidth: "},
    };
    for (const Fault& fault : faults) {
        const TestFolder folder;
        const LumenwhirlPackage package = folder.makeRecording(2);
        const fs::path document = package.url() / fault.document;
        replaceIn(document, fault.from, fault.to);
        expectRefusals(folder, package.url(), document.string() + ": " + fault.message);
        if (fault.document == LumenwhirlPackage::projectName)
            expectRefusal(folder, {"captions", package.url().string(), "--clear"}, document.string() + ": ");
    }
}

TEST(BadInput, absurdValues) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeRecording(2);
    const std::string project = package.projectURL().string() + ": ", log = package.eventsURL().string() + ": ";
    const ProjectSettings original = package.readProject();
    const std::vector<std::pair<std::function<void(ProjectSettings&)>, std::string>> edits{
        {[](auto& p) { p.timeline.duration = 1e300; }, "timeline.duration: "},
        {[](auto& p) {
             p.timeline.cuts.resize(200'000, {0.01, 0.02});
         },
         "timeline.cuts: "},
        {[](auto& p) {
             p.timeline.speedRanges = {{0, -1e300, 1}};
         },
         "timeline.speedRanges[0].end: "},
        {[](auto& p) {
             p.zoom.segments = {{"a", 0, 1, 1e200, true}};
         },
         "zoom.segments[0].level: "},
        {[](auto& p) { p.cursor.size = 1e9; }, "cursor.size: "},
    };
    for (const auto& [edit, key] : edits) {
        package.writeProject(original);
        editProject(package, edit);
        expectRefusals(folder, package.url(), project + key);
    }
    package.writeProject(original);
    EventLog events = package.readEvents();
    events.recording.display.pointWidth = 100'000;
    package.writeEvents(events);
    expectRefusals(folder, package.url(), log + "recording.display.pointWidth: ");
    events.recording.display.pointWidth = 320;
    events.cursor[1].t = 1e300;
    package.writeEvents(events);
    expectRefusals(folder, package.url(), log + "cursor[1].t: ");
}

TEST(BadInput, destinationsThatCannotBeWritten) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeRecording(2);
    const auto refuse = [&](const std::string& destination, const std::string& problem) {
        expectRefusal(folder, {"export", package.url().string(), "-o", destination}, destination + ": " + problem);
        expectRefusal(folder, {"frame", package.url().string(), "--at", "0", "-o", destination},
                      destination + ": " + problem);
    };
    writeFile(folder / "file", "");
    refuse(folder.path().string(), "is a folder");
    refuse(folder / "no/such/out.mp4", "the folder ");
    refuse(folder / "file/out.mp4", "the folder ");
    refuse(package.recordingURL().string(), "belongs to the recording");
    refuse(package.micURL().string(), "belongs to the recording");
    refuse("/dev/null", "is not a regular file");
    if (fs::exists("/proc/self")) refuse("/proc/out.mp4", "");  // takes no files, not even root's
    fs::create_symlink(package.eventsURL(), folder / "link.mp4");
    refuse(folder / "link.mp4", "belongs to the recording");
}

TEST(BadInput, aDiskThatIsFull) {
    const TestFolder folder;
    const std::string package = folder.makeRecording().url().string();
    writeFile(folder / "talk.srt", "00:01,000 --> 00:02,000\n" + std::string(8000, 'x') + "\n");
    const Program::Surroundings fullDisk{.largestFileSize = 4096};
    const std::string video = folder / "out.mp4", picture = folder / "out.png", audio = folder / "out.m4a";
    expectRefusal(folder, {"export", package, "-o", video}, video + ": ", fullDisk);
    expectRefusal(folder, {"frame", package, "--at", "0", "-o", picture}, picture + ": ",
                  {.largestFileSize = 256});
    expectRefusal(folder, {"loudness", package + "/recording.mp4", "-o", audio}, audio + ": ", fullDisk);
    expectRefusal(folder, {"captions", package, "--import", folder / "talk.srt"},
                  package + "/project.json: ", fullDisk);
}

}  // namespace
}  // namespace lumenwhirl::test
