#pragma once

#include <simdjson.h>
#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
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
        std::optional<std::uint64_t> largestFileSize{};    // bytes; writing beyond fails
        std::map<std::string, std::string> environment{};  // added to this process's own
        bool hasFullOutput = false;                        // standard output is a full device
    };
    using Arguments = std::vector<std::string>;

    Program(const Arguments& arguments, const Surroundings& surroundings);
    explicit Program(const Arguments& arguments) : Program(arguments, Surroundings()) {}
    /// Ends the process if it is still there.
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    /// Blocks until the program has written something. Until wait() is called it can write no more than a page.
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

/// What a command printed. Places are JSON pointers such as "/states/0/cursor/x".
class Json {
public:
    explicit Json(const std::string& text) {
        if (parser_.parse(text).get(root_)) throw std::runtime_error("not JSON: " + text);
    }
    [[nodiscard]] double number(std::string_view place) const { return get<double>(place); }
    [[nodiscard]] bool truth(std::string_view place) const { return get<bool>(place); }
    [[nodiscard]] std::string text(std::string_view place) const {
        return std::string(get<std::string_view>(place));
    }
    [[nodiscard]] std::size_t count(std::string_view place) const {
        return get<simdjson::dom::array>(place).size();
    }
    /// The value as compact JSON.
    [[nodiscard]] std::string json(std::string_view place) const { return simdjson::minify(at(place)); }

private:
    [[nodiscard]] simdjson::dom::element at(std::string_view place) const {
        simdjson::dom::element value;
        if (root_.at_pointer(place).get(value)) throw std::runtime_error("nothing at " + std::string(place));
        return value;
    }
    template <class Value>
    [[nodiscard]] Value get(std::string_view place) const {
        Value value{};
        if (at(place).get(value)) throw std::runtime_error("another type at " + std::string(place));
        return value;
    }

    simdjson::dom::parser parser_;
    simdjson::dom::element root_;
};

}  // namespace lumenwhirl::test
