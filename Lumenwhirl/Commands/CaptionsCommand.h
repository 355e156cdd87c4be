#pragma once

#include "Lumenwhirl/Commands/Command.h"

#include <string>

namespace lumenwhirl {

/// `lumenwhirl captions`: captions into a project, out of it, or away.
class CaptionsCommand final : public Command {
public:
    explicit CaptionsCommand(CLI::App& parser);
    void run() override;

private:
    std::string package_, import_, export_;
    bool clear_ = false;
};

}  // namespace lumenwhirl
