#pragma once

#include "Lumenwhirl/Commands/Command.h"

namespace lumenwhirl {

/// `lumenwhirl targets`: the displays and windows that can be recorded.
class TargetsCommand final : public Command {
public:
    explicit TargetsCommand(CLI::App& parser);
    void run() override;
};

}  // namespace lumenwhirl
