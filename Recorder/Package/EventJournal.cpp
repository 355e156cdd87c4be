#include "Recorder/Package/EventJournal.h"

#include "Engine/Documents/LumenwhirlJSON.h"
#include "Files/AtomicFile.h"
#include "Files/Descriptor.h"
#include "Files/WholeFile.h"
#include "Recorder/Package/LumenwhirlPackage.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <exception>
#include <system_error>

namespace lumenwhirl {
namespace {

using Kind = LumenwhirlPackage::Error::Kind;

constexpr std::string_view recordingKind = "recording";
constexpr std::string_view cursorKind = "cursor";
constexpr std::string_view clicksKind = "clicks";
constexpr std::string_view scrollKind = "scroll";
constexpr std::string_view keysKind = "keys";
constexpr std::size_t largestJournal = std::size_t{1} << 30;  // bytes

/// A lock of the whole file that excludes every other opening of it, also in this process.
struct flock lockOf(short type) {
    struct flock lock {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    return lock;
}

template <class Part>
std::string lineOf(std::string_view kind, const Part& part) {
    return std::string(kind).append(" ").append(LumenwhirlJSON::encodeLine(part)).append("\n");
}

struct Line {
    std::string_view kind, json;
};

/// Takes the next line off the front of `text`; empty when it does not end.
std::optional<Line> takeLine(std::string_view& text) {
    const std::size_t end = text.find('\n');
    if (end == std::string_view::npos) return std::nullopt;
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end + 1);
    const std::size_t blank = std::min(line.find(' '), line.size());
    return Line{line.substr(0, blank), line.substr(blank)};
}

void add(const Line& line, EventLog& log) {
    if (line.kind == cursorKind)
        log.cursor.push_back(LumenwhirlJSON::decodeLine<CursorSample>(line.json));
    else if (line.kind == clicksKind)
        log.clicks.push_back(LumenwhirlJSON::decodeLine<ClickEvent>(line.json));
    else if (line.kind == scrollKind)
        log.scroll.push_back(LumenwhirlJSON::decodeLine<ScrollEvent>(line.json));
    else if (line.kind == keysKind)
        log.keys.push_back(LumenwhirlJSON::decodeLine<KeyEvent>(line.json));
    else if (line.kind == recordingKind) {
        // In two steps: GCC 12 lets the function build its result in the field, and an exception would leave it
        // empty.
        const auto info = LumenwhirlJSON::decodeLine<RecordingInfo>(line.json);
        log.recording = info;
    }
}

std::string textOf(const std::filesystem::path& file) {
    try {
        return readWholeFile(file, largestJournal);
    } catch (const FileError& error) {
        throw LumenwhirlPackage::Error(Kind::cannotRead, error);
    }
}

EventLog parse(std::string_view text, const std::filesystem::path& file) {
    EventLog log;
    try {
        const auto header = takeLine(text);
        if (!header) return log;  // after a power cut, a file may be empty
        if (header->kind != recordingKind) throw LumenwhirlJSON::Error("it does not begin as one");
        log.recording = LumenwhirlJSON::decodeLine<RecordingInfo>(header->json);
    } catch (const LumenwhirlJSON::Error& error) {
        throw LumenwhirlPackage::Error(Kind::malformed, file,
                                       "not the log of a recording: " + std::string(error.what()) +
                                           "; delete it to go on without the events");
    }
    while (const auto line = takeLine(text)) {
        try {
            add(*line, log);
        } catch (const LumenwhirlJSON::Error&) {
            // After a power cut, blocks of zeros may stand in place of some lines. The rest is still good.
        }
    }
    return log;
}

}  // namespace

EventJournal::EventJournal(const std::filesystem::path& package, const RecordingInfo& info)
    : file_(package / fileName), descriptor_(createNewFile(file_)) {
    if (!descriptor_.isOpen())
        throw LumenwhirlPackage::Error(Kind::cannotWrite, FileError(file_, "cannot create", errno));
    struct flock lock = lockOf(F_WRLCK);
    (void)::fcntl(descriptor_.get(), F_OFD_SETLK, &lock);  // there are file systems without locks
    try {
        write(lineOf(recordingKind, info));
        flushFolderOf(file_);
    } catch (const FileError& error) {
        ::unlink(file_.c_str());
        throw LumenwhirlPackage::Error(Kind::cannotWrite, error);
    } catch (...) {
        ::unlink(file_.c_str());
        throw;
    }
}

void EventJournal::append(const CursorSample& sample) noexcept {
    appendPart(cursorKind, sample);
}

void EventJournal::append(const ClickEvent& click) noexcept {
    appendPart(clicksKind, click);
}

void EventJournal::append(const ScrollEvent& scroll) noexcept {
    appendPart(scrollKind, scroll);
}

void EventJournal::append(const KeyEvent& key) noexcept {
    appendPart(keysKind, key);
}

void EventJournal::append(const RecordingInfo& info) noexcept {
    appendPart(recordingKind, info);
}

template <class Part>
void EventJournal::appendPart(std::string_view kind, const Part& part) noexcept {
    if (hasFailed()) return;
    try {
        write(lineOf(kind, part));
    } catch (const FileError& error) {
        fail(LumenwhirlPackage::Error(Kind::cannotWrite, error).what());
    } catch (const std::exception& error) {
        fail(error.what());
    }
}

void EventJournal::write(const std::string& line) {
    std::string_view rest = line;
    while (!rest.empty()) {
        const ssize_t count = ::write(descriptor_.get(), rest.data(), rest.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) {
            const int errorNumber = errno;
            // If this fails too, the reader leaves the torn line out.
            [[maybe_unused]] const int ignored = ::ftruncate(descriptor_.get(), wholeBytes_);
            throw FileError(file_, "cannot write", errorNumber);
        }
        rest.remove_prefix(static_cast<std::size_t>(count));
    }
    wholeBytes_ += static_cast<std::int64_t>(line.size());
}

std::optional<std::string> EventJournal::failure() const {
    {
        const std::scoped_lock lock(mutex_);
        if (failure_) return failure_;
    }
    if (::access(file_.c_str(), F_OK) == 0 || errno != ENOENT) return std::nullopt;
    return FileError(file_.parent_path(), "was moved or deleted while it was being recorded").what();
}

bool EventJournal::hasFailed() const {
    const std::scoped_lock lock(mutex_);
    return failure_.has_value();
}

void EventJournal::fail(const std::string& problem) noexcept {
    const std::scoped_lock lock(mutex_);
    if (!failure_) failure_ = problem;
}

std::optional<EventLog> EventJournal::read(const std::filesystem::path& package) {
    const std::filesystem::path file = package / fileName;
    std::error_code error;
    if (!std::filesystem::exists(file, error) && !error) return std::nullopt;
    return parse(textOf(file), file);
}

bool EventJournal::isBeingWritten(const std::filesystem::path& package) {
    const Descriptor descriptor(::open((package / fileName).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    // Only asks: taking the lock, even for a moment, could fail a recording that begins just then.
    struct flock lock = lockOf(F_RDLCK);
    return descriptor.isOpen() && ::fcntl(descriptor.get(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

void EventJournal::remove(const std::filesystem::path& package) {
    const std::filesystem::path file = package / fileName;
    if (::unlink(file.c_str()) != 0 && errno != ENOENT)
        throw LumenwhirlPackage::Error(Kind::cannotWrite, FileError(file, "cannot remove", errno));
}

}  // namespace lumenwhirl
