#include "Lumenwhirl/Captions/CaptionFile.h"

#include "Files/FileError.h"
#include "Files/WholeFile.h"

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

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
    for (std::size_t at = text.find(from); at != std::string::npos; at = text.find(from, at + to.size()))
        text.replace(at, from.size(), to);
}

/// Removes what both formats would misread: a blank line ends a cue, an arrow begins one.
std::string cueText(std::string text, Format format) {
    replaceAll(text, "\r\n", "\n");
    replaceAll(text, "\r", "\n");
    while (text.find("\n\n") != std::string::npos) replaceAll(text, "\n\n", "\n");
    while (text.starts_with('\n')) text.erase(0, 1);
    while (text.ends_with('\n')) text.pop_back();
    if (format == Format::webVtt) {
        replaceAll(text, "&", "&amp;");
        replaceAll(text, "<", "&lt;");
        replaceAll(text, ">", "&gt;");
    } else {
        replaceAll(text, "-->", "→");
    }
    return text;
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

std::vector<CaptionCue> read(const std::filesystem::path& file) {
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
