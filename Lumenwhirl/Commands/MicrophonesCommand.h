#pragma once

#include "Lumenwhirl/Commands/Command.h"

namespace lumenwhirl {

/// `lumenwhirl microphones`: the devices that a voice can be recorded from.
class MicrophonesCommand final : public Command {
public:
    explicit MicrophonesCommand(CLI::App& parser);
    void run() override;
};

}  // namespace lumenwhirl
