#include "Lumenwhirl/Commands/StatusLine.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace lumenwhirl {

bool StatusLine::isWatched() {
    return isatty(STDERR_FILENO) != 0;
}

ProgressLine::Symbols StatusLine::symbols() {
    for (const char* name : {"LC_ALL", "LC_CTYPE", "LANG"}) {  // the first one set decides, as in setlocale
        const char* const value = std::getenv(name);
        if (value == nullptr || *value == '\0') continue;
        const std::string_view locale = value;
        const bool isUtf8 = locale.find("UTF-8") != locale.npos || locale.find("utf8") != locale.npos;
        return isUtf8 ? ProgressLine::Symbols::unicode : ProgressLine::Symbols::ascii;
    }
    return ProgressLine::Symbols::ascii;
}

int StatusLine::columns() {
    winsize size{};
    const bool isKnown = ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0;
    return (isKnown ? size.ws_col : 80) - 1;  // some terminals wrap when the last one is written
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
