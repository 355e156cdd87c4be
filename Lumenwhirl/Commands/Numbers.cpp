#include "Lumenwhirl/Commands/Numbers.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>

namespace lumenwhirl::Numbers {
namespace {

template <class Number>
std::optional<Number> parse(std::string_view text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::string textOf(double number) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

template <class Number>
Number parseInRange(std::optional<Number> number, const std::string& name, const std::string& text, Range range) {
    if (!number) throw CLI::ValidationError(name, "\"" + text + "\" is no number");
    if (!(static_cast<double>(*number) >= range.lowest && static_cast<double>(*number) <= range.highest))
        throw CLI::ValidationError(
            name, text + " is out of range; it may be " + textOf(range.lowest) + " to " + textOf(range.highest));
    return *number;
}

}  // namespace

std::optional<double> parseDouble(std::string_view text) {
    const std::optional<double> number = parse<double>(text);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
    return parse<std::int64_t>(text);
}

CLI::Option* addDouble(CLI::App& parser, const std::string& name, double& target, Range range,
                       const std::string& description) {
    return parser.add_option_function<std::string>(
        name,
        [&target, name, range](const std::string& text) {
            target = parseInRange(parseDouble(text), name, text, range);
        },
        description);
}

CLI::Option* addInteger(CLI::App& parser, const std::string& name, std::int64_t& target, Range range,
                        const std::string& description) {
    return parser.add_option_function<std::string>(
        name,
        [&target, name, range](const std::string& text) {
            target = parseInRange(parseInteger(text), name, text, range);
        },
        description);
}

CLI::Option* addDoubles(CLI::App& parser, const std::string& name, std::vector<double>& target, Range range,
                        const std::string& description) {
    return parser
        .add_option_function<std::vector<std::string>>(
            name,
            [&target, name, range](const std::vector<std::string>& texts) {
                for (const std::string& text : texts)
                    target.push_back(parseInRange(parseDouble(text), name, text, range));
            },
            description)
        ->expected(1)
        ->take_all();
}

}  // namespace lumenwhirl::Numbers
