#pragma once

#include "Lumenwhirl/Commands/Command.h"

#include <optional>
#include <string>

namespace lumenwhirl {

/// `lumenwhirl loudness`: how loud the speech in a file is, and a louder copy of it.
class LoudnessCommand final : public Command {
public:
    explicit LoudnessCommand(CLI::App& parser);
    void run() override;

private:
    void writeCopy(float gain) const;

    std::string file_, output_;
    double gain_ = 0;  // 0: not given
};

}  // namespace lumenwhirl
