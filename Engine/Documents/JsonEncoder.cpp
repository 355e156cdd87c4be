#include "Engine/Documents/JsonEncoder.h"

#include <simdjson.h>

#include <array>
#include <charconv>
#include <cmath>

namespace lumenwhirl {
namespace {

constexpr std::size_t indentation = 2;

}  // namespace

void JsonEncoder::write(double value, const JsonPath& path) {
    if (!std::isfinite(value)) path.fail("the value is not a finite number");
    std::array<char, 32> digits;  // the shortest text that reads back to the same double has at most 24
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    const std::string_view text(digits.data(), static_cast<std::size_t>(end - digits.data()));
    text_ += text;
    // Written as integers, values beyond 64 bits would be rejected by readers, and -0 would lose its sign.
    constexpr double largestInteger = 0x1p63;
    const bool looksIntegral = text.find_first_of(".e") == std::string_view::npos;
    if (looksIntegral && (std::abs(value) >= largestInteger || (value == 0 && std::signbit(value)))) text_ += ".0";
}

void JsonEncoder::write(std::int64_t value, const JsonPath&) {
    std::array<char, 24> digits;
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
    text_.append(digits.data(), end);
}

void JsonEncoder::write(const std::string& value, const JsonPath& path) {
    if (!simdjson::validate_utf8(value)) path.fail("the text is not UTF-8");
    writeQuoted(value);
}

void JsonEncoder::startLine(bool isFirst) {
    if (!isFirst) text_ += ',';
    if (isOneLine_) return;
    text_ += '\n';
    text_.append(depth_ * indentation, ' ');
}

void JsonEncoder::writeQuoted(std::string_view text) {
    text_ += '"';
    for (const char character : text) {
        const auto code = static_cast<unsigned char>(character);
        if (character == '"' || character == '\\') {
            text_ += '\\';
            text_ += character;
        } else if (character == '\n') {
            text_ += "\\n";
        } else if (character == '\t') {
            text_ += "\\t";
        } else if (code < 0x20) {
            constexpr std::string_view hexDigits = "0123456789abcdef";
            text_ += "\\u00";
            text_ += hexDigits[code >> 4];
            text_ += hexDigits[code & 0xF];
        } else {
            text_ += character;
        }
    }
    text_ += '"';
}

}  // namespace lumenwhirl
