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

/// The event log of a recording that runs: a file in the package to which every event is added at once, so that
/// a crash loses none of them. A clean stop writes events.json and removes it; one that is found without a writer
/// is what a crash has left.
///
/// The first line is "recording" and a RecordingInfo, which a later one replaces; all others name an array of
/// EventLog and have one of its elements: `cursor {"t":1.25,"x":640,"y":360}`.
///
/// A line is handed to the system by one call, which keeps it when this program is killed; what a power cut may
/// take is what nobody has sent to the disk yet.
class EventJournal {
public:
    static constexpr std::string_view fileName = ".events.journal";

    /// Begins the journal (0600) of the package, in place of one that was left there, before anything is recorded:
    /// the time of the first picture is appended when it is known. Throws
    /// LumenwhirlPackage::Error, also when another recording is being written there.
    EventJournal(const std::filesystem::path& package, const RecordingInfo& info);
    // Its end leaves the file where it is.

    /// One thread at a time. After the first failure, such as a full disk, nothing is written any more, and the
    /// file ends with the last event that was written whole.
    void append(const CursorSample& sample) noexcept;
    void append(const ClickEvent& click) noexcept;
    void append(const ScrollEvent& scroll) noexcept;
    void append(const KeyEvent& key) noexcept;
    void append(const RecordingInfo& info) noexcept;

    /// Why nothing is written any more, in one line; empty while all is well. Any thread.
    [[nodiscard]] std::optional<std::string> failure() const;

    /// What the package's journal holds, without lines that are not whole; empty when there is no journal. Throws
    /// LumenwhirlPackage::Error when it cannot be read or does not begin as one.
    [[nodiscard]] static std::optional<EventLog> read(const std::filesystem::path& package);
    /// Whether a journal of the package is open for writing, in any process.
    [[nodiscard]] static bool isBeingWritten(const std::filesystem::path& package);
    /// Nothing happens when there is none. Throws LumenwhirlPackage::Error.
    static void remove(const std::filesystem::path& package);

private:
    template <class Part>
    void appendPart(std::string_view kind, const Part& part) noexcept;
    void write(const std::string& line);
    void fail(const std::string& problem) noexcept;
    [[nodiscard]] bool hasFailed() const;

    const std::filesystem::path file_;
    const Descriptor descriptor_;  // with a lock as long as it is open
    std::int64_t wholeBytes_ = 0;  // of the file's lines; only for the thread that appends
    mutable std::mutex mutex_;
    std::optional<std::string> failure_;  // under mutex_
};

}  // namespace lumenwhirl
