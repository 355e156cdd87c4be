#pragma once

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

    /// Does the work, once the options are read. Throws std::exception with one line for the user; UsageError
    /// where the options do not make sense together.
    virtual void run() = 0;
    [[nodiscard]] const CLI::App& parser() const noexcept { return parser_; }

protected:
    /// Borrows the command's own parser, which belongs to the program's.
    explicit Command(CLI::App& parser) : parser_(parser) {}

private:
    CLI::App& parser_;
};

/// The command line asks for something that is not offered: exit status 2.
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
