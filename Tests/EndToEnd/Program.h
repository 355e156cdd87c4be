#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace lumenwhirl::test {

/// What a run of the program left behind.
struct Outcome {
    int status = -1;  // the exit status; negative: the signal that ended it
    std::string output, errors;
};

/// The real executable as a child process.
class Program {
public:
    struct Surroundings {
        std::filesystem::path folder{};                    // the current one; this process's if empty
        std::optional<std::uint64_t> largestFileSize{};    // bytes; a file that would grow further meets an error
        std::string locale{};                              // LC_ALL, if not empty
        std::map<std::string, std::string> environment{};  // set beside this process's own
        bool hasClosedOutput = false;                      // standard output is a full device
    };
    using Arguments = std::vector<std::string>;

    Program(const Arguments& arguments, const Surroundings& surroundings);
    explicit Program(const Arguments& arguments) : Program(arguments, Surroundings()) {}
    /// Ends the process if it is still there.
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Blocks until the program has written something. While nobody reads on, it can write a page and no more.
    void waitForOutput() const;
    void send(int signal) const;
    /// Blocks until it has ended.
    [[nodiscard]] Outcome wait();

    [[nodiscard]] static Outcome run(const Arguments& arguments, const Surroundings& surroundings) {
        return Program(arguments, surroundings).wait();
    }
    [[nodiscard]] static Outcome run(const Arguments& arguments) { return Program(arguments).wait(); }

private:
    [[noreturn]] static void become(const Arguments& arguments, const Surroundings& surroundings, int output,
                                    int errors);
    pid_t process_ = -1;
    int output_ = -1, errors_ = -1;  // the reading ends
};

}  // namespace lumenwhirl::test
