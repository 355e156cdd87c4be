#include "Lumenwhirl/Commands/Options.h"

#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Session/Export.h"

#include <CLI/CLI.hpp>

#include <charconv>
#include <cmath>

namespace lumenwhirl::Options {
namespace {

template <class Number>
std::optional<Number> parse(std::string_view text) {
    Number number{};
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && stop == end ? std::optional(number) : std::nullopt;
}

std::optional<double> parseNumber(std::string_view text) {
    const std::optional<double> number = parse<double>(text);
    return number && std::isfinite(*number) ? number : std::nullopt;
}

template <class Number>
std::string textOf(Number number) {
    char text[32];
    return {text, std::to_chars(text, text + sizeof text, number).ptr};
}

template <class Number>
std::string rangeText(Range<Number> range) {
    constexpr Range<Number> all;
    std::string text;
    if (range.lowest != all.lowest) text += ", at least " + textOf(range.lowest);
    if (range.highest != all.highest) text += ", at most " + textOf(range.highest);
    return text;
}

template <class Number>
CLI::Option* addInRange(CLI::App& parser, const std::string& name, Number& target, Range<Number> range,
                        std::optional<Number> (*parseText)(std::string_view), const std::string& kind,
                        const std::string& description) {
    const auto accept = [&target, range, parseText](const std::string& text) {
        const std::optional<Number> number = parseText(text);
        return number && *number >= range.lowest && *number <= range.highest && assign(target, number);
    };
    return add(parser, name, accept, kind + rangeText(range), description);
}

}  // namespace

void addPackage(CLI::App& parser, std::string& path) {
    parser.add_option("PACKAGE", path, "The recording, a folder whose name ends in .lumenwhirl")
        ->required()
        ->option_text(" ");
}

void addEncoder(CLI::App& parser, EncoderChoice& choice) {
    add(
        parser, "--encoder",
        [&choice](const std::string& name) { return assign(choice, encoderChoiceFromName(name)); },
        "auto, software, vaapi, nvenc or qsv",
        "What encodes H.264 and HEVC: a graphics card (vaapi, nvenc, qsv) or software; auto, the default, prefers a card that can")
        ->option_text("NAME");
}

CLI::Option* add(CLI::App& parser, const std::string& name, std::function<bool(const std::string&)> accept,
                 const std::string& mustBe, const std::string& description) {
    return parser.add_option_function<std::string>(
        name,
        [name, accept = std::move(accept), mustBe](const std::string& text) {
            if (!accept(text)) throw CLI::ValidationError(name, "must be " + mustBe + ", but is \"" + text + "\"");
        },
        description);
}

CLI::Option* addNumber(CLI::App& parser, const std::string& name, double& target, Range<double> range,
                       const std::string& description) {
    return addInRange(parser, name, target, range, parseNumber, "a number", description);
}

CLI::Option* addInteger(CLI::App& parser, const std::string& name, std::int64_t& target, Range<std::int64_t> range,
                        const std::string& description) {
    return addInRange(parser, name, target, range, parseInteger, "a whole number", description);
}

CLI::Option* addNumbers(CLI::App& parser, const std::string& name, std::vector<double>& target,
                        const std::string& description) {
    const auto acceptAll = [&target, name](const std::vector<std::string>& texts) {
        for (const std::string& text : texts) {
            const std::optional<double> number = parseNumber(text);
            if (!number) throw CLI::ValidationError(name, "must be a number, but is \"" + text + "\"");
            target.push_back(*number);
        }
    };
    return parser.add_option_function<std::vector<std::string>>(name, acceptAll, description)
        ->expected(1)
        ->take_all();
}

Preset presetForExtensionOf(const std::string& option, const std::filesystem::path& file) {
    if (const auto preset = Session::presetForExtensionOf(file)) return *preset;
    throw UsageError(option + ": " + file.string() +
                     ": the name must end in .mp4, .mov or .gif, which chooses the preset");
}

std::optional<std::int64_t> parseInteger(std::string_view text) {
    return parse<std::int64_t>(text);
}

}  // namespace lumenwhirl::Options
