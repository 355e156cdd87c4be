#include "Lumenwhirl/Captions/TimedWords.h"

#include "Engine/Overlays/CaptionsModel.h"

#include <simdjson.h>

#include <string>
#include <utility>

namespace lumenwhirl::CaptionFile {
namespace {

using Word = CaptionsModel::Word;

double numberOf(simdjson::dom::object word, std::string_view key, const std::string& path) {
    double number = 0;
    const simdjson::error_code error = word[key].get(number);
    if (error == simdjson::NO_SUCH_FIELD) throw Error(path + "." + std::string(key) + ": missing");
    if (error) throw Error(path + "." + std::string(key) + ": expected a number of seconds");
    return number;
}

Word wordOf(simdjson::dom::element element, const std::string& path) {
    simdjson::dom::object object;
    if (element.get(object)) throw Error(path + R"(: expected {"text", "start", "end"})");
    std::string_view text;
    const simdjson::error_code error = object["text"].get(text);
    if (error == simdjson::NO_SUCH_FIELD) throw Error(path + ".text: missing");
    if (error) throw Error(path + ".text: expected a text");
    Word word{std::string(text), numberOf(object, "start", path), numberOf(object, "end", path)};
    if (word.end < word.start) throw Error(path + ": the word ends before it starts");
    return word;
}

}  // namespace

std::vector<CaptionCue> parseTimedWords(std::string_view json) {
    simdjson::dom::parser parser;
    simdjson::dom::element root;
    if (const simdjson::error_code error = parser.parse(json.data(), json.size()).get(root))
        throw Error(std::string("not JSON: ") + simdjson::error_message(error));
    simdjson::dom::array elements;
    if (root.get(elements)) throw Error(R"(expected an array of words, [{"text", "start", "end"}, ...])");
    std::vector<Word> words;
    for (const simdjson::dom::element element : elements) {
        Word word = wordOf(element, "[" + std::to_string(words.size()) + "]");
        words.push_back(std::move(word));
    }
    return CaptionsModel::groupIntoCues(std::move(words));
}

}  // namespace lumenwhirl::CaptionFile
