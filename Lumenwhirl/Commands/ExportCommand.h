#pragma once

#include "Lumenwhirl/Commands/Command.h"

#include <string>

namespace lumenwhirl {

/// `lumenwhirl export`: a package into a finished video.
class ExportCommand final : public Command {
public:
    explicit ExportCommand(CLI::App& parser);
    void run() override;

private:
    std::string package_, output_, preset_, progress_;
    bool noZoom_ = false;
};

}  // namespace lumenwhirl
