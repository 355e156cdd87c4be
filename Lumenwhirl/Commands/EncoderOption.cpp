#include "Lumenwhirl/Commands/EncoderOption.h"

#include <CLI/CLI.hpp>

#include <string>

namespace lumenwhirl {

void addEncoderOption(CLI::App& parser, EncoderChoice& choice) {
    parser
        .add_option_function<std::string>(
            "--encoder",
            [&choice](const std::string& name) {
                const auto known = encoderChoiceFromName(name);
                if (!known)
                    throw CLI::ValidationError("--encoder",
                                               "\"" + name + "\" is none of auto, software, vaapi, nvenc, qsv");
                choice = *known;
            },
            "What encodes H.264 and HEVC: software, or a graphics card by vaapi, nvenc or qsv; with auto, or left "
            "out, a card that can, else software")
        ->option_text("NAME");
}

}  // namespace lumenwhirl
