#include "Tests/EndToEnd/TestFolder.h"

#include <gtest/gtest.h>

namespace lumenwhirl::test {
namespace {

namespace fs = std::filesystem;

/// Every command that reads a recording fails.
void expectFailures(const TestFolder& folder, const fs::path& package, const std::string& message) {
    folder.expectFailure({"export", package.string(), "-o", folder / "out.mp4"}, 1, message);
    folder.expectFailure({"frame", package.string(), "--at", "0.5", "-o", folder / "out.png"}, 1, message);
    folder.expectFailure({"inspect", package.string(), "--at", "0.5"}, 1, message);
}

TEST(BadInput, aPackageThatIsMissingOrIncomplete) {
    const TestFolder folder;
    expectFailures(folder, folder / "No.lumenwhirl", folder / "No.lumenwhirl: ");
    writeFile(folder / "File.lumenwhirl", "");
    expectFailures(folder, folder / "File.lumenwhirl", folder / "File.lumenwhirl: ");
    for (const std::string_view name : {LumenwhirlPackage::eventsName, LumenwhirlPackage::projectName}) {
        const LumenwhirlPackage package = folder.makeRecording();
        const fs::path document = package.url() / name;
        fs::remove(document);
        expectFailures(folder, package.url(), document.string() + ": ");
        fs::create_directory(document);
        expectFailures(folder, package.url(), document.string() + ": ");
        fs::remove_all(package.url());
    }
}

TEST(BadInput, aVideoThatIsMissingTruncatedOrHasNoPicture) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeRecording();
    const std::string recording = package.recordingURL().string(), whole = contentsOf(recording);
    ASSERT_EQ(Program::run({"loudness", recording, "--gain", "2", "-o", folder / "audio.m4a"}).status, 0);
    // A quarter has lost the frames that the index at its front lists.
    writeFile(recording, whole.substr(0, whole.size() / 4));
    folder.expectFailure({"export", package.url().string(), "-o", folder / "out.mp4"}, 1, recording + ": ");
    fs::rename(folder / "audio.m4a", recording);
    expectFailures(folder, package.url(), recording + ": no video track");
    fs::remove(recording);
    folder.expectFailure({"export", package.url().string(), "-o", folder / "out.mp4"}, 1, recording + ": ");
    folder.expectFailure({"frame", package.url().string(), "--at", "0", "-o", folder / "out.png"}, 1,
                         recording + ": ");
}

TEST(BadInput, documentsThatAreNotJsonOrHaveTheWrongTypesOrValues) {
    struct Fault {
        std::string_view document;
        std::string from, to, message;
    };
    const Fault faults[] = {
        {LumenwhirlPackage::projectName, "{", "", ""},
        {LumenwhirlPackage::projectName, "\"smooth\"", "\"silky\"", "cursor.smoothing: "},
        {LumenwhirlPackage::projectName, "\"trimStart\": 0", "\"trimStart\": -1e300", "timeline.trimStart: "},
        {LumenwhirlPackage::eventsName, "\"left\"", "7", "clicks[0].button: "},
        {LumenwhirlPackage::eventsName, "\"t\": 0,", "\"t\": 1e300,", "cursor[0].t: "}};
    for (const Fault& fault : faults) {
        const TestFolder folder;
        const LumenwhirlPackage package = folder.makeRecording(2);
        const fs::path document = package.url() / fault.document;
        std::string text = contentsOf(document);
        writeFile(document, text.replace(text.find(fault.from), fault.from.size(), fault.to));
        expectFailures(folder, package.url(), document.string() + ": " + fault.message);
    }
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeRecording(2);
    writeFile(package.projectURL(), "");
    folder.expectFailure({"captions", package.url().string(), "--clear"}, 1, package.projectURL().string() + ": ");
}

TEST(BadInput, destinationsThatCannotBeWritten) {
    const TestFolder folder;
    const LumenwhirlPackage package = folder.makeRecording(2);
    const std::string path = package.url().string(), recording = package.recordingURL().string();
    const auto refuse = [&](const std::string& destination, const std::string& problem) {
        const std::string message = destination + ": " + problem;
        folder.expectFailure({"export", path, "-o", destination}, 1, message);
        folder.expectFailure({"frame", path, "--at", "0", "-o", destination}, 1, message);
        folder.expectFailure({"loudness", recording, "-o", destination}, 1, message);
    };
    refuse(folder / "no/such/out.mp4", "the folder ");
    folder.expectFailure({"captions", path, "--export", folder / "no/such/out.srt"}, 1,
                         folder / "no/such/out.srt: the folder ");
    if (fs::exists("/proc/self")) refuse("/proc/out.mp4", "");  // nobody can create files there, not even root
    folder.expectFailure({"export", path, "-o", recording}, 1, recording + ": belongs to the recording");
    folder.expectFailure({"loudness", recording, "-o", recording}, 1, recording + ": is the file to be measured");
}

TEST(BadInput, aFullDisk) {
    const TestFolder folder;
    const std::string package = folder.makeRecording().url().string();
    writeFile(folder / "talk.srt", "00:01,000 --> 00:02,000\n" + std::string(4900, 'x') + "\n");
    const Program::Surroundings fullDisk{.largestFileSize = 4096};
    const std::string video = folder / "out.mp4", image = folder / "out.png", audio = folder / "out.m4a";
    folder.expectFailure({"export", package, "-o", video}, 1, video + ": ", fullDisk);
    folder.expectFailure({"frame", package, "--at", "0", "-o", image}, 1, image + ": ", {.largestFileSize = 256});
    folder.expectFailure({"loudness", package + "/recording.mp4", "-o", audio}, 1, audio + ": ", fullDisk);
    folder.expectFailure({"captions", package, "--import", folder / "talk.srt"}, 1,
                         package + "/project.json: ", fullDisk);
}

}  // namespace
}  // namespace lumenwhirl::test
