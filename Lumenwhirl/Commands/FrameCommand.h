#pragma once

#include "Lumenwhirl/Commands/Command.h"

#include <string>

namespace lumenwhirl {

/// `lumenwhirl frame`: one finished frame as a picture.
class FrameCommand final : public Command {
public:
    explicit FrameCommand(CLI::App& parser);
    void run() override;

private:
    std::string package_, output_;
    double at_ = 0;
    bool noZoom_ = false;
};

}  // namespace lumenwhirl
