#pragma once

#include "Engine/Documents/ProjectSettings.h"
#include "Engine/Timeline/TimeOrder.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace lumenwhirl {

/// Which caption shows when. Times are source seconds. Built once, then only read.
class CaptionsModel {
public:
    /// Bytes of one cue. More could neither be read in time nor drawn in a picture.
    static constexpr std::size_t longestText = 5000;

    explicit CaptionsModel(std::vector<CaptionCue> cues);
    /// The text of the first cue, by start, that contains `t`, both ends included. Valid as long as this model.
    [[nodiscard]] std::optional<std::string_view> text(double t) const;

    /// A spoken word, as a speech recogniser or a file gives it.
    struct Word {
        std::string text;
        double start = 0, end = 0;  // seconds
        bool operator==(const Word&) const = default;
    };
    /// Groups words into cues of at most 8 words and about 3 s, split at pauses longer than 0.8 s.
    [[nodiscard]] static std::vector<CaptionCue> groupIntoCues(std::vector<Word> words);

private:
    std::vector<CaptionCue> cues_;  // ascending by start
    ClosedSpanIndex index_;
};

}  // namespace lumenwhirl
