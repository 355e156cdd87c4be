#pragma once

#include "Lumenwhirl/Commands/Command.h"

#include <string>
#include <vector>

namespace lumenwhirl {

/// `lumenwhirl inspect`: what the models say of a recording.
class InspectCommand final : public Command {
public:
    explicit InspectCommand(CLI::App& parser);
    void run() override;

private:
    std::string package_;
    std::vector<double> times_;
    bool timesAreSource_ = false;
};

}  // namespace lumenwhirl
