#include "Lumenwhirl/Captions/CaptionFile.h"

#include "Files/FileError.h"
#include "Files/WholeFile.h"
#include "Lumenwhirl/Captions/Markup.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace lumenwhirl::CaptionFile {
namespace {

constexpr std::size_t maximumFileSize = std::size_t{64} << 20;  // some 400 hours of speech
constexpr double longestTime = 9999.0 * 3600;  // seconds; as much as four digits of hours can express

/// "01:02:03,456", with `decimalSign` in front of the milliseconds.
std::string timeText(double seconds, char decimalSign) {
    const double clamped = std::isfinite(seconds) ? std::clamp(seconds, 0.0, longestTime) : 0.0;
    const std::int64_t ms = std::llround(clamped * 1000);
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d%c%03d", static_cast<int>(ms / 3600000),
                  static_cast<int>(ms / 60000 % 60), static_cast<int>(ms / 1000 % 60), decimalSign,
                  static_cast<int>(ms % 1000));
    return text;
}

/// The lines of a cue's text, with one ending and without empty ones at its ends. An empty line between them,
/// which would end the cue, is written as a blank.
std::string cueText(std::string_view text, Format format) {
    std::string result;
    int emptyLines = 0;
    while (!text.empty()) {
        const std::string_view line = text.substr(0, std::min(text.find_first_of("\r\n"), text.size()));
        text.remove_prefix(line.size());
        text.remove_prefix(text.starts_with("\r\n") ? 2 : std::min<std::size_t>(text.size(), 1));
        if (line.find_first_not_of(" \t") == std::string_view::npos) {
            ++emptyLines;
            continue;
        }
        for (; !result.empty() && emptyLines > 0; --emptyLines) result += "\n ";
        emptyLines = 0;
        if (!result.empty()) result += '\n';
        result += withMarkup(line, format);
    }
    return result;
}

}  // namespace

Format formatOf(const std::filesystem::path& file) {
    std::string extension = file.extension().string();
    for (char& c : extension)
        if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
    if (extension == ".srt") return Format::subRip;
    if (extension == ".vtt") return Format::webVtt;
    if (extension == ".json") return Format::timedWords;
    throw FileError(file, "the name must end in .srt, .vtt or .json, which tells the format");
}

Captions read(const std::filesystem::path& file) {
    const Format format = formatOf(file);
    const std::string contents = readWholeFile(file, maximumFileSize);
    try {
        return parse(contents, format);
    } catch (const Error& error) {
        throw FileError(file, error.what());
    }
}

std::string textOf(std::vector<CaptionCue> cues, Format format) {
    if (format == Format::timedWords) throw Error("captions can be written as .srt or .vtt only");
    std::stable_sort(cues.begin(), cues.end(),
                     [](const CaptionCue& a, const CaptionCue& b) { return a.start < b.start; });
    const char decimalSign = format == Format::webVtt ? '.' : ',';
    std::string result = format == Format::webVtt ? "WEBVTT\n" : "";
    int number = 0;
    for (const CaptionCue& cue : cues) {
        const std::string text = cueText(cue.text, format);
        if (text.empty()) continue;
        if (!result.empty()) result += '\n';
        if (format == Format::subRip) result += std::to_string(++number) + '\n';
        result += timeText(cue.start, decimalSign) + " --> " + timeText(cue.end, decimalSign) + '\n' + text + '\n';
    }
    return result;
}

}  // namespace lumenwhirl::CaptionFile
