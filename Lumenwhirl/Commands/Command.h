#pragma once

#include <memory>
#include <stdexcept>

namespace CLI {
class App;
}

namespace lumenwhirl {

/// One command of the program. Its constructor declares the options to the parser, which fills them in.
class Command {
public:
    virtual ~Command() = default;
    Command(const Command&) = delete;
    Command& operator=(const Command&) = delete;

    /// Does the work, once the options have been read. Throws std::exception with one line for the user;
    /// UsageError if the options do not make sense together.
    virtual void run() = 0;
    [[nodiscard]] const CLI::App& parser() const noexcept { return parser_; }

protected:
    /// Borrows the command's own parser, which belongs to the program's.
    explicit Command(CLI::App& parser) : parser_(parser) {}

private:
    CLI::App& parser_;
};

// Each is defined in the file of its name; the last three in DesktopCommands.cpp.
[[nodiscard]] std::unique_ptr<Command> makeCaptionsCommand(CLI::App& parser);
[[nodiscard]] std::unique_ptr<Command> makeDemoCommand(CLI::App& parser);
[[nodiscard]] std::unique_ptr<Command> makeExportCommand(CLI::App& parser);
[[nodiscard]] std::unique_ptr<Command> makeFrameCommand(CLI::App& parser);
[[nodiscard]] std::unique_ptr<Command> makeInspectCommand(CLI::App& parser);
[[nodiscard]] std::unique_ptr<Command> makeLoudnessCommand(CLI::App& parser);
[[nodiscard]] std::unique_ptr<Command> makeRecordCommand(CLI::App& parser);
[[nodiscard]] std::unique_ptr<Command> makeTargetsCommand(CLI::App& parser);
[[nodiscard]] std::unique_ptr<Command> makeMicrophonesCommand(CLI::App& parser);
[[nodiscard]] std::unique_ptr<Command> makePermissionsCommand(CLI::App& parser);

/// The command line asks for something that does not exist or makes no sense: exit status 2.
class UsageError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// A command could not do its work: exit status 1.
class CommandError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

}  // namespace lumenwhirl
