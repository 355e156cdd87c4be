#include "Exporter/AudioNormalizer.h"
#include "Files/AtomicFile.h"
#include "Files/FileError.h"
#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/Interruption.h"
#include "Lumenwhirl/Commands/JsonWriter.h"
#include "Lumenwhirl/Commands/Options.h"
#include "Lumenwhirl/Session/Packages.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace lumenwhirl {
namespace {

std::string report(const AudioNormalizer::Levels& levels, float gain) {
    JsonWriter json(JsonWriter::Layout::compact);
    json.beginObject().member("peak", double{levels.peak}).member("speechLevel", double{levels.speechLevel});
    json.member("gain", double{gain}).member("sampleRate", levels.sampleRate).member("channels", levels.channels);
    return json.endObject().text();
}

/// `lumenwhirl loudness`: measures how loud the speech in a file is, and writes a louder copy on request.
class LoudnessCommand final : public Command {
public:
    explicit LoudnessCommand(CLI::App& parser) : Command(parser) {
        parser.add_option("FILE", file_, "An audio or video file")->required()->option_text(" ");
        parser.add_option("-o,--output", output_, "Write the louder copy here, if one is needed (AAC in M4A)")
            ->option_text("OUT.m4a");
        Options::addNumber(parser, "--gain", gain_, {1e-6, 1e6}, "Use this gain instead of what the speech needs")
            ->option_text("G");
        parser.footer(
            "Prints {\"peak\",\"speechLevel\",\"gain\",\"sampleRate\",\"channels\"}. Levels are linear, 1 is full scale;\n"
            "the gain is what brings the speech to 0.14. Nothing is ever made quieter: at a gain of 1.05 or less\n"
            "no copy is written.\n\n"
            "Examples:\n"
            "  lumenwhirl loudness Demo.lumenwhirl/recording.mp4\n"
            "  lumenwhirl loudness talk.wav -o talk.m4a --gain 2");
    }

    void run() override {
        if (!output_.empty()) {
            Session::checkDestination(output_, nullptr);
            std::error_code error;
            if (std::filesystem::equivalent(file_, output_, error) && !error)
                throw CommandError(output_ + ": is the file to be measured; choose another name");
        }
        const AudioNormalizer::Levels levels = AudioNormalizer::measure(file_);
        const float gain = gain_ > 0 ? static_cast<float>(gain_) : AudioNormalizer::gainFor(levels);
        if (!output_.empty() && gain > AudioNormalizer::minimumUsefulGain) writeCopy(gain);
        std::puts(report(levels, gain).c_str());
    }

private:
    void writeCopy(float gain) const {
        Interruption interruption;
        AtomicFile file(output_, AtomicFile::Access::umask);
        try {
            if (!AudioNormalizer::writeCopy(file_, file.path(), gain, interruption.token()))
                throw CommandError(output_ + ": cancelled; nothing was written");
        } catch (const FileError& error) {
            if (!AtomicFile::isPathOfOne(error.file())) throw;
            throw CommandError(output_ + ": " + error.problem());
        }
        file.commit(AtomicFile::Durability::content);
    }

    std::string file_, output_;
    double gain_ = 0;  // 0: not given
};

}  // namespace

std::unique_ptr<Command> makeLoudnessCommand(CLI::App& parser) {
    return std::make_unique<LoudnessCommand>(parser);
}

}  // namespace lumenwhirl
