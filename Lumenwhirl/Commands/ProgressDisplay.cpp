#include "Lumenwhirl/Commands/ProgressDisplay.h"

#include "Lumenwhirl/Commands/CommandLine.h"
#include "Lumenwhirl/Commands/JsonWriter.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>
#include <system_error>

namespace lumenwhirl {
namespace {

ProgressLine::Symbols terminalSymbols() {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {  // the first one set decides, as in setlocale
        const char* const value = std::getenv(name);
        if (value == nullptr || *value == '\0') continue;
        const std::string_view locale = value;
        const bool isUtf8 = locale.find("UTF-8") != locale.npos || locale.find("utf8") != locale.npos;
        return isUtf8 ? ProgressLine::Symbols::unicode : ProgressLine::Symbols::ascii;
    }
    return ProgressLine::Symbols::ascii;
}

int terminalColumns() {
    winsize size{};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return isKnown ? size.ws_col : 80;
}

bool writeLine(const std::string& line) {
    return std::fwrite(line.data(), 1, line.size(), stdout) == line.size() && std::fputc('\n', stdout) != EOF &&
           std::fflush(stdout) == 0;
}

}  // namespace

std::optional<ProgressStyle> progressStyleFromName(std::string_view name) {
    if (name == "none") return ProgressStyle::none;
    if (name == "bar") return ProgressStyle::bar;
    if (name == "json") return ProgressStyle::json;
    return std::nullopt;
}

ProgressStyle defaultProgressStyle() {
    return isatty(STDERR_FILENO) != 0 ? ProgressStyle::bar : ProgressStyle::none;
}

ProgressDisplay::ProgressDisplay(ProgressStyle style, const std::string& label)
    : style_(style), line_(label, terminalSymbols()) {}

ProgressDisplay::~ProgressDisplay() {
    clearBar();
}

double ProgressDisplay::elapsed() const {
    return std::chrono::duration<double>(Clock::now() - start_).count();
}

bool ProgressDisplay::update(std::int64_t framesDone, std::int64_t totalFrames) {
    framesDone_ = framesDone;
    if (style_ == ProgressStyle::json) {
        const double fraction =
            totalFrames > 0 ? static_cast<double>(framesDone) / static_cast<double>(totalFrames) : 0;
        JsonWriter json(JsonWriter::Layout::compact);
        json.beginObject().member("framesDone", framesDone).member("totalFrames", totalFrames);
        json.member("fraction", fraction).endObject();
        return writeLine(json.text());
    }
    if (style_ == ProgressStyle::bar) {
        const double now = elapsed();
        line_.update(framesDone, totalFrames, now);
        if (now - lastDrawn_ >= redrawInterval || framesDone == totalFrames) {
            lastDrawn_ = now;
            barIsDrawn_ = true;
            // A column is left free: some terminals wrap when the last one is written.
            std::fprintf(stderr, "\r\033[K%s", line_.text(terminalColumns() - 1).c_str());
            std::fflush(stderr);
        }
    }
    return true;
}

void ProgressDisplay::finish(const std::filesystem::path& output) {
    const double seconds = elapsed();
    const double framesPerSecond = seconds > 0 ? static_cast<double>(framesDone_) / seconds : 0;
    if (style_ == ProgressStyle::json) {
        JsonWriter json(JsonWriter::Layout::compact);
        json.beginObject().member("output", output.string()).member("seconds", seconds);
        json.member("framesPerSecond", framesPerSecond).endObject();
        writeLine(json.text());  // the work is done; the caller's last flush reports a reader that is gone
    }
    if (style_ == ProgressStyle::bar) {
        clearBar();
        std::error_code error;
        const std::uintmax_t bytes = std::filesystem::file_size(output, error);
        std::fprintf(stderr, "%s  (%lld frames%s%s, %.1f s, %.0f fps)\n", oneLine(output.string()).c_str(),
                     static_cast<long long>(framesDone_), error ? "" : ", ", error ? "" : sizeText(bytes).c_str(),
                     seconds, framesPerSecond);
    }
}

void ProgressDisplay::clearBar() {
    if (!barIsDrawn_) return;
    barIsDrawn_ = false;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

}  // namespace lumenwhirl
