#pragma once

#include "Engine/Timeline/EditTimeline.h"
#include "Files/AtomicFile.h"

#include <atomic>
#include <exception>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <string>
#include <thread>

namespace lumenwhirl {

/// The audio of an export, prepared on a thread of its own while the video is encoded: normalised, cut and
/// re-timed by the edit, and re-encoded if it cannot be copied. The destructor stops the work and removes its
/// files.
class PreparedAudio {
public:
    /// Starts the work. `timeline` must outlive this. Changed audio is written to a temporary file beside
    /// `destination`.
    PreparedAudio(const std::filesystem::path& recording, const EditTimeline& timeline,
                  const std::filesystem::path& destination);
    ~PreparedAudio();
    PreparedAudio(const PreparedAudio&) = delete;
    PreparedAudio& operator=(const PreparedAudio&) = delete;

    /// Whether file() returns without waiting.
    [[nodiscard]] bool isDone() const noexcept { return isDone_; }
    /// Waits for the work, which a stop ends soon. Returns the file whose first audio track the export needs: the
    /// recording itself if nothing has to change. Valid as long as this; after a stop the file may not exist.
    /// Throws FileError if the audio could not be edited.
    [[nodiscard]] const std::filesystem::path& file(std::stop_token stop);

    /// After file(): what was done without, one line for the user; empty if nothing.
    [[nodiscard]] const std::string& notice() const noexcept { return notice_; }

private:
    [[nodiscard]] bool makeLouder(const std::stop_token& stop);
    void make(const std::stop_token& stop);

    std::filesystem::path recording_, destination_;
    const EditTimeline& timeline_;
    std::string notice_;
    std::optional<AtomicFile> edited_;  // never committed
    std::exception_ptr failure_;
    std::atomic<bool> isDone_ = false;
    std::jthread worker_;  // last: joined before what it uses goes away
};

}  // namespace lumenwhirl
