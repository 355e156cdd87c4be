#include "Recorder/RecordingController.h"

#include "Files/Descriptor.h"
#include "Recorder/EventTap.h"
#include "Recorder/FramePlacement.h"
#include "Recorder/GlobalHotKey.h"
#include "Recorder/MicRecorder.h"
#include "Recorder/Package/EventJournal.h"
#include "Recorder/PackageCompletion.h"
#include "Recorder/Platform/PlatformError.h"
#include "Recorder/RecordingFile.h"
#include "Recorder/ScreenRecorder.h"

#include <cassert>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <system_error>
#include <thread>
#include <utility>

#include <fcntl.h>
#include <sys/prctl.h>
#include <unistd.h>

namespace lumenwhirl {
namespace {

constexpr double moveHz = 120;         // cursor samples a second, at most
constexpr double pollInterval = 0.01;  // seconds
constexpr std::int64_t framesPerSecond = 60;

/// Sends growing files to the disk once a second, on a thread of its own, so that a power cut takes no more of
/// them than that. Files that do not exist yet are skipped.
class DiskFlusher {
public:
    explicit DiskFlusher(std::vector<std::filesystem::path> files)
        : files_(std::move(files)), thread_([this](const std::stop_token& stop) { run(stop); }) {}

private:
    void run(const std::stop_token& stop) const {
        std::mutex mutex;
        std::condition_variable_any never;
        std::unique_lock lock(mutex);
        while (!never.wait_for(lock, stop, std::chrono::seconds(1), [&] { return stop.stop_requested(); })) {
            for (const std::filesystem::path& file : files_) {
                const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
                if (descriptor.isOpen()) (void)::fdatasync(descriptor.get());  // its writer meets a failure too
            }
        }
    }

    std::vector<std::filesystem::path> files_;
    std::jthread thread_;  // last, so it is joined before what it uses goes away
};

/// Keeps the keys that are in memory out of core dumps and from debuggers of the same user.
class Undumpable {
public:
    Undumpable() : former_(::prctl(PR_GET_DUMPABLE)) { ::prctl(PR_SET_DUMPABLE, 0); }
    ~Undumpable() {
        if (former_ == 1) ::prctl(PR_SET_DUMPABLE, 1);  // no other value can be set
    }
    Undumpable(const Undumpable&) = delete;
    Undumpable& operator=(const Undumpable&) = delete;

private:
    const int former_;
};

}  // namespace

/// What lives as long as one recording, in the order in which it starts.
struct RecordingController::Session {
    Session(LumenwhirlPackage made, const DisplayInfo& captured)
        : package(std::move(made)),
          info{.fps = framesPerSecond, .display = captured},
          journal(package.url(), info),
          flusher({package.recordingURL(), package.micURL(), package.url() / EventJournal::fileName}) {}
    ~Session() {
        if (screen) screen->onAreaChange(nullptr);  // the tap ends first
    }

    LumenwhirlPackage package;
    RecordingInfo info;
    EventJournal journal;
    DiskFlusher flusher;
    std::unique_ptr<ScreenRecorder> screen;
    std::unique_ptr<MicRecorder> microphone;
    std::optional<Undumpable> undumpable;  // while keys are logged
    std::unique_ptr<EventTap> input;
};

RecordingController::RecordingController(ScreenSystem& screen, AudioSystem& audio, HostClock& clock)
    : screen_(screen), audio_(audio), clock_(clock) {}

RecordingController::~RecordingController() = default;

LumenwhirlPackage RecordingController::start(const RecordingOptions& options, const std::string& packageName,
                                             const std::filesystem::path& folder, const std::stop_token& stop) {
    assert(state_ == State::idle);
    notices_.clear();
    const auto package = LumenwhirlPackage::createNew(packageName, folder);
    if (!package)
        throw RecordingError(
            RecordingError::Kind::nameTaken,
            LumenwhirlPackage::pathFor(packageName, folder).string() + ": already exists; choose another name");
    std::unique_ptr<Session> session;
    try {
        session = std::make_unique<Session>(*package, options.target.displayInfo());
        open(options, *session);
        session->screen->start();
        awaitFirstFrame(*session, stop);
        session->info.startHostTime = session->screen->recordingStartHostTime();
        session->journal.append(session->info);
        if (options.captureMic) startMicrophone(*session, options);
        startInput(*session);
    } catch (...) {
        session.reset();
        std::error_code ignored;
        std::filesystem::remove_all(package->url(), ignored);
        throw;
    }
    const std::lock_guard lock(mutex_);
    session_ = std::move(session);
    state_ = State::recording;
    return *package;
}

/// Opens all without which there is no recording, and the computer's audio, which may fail.
void RecordingController::open(const RecordingOptions& options, Session& session) {
    // The microphone's audio replaces any other in the end.
    auto source = options.captureSystemAudio && !options.captureMic ? ScreenRecorder::AudioSource::system
                                                                    : ScreenRecorder::AudioSource::none;
    std::unique_ptr<AudioStream> audio;
    if (source == ScreenRecorder::AudioSource::system) {
        try {
            audio = audio_.systemAudio();
        } catch (const PlatformError& error) {  // better a recording without audio than none
            source = ScreenRecorder::AudioSource::none;
            notices_.push_back(std::string("recording without audio: ") + error.what());
        }
    }
    const DisplayInfo& display = session.info.display;
    RecordingFile::Settings settings;
    settings.width = static_cast<int>(display.pixelWidth);
    settings.height = static_cast<int>(display.pixelHeight);
    settings.codec = options.codec;
    settings.encoder = options.encoder;
    auto file = std::make_unique<RecordingFile>(session.package.recordingURL(), settings);
    session.screen = std::make_unique<ScreenRecorder>(options.target.makeStream(screen_), source, std::move(audio),
                                                      std::move(file), clock_);
}

void RecordingController::awaitFirstFrame(Session& session, const std::stop_token& stop) {
    const double deadline = clock_.now() + longestWait;
    while (session.screen->recordingStartHostTime() == 0) {
        if (stop.stop_requested())
            throw RecordingError(RecordingError::Kind::cancelled, "cancelled before the recording had begun");
        for (const auto& problem : {session.screen->endReason(), session.screen->failure()})
            if (problem) throw RecordingError(RecordingError::Kind::noFrames, *problem);
        if (clock_.now() > deadline)
            throw RecordingError(RecordingError::Kind::noFrames,
                                 "no frame arrived within 2 seconds; check that the display or window is visible");
        clock_.sleep(pollInterval, stop);
    }
}

void RecordingController::startMicrophone(Session& session, const RecordingOptions& options) {
    auto microphone = std::make_unique<MicRecorder>(options.micDeviceID, session.package.micURL(), audio_,
                                                    session.info.startHostTime);
    if (microphone->start()) {
        const auto& wanted = options.micDeviceID;
        if (wanted && microphone->deviceID() != wanted)
            notices_.push_back("there is no microphone \"" + *wanted + "\"; recording the default one, \"" +
                               *microphone->deviceID() + "\"");
        session.microphone = std::move(microphone);
    } else {
        notices_.push_back("recording without a microphone: " + microphone->failure().value_or("there is none"));
    }
}

void RecordingController::startInput(Session& session) {
    std::unique_ptr<InputStream> stream;
    try {
        stream = screen_.input();
    } catch (const PlatformError&) {  // the tap works without one
    }
    session.undumpable.emplace();
    const EventTap::Shortcut stopKey{GlobalHotKey::stopKeyCode, GlobalHotKey::stopModifiers};
    session.input = std::make_unique<EventTap>(session.info.display, session.info.startHostTime, moveHz,
                                               std::move(stream), &session.journal, stopKey);
    if (!session.input->start()) {
        session.undumpable.reset();
        notices_.emplace_back("recording without the cursor and keys: input cannot be listened to");
        return;
    }
    session.screen->onAreaChange(
        [&tap = *session.input, display = session.info.display](const ScreenRecorder::Area& area) {
            tap.setArea(area.origin, placementScale(area.width, area.height, static_cast<int>(display.pixelWidth),
                                                    static_cast<int>(display.pixelHeight)));
        });
}

LumenwhirlPackage RecordingController::stop() {
    {
        const std::lock_guard lock(mutex_);
        if (state_ != State::recording)
            throw RecordingError(RecordingError::Kind::notRecording, "no recording is running");
        state_ = State::finishing;
    }
    struct Afterwards {
        ~Afterwards() { state = State::idle; }  // even if completing fails, another recording can begin
        std::atomic<State>& state;
    } const afterwards{state_};
    const std::unique_ptr<Session> session = [this] {
        const std::lock_guard lock(mutex_);
        return std::move(session_);
    }();
    PackageCompletion::Recorded recorded{.log = {.recording = session->info}};
    session->screen->onAreaChange(nullptr);
    EventTap::Events events = session->input->stop();
    recorded.log.cursor = std::move(events.cursor);
    recorded.log.clicks = std::move(events.clicks);
    recorded.log.scroll = std::move(events.scroll);
    recorded.log.keys = std::move(events.keys);
    if (session->microphone) session->microphone->finish();
    const ScreenRecorder::Result result = session->screen->stop();
    recorded.duration = result.duration;
    recorded.recordedSystemAudio = result.audioSource == ScreenRecorder::AudioSource::system && result.wroteAudio;
    recorded.recordedMicrophone = session->microphone != nullptr;
    notices_.clear();
    if (const auto failure = PackageCompletion::complete(session->package, recorded))
        notices_.push_back("the voice is in mic.m4a, but not in the recording: " + *failure);
    return session->package;
}

RecordingController::Progress RecordingController::progress() const {
    const std::lock_guard lock(mutex_);
    if (!session_) return {};
    const ScreenRecorder& screen = *session_->screen;
    const double start = screen.recordingStartHostTime();
    return {.seconds = start > 0 ? clock_.now() - start : 0,
            .file = screen.progress(),
            .audioLevel = session_->microphone ? session_->microphone->level() : screen.audioLevel()};
}

std::optional<std::string> RecordingController::endReason() const {
    const std::lock_guard lock(mutex_);
    return session_ ? session_->screen->endReason() : std::nullopt;
}

std::optional<std::string> RecordingController::failure() const {
    const std::lock_guard lock(mutex_);
    if (!session_) return std::nullopt;
    const auto failure = session_->screen->failure();
    return failure ? failure : session_->journal.failure();
}

std::optional<std::string> RecordingController::audioFailure() const {
    const std::lock_guard lock(mutex_);
    if (!session_) return std::nullopt;
    return session_->microphone ? session_->microphone->failure() : session_->screen->audioFailure();
}

}  // namespace lumenwhirl
