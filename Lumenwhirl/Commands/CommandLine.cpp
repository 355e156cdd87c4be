#include "Lumenwhirl/Commands/CommandLine.h"

#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/Terminal.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <vector>

namespace lumenwhirl {
namespace {

constexpr const char* versionText = "lumenwhirl " LUMENWHIRL_VERSION;

class Program {
public:
    Program() : parser_("Records a screen and turns the recording into a polished video.", "lumenwhirl") {
        parser_.require_subcommand(1);
        parser_.get_formatter()->label("SUBCOMMAND", "COMMAND");
        parser_.set_help_flag("-h,--help", "Show this help, or that of a command");
        add("record", "Record a display or a window, with audio and input", makeRecordCommand);
        add("targets", "List the displays and windows that can be recorded, as JSON", makeTargetsCommand);
        add("microphones", "List the microphones, as JSON", makeMicrophonesCommand);
        add("permissions", "Show what may be recorded here, as JSON", makePermissionsCommand);
        add("demo", "Create a sample recording to try things with", makeDemoCommand);
        add("export", "Export a recording as a finished video", makeExportCommand);
        add("frame", "Save one finished frame as an image", makeFrameCommand);
        add("inspect", "Show how a recording will be rendered, as JSON", makeInspectCommand);
        add("loudness", "Measure how loud the speech in a file is, or make it louder", makeLoudnessCommand);
        add("captions", "Import, export or remove a recording's captions", makeCaptionsCommand);
        addVersionFlag(parser_);
        parser_.footer(
            "\"lumenwhirl COMMAND --help\" explains a command. To get started:\n"
            "  lumenwhirl demo --export demo.mp4\n\n"
            "Exit status: 0 done, 1 failed (one line on standard error says why), 2 wrong usage.");
    }

    void run(int argc, const char* const* argv) {
        if (argc < 2) throw UsageError("no command given; \"lumenwhirl --help\" lists them");
        rejectUnknownCommand(argv[1]);
        parser_.parse(argc, argv);
        for (const auto& command : commands_)
            if (command->parser().parsed()) command->run();
    }

    /// Prints the help or the version; requests for them come as exceptions.
    [[nodiscard]] int answer(const CLI::Success& request) { return parser_.exit(request); }

    /// Where the user finds the correct usage.
    [[nodiscard]] std::string helpCommand() const {
        const CLI::App* const command = chosen();
        return command != nullptr ? "lumenwhirl " + command->get_name() + " --help" : "lumenwhirl --help";
    }
    /// The first argument that no option takes.
    [[nodiscard]] std::string surplus() const {
        // The command's are among those of the whole line; so is a "--" in front of them.
        const std::vector<std::string> all = parser_.remaining(true);
        const auto first =
            std::find_if(all.begin(), all.end(), [](const std::string& each) { return each != "--"; });
        return first != all.end() ? *first : "--";
    }

private:
    void add(const char* name, const char* description, std::unique_ptr<Command> (*make)(CLI::App&)) {
        CLI::App& parser = *parser_.add_subcommand(name, description);
        parser.group("Commands");
        addVersionFlag(parser);
        commands_.push_back(make(parser));
    }
    static void addVersionFlag(CLI::App& parser) {
        parser.set_version_flag("--version", versionText, "Print the version");
    }
    [[nodiscard]] const CLI::App* chosen() const {
        for (const auto& command : commands_)
            if (command->parser().parsed()) return &command->parser();
        return nullptr;
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

int complain(const std::string& message, int status) {
    tell(message);
    return status;
}

int runProgram(Program& program, int argc, const char* const* argv) {
    try {
        program.run(argc, argv);
    } catch (const CLI::Success& request) {
        return program.answer(request);
    } catch (const CLI::ExtrasError&) {
        // The parser's own message lists all of them backwards.
        return complain("\"" + program.surplus() + "\" is not expected here; see " + program.helpCommand(), 2);
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

int runCommandLine(int argc, const char* const* argv) noexcept {
    // A file that reaches a size limit is a failed write, to be reported and cleaned up, not the end of the
    // process.
    std::signal(SIGXFSZ, SIG_IGN);
    try {
        Program program;
        const int status = runProgram(program, argc, argv);
        const char* const problem = std::fflush(stdout) != 0   ? std::strerror(errno)
                                    : std::ferror(stdout) != 0 ? "cannot be written"  // by an earlier flush
                                                               : nullptr;
        if (problem != nullptr && status == 0) return complain(std::string("standard output: ") + problem, 1);
        return status;
    } catch (const std::exception& error) {
        return complain(error.what(), 1);
    }
}

}  // namespace lumenwhirl
