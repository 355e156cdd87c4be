#pragma once

#include "Lumenwhirl/Commands/StatusText.h"
#include "Lumenwhirl/Session/Packages.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace lumenwhirl {

/// `message` as one line that is safe to show on a terminal: control characters, which file names may contain, are
/// escaped.
[[nodiscard]] std::string oneLine(std::string_view message);

/// Prints "lumenwhirl: message" as one line on standard error.
void tell(std::string_view message);

/// Opens a package, and tells what had to be recovered. Throws like Session::openPackage().
[[nodiscard]] LumenwhirlPackage openPackage(const std::filesystem::path& path);

/// A line on standard error that is redrawn in place, and erased when its owner is destroyed.
class StatusLine {
public:
    StatusLine() = default;
    ~StatusLine() { clear(); }
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    /// Whether standard error is a terminal in which a line can be redrawn.
    [[nodiscard]] static bool isWatched();
    /// The symbols that the locale can show.
    [[nodiscard]] static Symbols symbols();
    /// The number of columns that may be drawn.
    [[nodiscard]] static int columns();

    void draw(const std::string& text);
    void clear();

private:
    bool isDrawn_ = false;
};

}  // namespace lumenwhirl
