#include "Engine/Documents/LumenwhirlJSON.h"

#include "Engine/Documents/JsonDecoder.h"
#include "Engine/Documents/JsonEncoder.h"
#include "Engine/Documents/JsonText.h"

#include <cstddef>

namespace lumenwhirl {
namespace JsonDecoder {

std::string_view nameOfType(const Element& element) {
    using Type = simdjson::dom::element_type;
    switch (element.type()) {
        case Type::ARRAY:
            return "an array";
        case Type::OBJECT:
            return "an object";
        case Type::STRING:
            return "a string";
        case Type::BOOL:
            return "true or false";
        case Type::NULL_VALUE:
            return "null";
        default:
            return "a number";
    }
}

std::string quoted(std::string_view text) {
    constexpr std::size_t longest = 40;  // bytes
    std::string shown = "\"";
    for (const char character : text.substr(0, longest)) {
        const bool isControl = static_cast<unsigned char>(character) < 0x20 || character == 0x7F;
        shown += isControl ? '?' : character;
    }
    if (text.size() <= longest) return shown + '"';
    while ((text[shown.size() - 1] & 0xC0) == 0x80) shown.pop_back();  // ends between characters
    return shown + "…\"";
}

}  // namespace JsonDecoder

namespace {

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// The parser does not say where it stopped, so a rejected text is checked again.
[[noreturn]] void failMalformed(std::string_view text, simdjson::error_code code) {
    std::string message = "malformed JSON";
    if (text.find_first_not_of(" \t\r\n") == std::string_view::npos)
        message = "the text is empty";
    else if (const auto fault = JsonText::findFault(text))
        message += " at " + JsonText::describePosition(text, fault->offset) + ": " + std::string(fault->problem);
    else if (code == simdjson::NUMBER_ERROR)
        message += ": a number is too large";
    else
        message += ": " + std::string(simdjson::error_message(code));
    throw LumenwhirlJSON::Error(message);
}

simdjson::dom::element parse(simdjson::dom::parser& parser, std::string_view text, std::size_t readableBeyond) {
    if (text.substr(0, byteOrderMark.size()) == byteOrderMark) text.remove_prefix(byteOrderMark.size());
    const bool mustCopy = readableBeyond < simdjson::SIMDJSON_PADDING;
    simdjson::dom::element root;
    auto code = parser.parse(text.data(), text.size(), mustCopy).get(root);
    if (code != simdjson::SUCCESS) {
        // The parser's releases report an integer beyond 64 bits with different codes.
        const std::string widened = JsonText::withLongIntegersAsReals(text);
        if (widened.size() != text.size()) code = parser.parse(widened.data(), widened.size()).get(root);
    }
    if (code != simdjson::SUCCESS) failMalformed(text, code);
    return root;
}

template <class Document>
Document decodeDocument(std::string_view text, std::size_t readableBeyond) {
    simdjson::dom::parser parser;
    Document document;
    JsonDecoder::decode(parse(parser, text, readableBeyond), document, JsonPath{});
    return document;
}

}  // namespace

namespace LumenwhirlJSON {

std::string encode(const EventLog& log) {
    // About 90 bytes per cursor sample and 150 per other event, so that a long text is not reallocated.
    return JsonEncoder::encode(
        log, 1024 + 96 * log.cursor.size() + 160 * (log.clicks.size() + log.scroll.size() + log.keys.size()));
}

std::string encode(const ProjectSettings& settings) {
    return JsonEncoder::encode(settings, 4096);
}

EventLog decodeEventLog(std::string_view text) {
    return decodeDocument<EventLog>(text, 0);
}

ProjectSettings decodeProjectSettings(std::string_view text) {
    return decodeDocument<ProjectSettings>(text, 0);
}

static_assert(spareCapacity >= simdjson::SIMDJSON_PADDING);

template <>
EventLog decode(const std::string& text) {
    return decodeDocument<EventLog>(text, text.capacity() - text.size());
}

template <>
ProjectSettings decode(const std::string& text) {
    return decodeDocument<ProjectSettings>(text, text.capacity() - text.size());
}

template <class Part>
std::string encodeLine(const Part& part) {
    return JsonEncoder::encodeLine(part, 128);
}

template <class Part>
Part decodeLine(std::string_view text) {
    return decodeDocument<Part>(text, 0);
}

template std::string encodeLine(const RecordingInfo&);
template std::string encodeLine(const CursorSample&);
template std::string encodeLine(const ClickEvent&);
template std::string encodeLine(const ScrollEvent&);
template std::string encodeLine(const KeyEvent&);
template RecordingInfo decodeLine(std::string_view);
template CursorSample decodeLine(std::string_view);
template ClickEvent decodeLine(std::string_view);
template ScrollEvent decodeLine(std::string_view);
template KeyEvent decodeLine(std::string_view);

}  // namespace LumenwhirlJSON
}  // namespace lumenwhirl
