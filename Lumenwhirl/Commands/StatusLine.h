#pragma once

#include "Lumenwhirl/Commands/ProgressLine.h"

#include <string>

namespace lumenwhirl {

/// One line on standard error that is drawn again and again, and gone when its owner is.
class StatusLine {
public:
    StatusLine() = default;
    ~StatusLine() { clear(); }
    StatusLine(const StatusLine&) = delete;
    StatusLine& operator=(const StatusLine&) = delete;

    /// Whether somebody looks at standard error.
    [[nodiscard]] static bool isWatched();
    /// What the terminal can show.
    [[nodiscard]] static ProgressLine::Symbols symbols();
    /// How many may be drawn.
    [[nodiscard]] static int columns();

    void draw(const std::string& text);
    void clear();

private:
    bool isDrawn_ = false;
};

}  // namespace lumenwhirl
