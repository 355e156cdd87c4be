#include "Lumenwhirl/Commands/CommandLine.h"

#include "Lumenwhirl/Commands/CaptionsCommand.h"
#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/DemoCommand.h"
#include "Lumenwhirl/Commands/ExportCommand.h"
#include "Lumenwhirl/Commands/FrameCommand.h"
#include "Lumenwhirl/Commands/InspectCommand.h"
#include "Lumenwhirl/Commands/LoudnessCommand.h"
#include "Lumenwhirl/Commands/MicrophonesCommand.h"
#include "Lumenwhirl/Commands/PermissionsCommand.h"
#include "Lumenwhirl/Commands/RecordCommand.h"
#include "Lumenwhirl/Commands/TargetsCommand.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace lumenwhirl {
namespace {

constexpr const char* versionText = "lumenwhirl " LUMENWHIRL_VERSION;

class Program {
public:
    Program() : parser_("Records a screen and turns the recording into a polished video.", "lumenwhirl") {
        parser_.require_subcommand(1);
        parser_.get_formatter()->label("SUBCOMMAND", "COMMAND");
        parser_.set_help_flag("-h,--help", "Explain the program or a command");
        add<RecordCommand>("record", "Record a display or a window, with sound and input");
        add<TargetsCommand>("targets", "List the displays and windows that can be recorded, as JSON");
        add<MicrophonesCommand>("microphones", "List the microphones, as JSON");
        add<PermissionsCommand>("permissions", "Tell what recordings are allowed here, as JSON");
        add<DemoCommand>("demo", "Make a recording to try things with");
        add<ExportCommand>("export", "Make the finished video of a recording");
        add<FrameCommand>("frame", "Save one finished frame as a picture");
        add<InspectCommand>("inspect", "Print what the models say of a recording, as JSON");
        add<LoudnessCommand>("loudness", "Measure how loud the speech in a file is, or make it louder");
        add<CaptionsCommand>("captions", "Bring captions into a recording, or out of it");
        addVersionFlag(parser_);
        parser_.footer(
            "\"lumenwhirl COMMAND --help\" explains a command. To begin with:\n"
            "  lumenwhirl demo --export demo.mp4\n\n"
            "Exit status: 0 done, 1 it failed (one line on standard error says why), 2 wrong usage.");
    }

    void run(int argc, const char* const* argv) {
        if (argc < 2) throw UsageError("no command given; \"lumenwhirl --help\" lists them");
        rejectUnknownCommand(argv[1]);
        parser_.parse(argc, argv);
        for (const auto& command : commands_)
            if (command->parser().parsed()) command->run();
    }

    /// What help and version requests print; they come as exceptions.
    [[nodiscard]] int answer(const CLI::Success& request) { return parser_.exit(request); }

    /// The command whose help would have told.
    [[nodiscard]] std::string helpCommand() const {
        for (const auto& command : commands_)
            if (command->parser().parsed()) return "lumenwhirl " + command->parser().get_name() + " --help";
        return "lumenwhirl --help";
    }

private:
    template <class SomeCommand>
    void add(const char* name, const char* description) {
        CLI::App& parser = *parser_.add_subcommand(name, description);
        parser.group("Commands");
        addVersionFlag(parser);
        commands_.push_back(std::make_unique<SomeCommand>(parser));
    }
    static void addVersionFlag(CLI::App& parser) {
        parser.set_version_flag("--version", versionText, "Print the version");
    }
    void rejectUnknownCommand(const std::string& name) const {
        if (name.starts_with('-')) return;
        for (const auto& command : commands_)
            if (command->parser().get_name() == name) return;
        throw UsageError("unknown command \"" + name + "\"; \"lumenwhirl --help\" lists them");
    }

    CLI::App parser_;
    std::vector<std::unique_ptr<Command>> commands_;
};

int complain(std::string_view message, int status) {
    const std::string line = "lumenwhirl: " + oneLine(message) + '\n';
    std::fwrite(line.data(), 1, line.size(), stderr);
    return status;
}

int runProgram(Program& program, int argc, const char* const* argv) {
    try {
        program.run(argc, argv);
    } catch (const CLI::Success& request) {
        return program.answer(request);
    } catch (const CLI::Error& error) {
        return complain(std::string(error.what()) + "; see " + program.helpCommand(), 2);
    } catch (const UsageError& error) {
        return complain(error.what(), 2);
    } catch (const std::bad_alloc&) {
        return complain("out of memory", 1);
    } catch (const std::exception& error) {
        return complain(error.what(), 1);
    }
    return 0;
}

}  // namespace

std::string oneLine(std::string_view message) {
    std::string line;
    for (const char c : message) {
        const auto byte = static_cast<unsigned char>(c);
        if (c == '\n') {
            line += "\\n";
        } else if (byte < 0x20 || byte == 0x7F) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\x%02x", byte);
            line += escape;
        } else {
            line += c;
        }
    }
    return line;
}

int runCommandLine(int argc, const char* const* argv) noexcept {
    // A file that meets a size limit is a failed write, which is reported and cleaned up, not the end of the
    // process.
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        Program program;
        const int status = runProgram(program, argc, argv);
        const char* const problem = std::fflush(stdout) != 0   ? std::strerror(errno)
                                    : std::ferror(stdout) != 0 ? "cannot be written"  // what was flushed before
                                                               : nullptr;
        if (problem != nullptr && status == 0) return complain(std::string("standard output: ") + problem, 1);
        return status;
    } catch (const std::exception& error) {
        return complain(error.what(), 1);
    }
}

}  // namespace lumenwhirl
