#include "Lumenwhirl/Commands/Terminal.h"

#include "Lumenwhirl/Session/Texts.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace lumenwhirl {

std::string oneLine(std::string_view message) {
    std::string line;
    while (!message.empty()) {
        std::size_t length = 1;
        if (message.front() == '\n') {
            line += "\\n";
        } else if (const auto [code, bytes] = unsafeCharacter(message); bytes > 0) {
            line += formatted(code < 0x100 ? "\\x%02x" : "\\u%04x", code);
            length = bytes;
        } else {
            line += message.front();
        }
        message.remove_prefix(length);
    }
    return line;
}

void tell(std::string_view message) {
    const std::string line = "lumenwhirl: " + oneLine(message) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
}

LumenwhirlPackage openPackage(const std::filesystem::path& path) {
    const Session::OpenedPackage opened = Session::openPackage(path);
    for (const std::string& notice : opened.notices()) tell(notice);
    return opened.package;
}

bool StatusLine::isWatched() {
    const char* const terminal = std::getenv("TERM");
    return isatty(STDERR_FILENO) != 0 && terminal != nullptr && std::string_view(terminal) != "dumb";
}

Symbols StatusLine::symbols() {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {  // the first one set decides, as in setlocale
        const char* const value = std::getenv(name);
        if (value == nullptr || *value == '\0') continue;
        const std::string_view locale = value;
        const bool isUtf8 = locale.find("UTF-8") != locale.npos || locale.find("utf8") != locale.npos;
        return isUtf8 ? Symbols::unicode : Symbols::ascii;
    }
    return Symbols::ascii;
}

int StatusLine::columns() {
    winsize size{};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return (isKnown ? size.ws_col : 80) - 1;  // some terminals wrap once the last column is written
}

void StatusLine::draw(const std::string& text) {
    isDrawn_ = true;
    std::fprintf(stderr, "\r\033[K%s", text.c_str());
    std::fflush(stderr);
}

void StatusLine::clear() {
    if (!isDrawn_) return;
    isDrawn_ = false;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

}  // namespace lumenwhirl
