#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

/// Numbers on the command line: decimal, the same in every locale, finite and within their range; everything else
/// is wrong usage.
namespace lumenwhirl::Numbers {

/// The whole text, or nothing.
[[nodiscard]] std::optional<double> parseDouble(std::string_view text);
[[nodiscard]] std::optional<std::int64_t> parseInteger(std::string_view text);

struct Range {
    double lowest = 0, highest = 0;  // both allowed
};

// The targets must outlive the parser; an option that is not given leaves its target as it is.
CLI::Option* addDouble(CLI::App& parser, const std::string& name, double& target, Range range,
                       const std::string& description);
CLI::Option* addInteger(CLI::App& parser, const std::string& name, std::int64_t& target, Range range,
                        const std::string& description);
/// May be given any number of times.
CLI::Option* addDoubles(CLI::App& parser, const std::string& name, std::vector<double>& target, Range range,
                        const std::string& description);

}  // namespace lumenwhirl::Numbers
