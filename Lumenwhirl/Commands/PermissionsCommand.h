#pragma once

#include "Lumenwhirl/Commands/Command.h"

namespace lumenwhirl {

/// `lumenwhirl permissions`: what recordings are allowed on this desktop.
class PermissionsCommand final : public Command {
public:
    explicit PermissionsCommand(CLI::App& parser);
    void run() override;
};

}  // namespace lumenwhirl
