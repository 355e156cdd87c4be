#pragma once

#include "Media/Encoders.h"

namespace CLI {
class App;
}

namespace lumenwhirl {

/// Declares --encoder. `choice` must outlive the parser; it stays as it is when the option is not given.
void addEncoderOption(CLI::App& parser, EncoderChoice& choice);

}  // namespace lumenwhirl
