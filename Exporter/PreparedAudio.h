#pragma once

#include "Engine/Timeline/EditTimeline.h"
#include "Exporter/TemporaryFile.h"

#include <atomic>
#include <exception>
#include <filesystem>
#include <optional>
#include <stop_token>
#include <thread>

namespace lumenwhirl {

/// The sound of an export, made on a thread of its own while the picture is encoded: raised to a good level, cut
/// and re-timed as the edit says, and encoded anew where it cannot be copied. Destroyed early, it stops; it leaves
/// no file either way.
class PreparedAudio {
public:
    /// `timeline` must outlive this. Files in the making stand beside `destination`.
    PreparedAudio(const std::filesystem::path& recording, const EditTimeline& timeline,
                  const std::filesystem::path& destination);
    ~PreparedAudio();
    PreparedAudio(const PreparedAudio&) = delete;
    PreparedAudio& operator=(const PreparedAudio&) = delete;

    /// Whether file() would not wait.
    [[nodiscard]] bool isDone() const noexcept { return isDone_; }
    /// Waits for the work, which a stop ends soon. The file whose first sound track belongs under the picture: the
    /// recording itself where nothing is to change. Valid as long as this; after a stop there may be no such file.
    /// Throws MediaError when the edited sound could not be made.
    [[nodiscard]] const std::filesystem::path& file(std::stop_token stop);
    /// Where the edited sound is made, so that an error's message can leave it out.
    [[nodiscard]] const std::filesystem::path& editedFile() const noexcept { return edited_.path(); }

private:
    void make(const std::stop_token& stop);

    std::filesystem::path recording_;
    const EditTimeline& timeline_;
    std::optional<std::filesystem::path> louder_;
    TemporaryFile edited_;
    bool isEdited_ = false;
    std::exception_ptr failure_;
    std::atomic<bool> isDone_ = false;
    std::jthread worker_;  // last: joined before what it uses goes away
};

}  // namespace lumenwhirl
