#include "Lumenwhirl/Captions/CaptionFile.h"
#include "Tests/Fuzz/Require.h"

#include <cstdint>
#include <string_view>

namespace {

using namespace lumenwhirl;
using CaptionFile::Format;
using fuzz::require;

/// What we write is read back the same, and written again the same.
void checkRoundTrip(const std::vector<CaptionCue>& cues, Format format) {
    const std::string text = CaptionFile::textOf(cues, format);
    const CaptionFile::Captions back = CaptionFile::parse(text, format);
    require(back.notices.empty(), "what was written is read without notices");
    require(CaptionFile::textOf(back.cues, format) == text, "what was written is read back the same");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    for (const Format format : {Format::subRip, Format::webVtt, Format::timedWords}) {
        try {
            const std::vector<CaptionCue> cues = CaptionFile::parse(text, format).cues;
            for (const CaptionCue& cue : cues) require(cue.start <= cue.end, "a caption ends after it starts");
            checkRoundTrip(cues, Format::subRip);
            checkRoundTrip(cues, Format::webVtt);
        } catch (const CaptionFile::Error& error) {
            require(std::string_view(error.what()).find('\n') == std::string_view::npos, "an error is one line");
        }
    }
    return 0;
}
