#pragma once

#include "Exporter/Preset.h"
#include "Media/EncodingSettings.h"

#include <cstdint>
#include <filesystem>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

/// Options that several commands share, and the kinds they are made of. Numbers are decimal, the same in every
/// locale, finite and within their range. Anything else is wrong usage.
///
/// Targets must outlive the parser. An option that is not given leaves its target unchanged.
namespace lumenwhirl::Options {

/// The package, required and without a name.
void addPackage(CLI::App& parser, std::string& path);
void addEncoder(CLI::App& parser, EncoderChoice& choice);

/// `accept` stores the text and returns true, or returns false; then the error says what the text `mustBe`.
CLI::Option* add(CLI::App& parser, const std::string& name, std::function<bool(const std::string&)> accept,
                 const std::string& mustBe, const std::string& description);

/// Both ends are allowed.
template <class Number>
struct Range {
    Number lowest = std::numeric_limits<Number>::lowest(), highest = std::numeric_limits<Number>::max();
};
CLI::Option* addNumber(CLI::App& parser, const std::string& name, double& target, Range<double> range,
                       const std::string& description);
CLI::Option* addInteger(CLI::App& parser, const std::string& name, std::int64_t& target, Range<std::int64_t> range,
                        const std::string& description);
/// Any finite number, and the option any number of times.
CLI::Option* addNumbers(CLI::App& parser, const std::string& name, std::vector<double>& target,
                        const std::string& description);

/// As Session::presetForExtensionOf, for the value of `option`; throws UsageError where no preset makes such a
/// file.
[[nodiscard]] Preset presetForExtensionOf(const std::string& option, const std::filesystem::path& file);

/// The whole text as a number, or nothing.
[[nodiscard]] std::optional<std::int64_t> parseInteger(std::string_view text);

/// Stores a value that there is; returns whether there is one.
template <class Target, class Value>
bool assign(Target& target, const std::optional<Value>& value) {
    if (value) target = *value;
    return value.has_value();
}

}  // namespace lumenwhirl::Options
