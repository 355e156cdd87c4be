#pragma once

#include "Engine/Documents/EventLog.h"
#include "Files/Descriptor.h"

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace lumenwhirl {

/// The event log of a running recording: a file in the package to which every event is appended as it happens, so
/// that a crash loses none. A normal stop writes events.json and removes the journal; one without a writer was
/// left by a crash.
///
/// The first line is "recording" and a RecordingInfo, which later such lines replace; every other line is the name
/// of an array of EventLog and one element of it: `cursor {"t":1.25,"x":640,"y":360}`.
///
/// Each line is handed to the system as it is appended, so it survives if this program is killed. A power cut
/// takes what the system has not yet written to the disk.
class EventJournal {
public:
    static constexpr std::string_view fileName = ".events.journal";

    /// Begins the journal of a new package, see createNewFile(). This is done before anything is recorded: the
    /// time of the first frame is appended when it is known. Throws LumenwhirlPackage::Error, also where there is
    /// a journal. The file stays when this is destroyed.
    EventJournal(const std::filesystem::path& package, const RecordingInfo& info);

    /// One thread at a time. After a failure, such as a full disk, nothing more is written, and the file ends with
    /// the last event that was written as a whole.
    void append(const CursorSample& sample) noexcept;
    void append(const ClickEvent& click) noexcept;
    void append(const ScrollEvent& scroll) noexcept;
    void append(const KeyEvent& key) noexcept;
    void append(const RecordingInfo& info) noexcept;

    /// Why nothing more is written, or why it is lost because the package is no longer there, in one line; empty
    /// while all is well. Any thread.
    [[nodiscard]] std::optional<std::string> failure() const;

    /// What the package's journal holds, without incomplete or damaged lines, and so without a display where not
    /// even the first line is complete; empty when there is no journal. Throws LumenwhirlPackage::Error when it
    /// cannot be read or does not begin as a journal.
    [[nodiscard]] static std::optional<EventLog> read(const std::filesystem::path& package);
    /// Whether a journal of the package is open for writing, in any process.
    [[nodiscard]] static bool isBeingWritten(const std::filesystem::path& package);
    /// Does nothing when there is none. Throws LumenwhirlPackage::Error.
    static void remove(const std::filesystem::path& package);

private:
    template <class Part>
    void appendPart(std::string_view kind, const Part& part) noexcept;
    void write(const std::string& line);
    void fail(const std::string& problem) noexcept;
    [[nodiscard]] bool hasFailed() const;

    const std::filesystem::path file_;
    const Descriptor descriptor_;  // holds a lock while it is open
    std::int64_t wholeBytes_ = 0;  // size of the complete lines; used by the appending thread only
    mutable std::mutex mutex_;
    std::optional<std::string> failure_;  // under mutex_
};

}  // namespace lumenwhirl
