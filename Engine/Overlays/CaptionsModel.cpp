#include "Engine/Overlays/CaptionsModel.h"

#include <algorithm>
#include <cstddef>
#include <span>
#include <utility>

namespace lumenwhirl {
namespace {

constexpr double longestPause = 0.8;  // seconds between words of one cue
constexpr double longestCue = 3.0;    // seconds
constexpr double shortestCue = 0.4;   // seconds
constexpr std::size_t mostWords = 8;

template <class Timed>
void sortByStart(std::vector<Timed>& items) {
    std::stable_sort(items.begin(), items.end(),
                     [](const Timed& left, const Timed& right) { return isEarlier(left.start, right.start); });
}

std::vector<CaptionCue> sorted(std::vector<CaptionCue> cues) {
    sortByStart(cues);
    return cues;
}

CaptionCue cueOf(std::span<const CaptionsModel::Word> words) {
    CaptionCue cue{words.front().start, std::max(words.front().start + shortestCue, words.back().end), {}};
    for (const CaptionsModel::Word& word : words) {
        if (&word != &words.front()) cue.text += ' ';
        cue.text += word.text;
    }
    return cue;
}

}  // namespace

CaptionsModel::CaptionsModel(std::vector<CaptionCue> cues)
    : cues_(sorted(std::move(cues))), index_(std::span<const CaptionCue>(cues_)) {}

std::optional<std::string_view> CaptionsModel::text(double t) const {
    const auto found = index_.find(t);
    if (!found) return std::nullopt;
    return cues_[*found].text;
}

std::vector<CaptionCue> CaptionsModel::groupIntoCues(std::vector<Word> words) {
    sortByStart(words);
    std::vector<CaptionCue> cues;
    std::size_t first = 0;  // word of the current cue
    const auto close = [&](std::size_t end) {
        if (first < end) cues.push_back(cueOf(std::span(words).subspan(first, end - first)));
        first = end;
    };
    for (std::size_t index = 1; index < words.size(); ++index) {
        const bool pauses = words[index].start - words[index - 1].end > longestPause;
        const bool isFull = index - first >= mostWords;
        const bool takesLong = words[index].end - words[first].start > longestCue;
        if (pauses || isFull || takesLong) close(index);
    }
    close(words.size());
    return cues;
}

}  // namespace lumenwhirl
