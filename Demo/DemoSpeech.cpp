#include "Demo/DemoSpeech.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <numbers>
#include <string>
#include <string_view>

namespace lumenwhirl::demo {
namespace {

using Phone = DemoSpeech::Phone;

constexpr std::uint64_t controlInterval = 48;  // samples: the mouth is slow enough for one step a millisecond
// A faster glottis moves more steeply: the voice's gain is divided by its pitch in Hz, so that all are equally
// loud.
constexpr double voiceGain = 640, noiseGain = 0.035, roomLevel = 0.0006;

struct Sound {
    std::string_view letters;  // S is sh or ch, T is th
    double length = 1;         // relative to others
    std::array<double, 3> formants{};
    double voice = 0, noise = 0, noiseFrequency = 3000;
    bool isStop = false;  // closed first, then with a burst of noise
};
constexpr Sound vowel(std::string_view letters, double length, double first, double second, double third) {
    return {letters, length, {first, second, third}, 1};
}
constexpr Sound hum(std::string_view letters, double first, double second, double third, double voice) {
    return {letters, 0.75, {first, second, third}, voice};
}
constexpr Sound hiss(std::string_view letters, double length, double frequency, double strength,
                     double voice = 0) {
    return {letters, length, {400, 1600, 2600}, voice, strength, frequency};
}
constexpr Sound stop(std::string_view letters, double frequency, double voice) {
    return {letters, 0.55, {400, 1600, 2600}, voice, 0, frequency, true};
}
/// Formants of vowels after Peterson and Barney (1952).
constexpr std::array sounds{
    vowel("a", 1.5, 720, 1240, 2500),
    vowel("e", 1.25, 530, 1840, 2480),
    vowel("i", 1.2, 390, 1990, 2550),
    vowel("o", 1.5, 570, 900, 2410),
    vowel("u", 1.25, 460, 1080, 2240),
    vowel("y", 1.1, 300, 2200, 2900),
    hum("m", 260, 1000, 2200, 0.55),
    hum("n", 260, 1500, 2500, 0.55),
    hum("l", 360, 1100, 2600, 0.7),
    hum("r", 420, 1250, 1600, 0.75),
    hum("w", 300, 700, 2200, 0.7),
    hiss("j", 0.8, 3000, 0.5, 0.4),
    hiss("scx", 1, 5800, 0.55),
    hiss("z", 0.9, 5400, 0.35, 0.4),
    hiss("S", 1, 3000, 0.6),
    hiss("T", 0.7, 4200, 0.2, 0.35),
    hiss("f", 0.9, 4500, 0.25),
    hiss("v", 0.7, 4000, 0.14, 0.5),
    hiss("h", 0.6, 1600, 0.22),
    stop("t", 4200, 0),
    stop("d", 3800, 0.25),
    stop("p", 1400, 0),
    stop("b", 1200, 0.3),
    stop("kq", 2300, 0),
    stop("g", 2100, 0.3),
};
constexpr Sound pauseBetweenWords = hiss("", 0.35, 3000, 0);

bool isVowel(char letter) {
    return std::string_view("aeiouy").find(letter) != std::string_view::npos;
}

/// Lower case letters only, double ones once, the commonest pairs as one, the silent e dropped.
std::string spelled(std::string_view word) {
    std::string letters;
    for (std::size_t i = 0; i < word.size(); ++i) {
        const char letter = static_cast<char>(std::tolower(static_cast<unsigned char>(word[i])));
        const char next = i + 1 < word.size() ? word[i + 1] : '\0';
        if (next == 'h' && (letter == 's' || letter == 'c' || letter == 't')) {
            letters += letter == 't' ? 'T' : 'S';
            ++i;
        } else if (letter >= 'a' && letter <= 'z' && (letters.empty() || letters.back() != letter)) {
            letters += letter;
        }
    }
    if (letters.size() > 3 && letters.back() == 'e') letters.pop_back();
    return letters;
}

/// A reading of a caption, letter by letter and stretched to the caption's time: not quite English, but with
/// speech's rhythm, melody and spectrum.
std::vector<Phone> phonesOf(const CaptionCue& cue) {
    std::vector<Phone> phones;
    double sum = 0;
    const auto add = [&](const Sound& sound, double length, double noise, bool isStressed) {
        const double before = sum;
        sum += length * (isStressed ? 1.3 : 1);
        phones.push_back({before, sum, sound.formants, sound.voice * (isStressed ? 1.15 : 0.9), noise,
                          sound.noiseFrequency, isStressed ? 0.11 : 0});
    };
    for (std::size_t from = 0; from < cue.text.size();) {
        const std::size_t to = std::min(cue.text.find(' ', from), cue.text.size());
        const std::string letters = spelled(std::string_view(cue.text).substr(from, to - from));
        bool isStressed = letters.size() > 3;  // the first vowel of a longer word
        for (std::size_t i = 0; i < letters.size(); ++i) {
            const Sound& sound = *std::find_if(sounds.begin(), sounds.end(), [&](const Sound& one) {
                return one.letters.find(letters[i]) != std::string_view::npos;
            });
            const bool takesStress = isStressed && isVowel(letters[i]);
            add(sound, sound.length, sound.noise, takesStress);
            if (sound.isStop)
                add(sound, i + 1 < letters.size() && isVowel(letters[i + 1]) ? 0.28 : 0.4, 0.6, false);
            if (takesStress) isStressed = false;
        }
        add(pauseBetweenWords, pauseBetweenWords.length, 0, false);
        from = to + 1;
    }
    const double start = cue.start + 0.06, length = std::max(cue.end - 0.1 - start, 0.2);
    for (Phone& phone : phones) {
        const double p = phone.start / sum;
        phone.start = start + length * p;
        phone.end = start + length * phone.end / sum;
        phone.pitch += 1.12 - 0.2 * p - 0.1 * p * p * p * p;  // a statement's melody falls, faster at its end
    }
    return phones;
}

/// The flow through the glottis over one cycle (Rosenberg, 1971): it opens slowly and closes fast.
double glottalFlow(double phase) {
    constexpr double opening = 0.42, closing = 0.18;
    if (phase < opening) return 0.5 * (1 - std::cos(std::numbers::pi * phase / opening));
    if (phase < opening + closing) return std::cos(std::numbers::pi / 2 * (phase - opening) / closing);
    return 0;
}

/// What a value keeps of its old self over one control interval when it settles in `seconds`.
double kept(double seconds) {
    return std::exp(-static_cast<double>(controlInterval) / (DemoSpeech::sampleRate * seconds));
}

}  // namespace

void DemoSpeech::Resonator::tune(double frequency, double bandwidth) {
    const double radius = std::exp(-std::numbers::pi * bandwidth / sampleRate);
    c_ = -radius * radius;
    b_ = 2 * radius * std::cos(2 * std::numbers::pi * frequency / sampleRate);
    a_ = 1 - b_ - c_;
}

DemoSpeech::DemoSpeech(const DemoScript& script, std::uint64_t seed)
    : script_(script),
      random_(seed * 2654435761U + 99),
      basePitch_(random_.between(105, 175)),
      tract_(1 + 0.16 * (basePitch_ - 105) / 70) {  // a higher voice has a shorter throat
    mouth_.pitch = 1;
}

void DemoSpeech::moveMouth(double time) {
    const std::vector<CaptionCue>& cues = script_.cues;
    while (phone_ < phones_.size() && phones_[phone_].end <= time) ++phone_;
    if (phone_ == phones_.size() && nextCue_ < cues.size() && cues[nextCue_].start <= time) {
        phones_ = phonesOf(cues[nextCue_++]);
        phone_ = 0;
    }
    const bool speaks = phone_ < phones_.size() && phones_[phone_].start <= time;
    const auto approach = [](double& value, double target, double keep) {
        value = target + (value - target) * keep;
    };
    if (speaks) {
        const Phone& target = phones_[phone_];
        for (std::size_t i = 0; i < 3; ++i) approach(mouth_.formants[i], target.formants[i] * tract_, kept(0.028));
        approach(mouth_.pitch, target.pitch, kept(0.06));
        mouth_.noiseFrequency = target.noiseFrequency;
    }
    approach(mouth_.voice, speaks ? phones_[phone_].voice : 0, kept(0.009));
    approach(mouth_.noise, speaks ? phones_[phone_].noise : 0, kept(0.009));
    pitch_ = basePitch_ * mouth_.pitch * (1 + random_.between(-0.012, 0.012)) *
             (1 + 0.012 * std::sin(2 * std::numbers::pi * 4.7 * time));

    constexpr std::array<double, 3> bandwidths{80, 100, 150};
    for (std::size_t i = 0; i < 3; ++i) formants_[i].tune(mouth_.formants[i], bandwidths[i]);
    formants_[3].tune(3500 * tract_, 260);
    noise_.tune(mouth_.noiseFrequency, 1400);
}

void DemoSpeech::startTaps(double time) {
    const auto start = [this](double frequency, double strength, double milliseconds) {
        taps_.push_back({0, 2 * std::numbers::pi * frequency / sampleRate, strength,
                         std::exp(-1000 / (milliseconds * sampleRate))});
    };
    const auto& clicks = script_.log.clicks;
    const auto& keys = script_.log.keys;
    for (; nextClick_ < clicks.size() && clicks[nextClick_].t <= time; ++nextClick_)
        start(random_.between(2500, 3100), clicks[nextClick_].phase == ClickPhase::down ? 0.05 : 0.03, 1.6);
    for (; nextKey_ < keys.size() && keys[nextKey_].t <= time; ++nextKey_)
        start(random_.between(900, 1500), random_.between(0.014, 0.026), 4.5);
}

double DemoSpeech::taps() {
    double sum = 0;
    for (Tap& tap : taps_) {
        sum += tap.strength * (0.6 * std::sin(tap.phase) + 0.4 * random_.between(-1, 1));
        tap.phase += tap.step;
        tap.strength *= tap.decay;
    }
    std::erase_if(taps_, [](const Tap& tap) { return tap.strength < 1e-5; });
    return sum;
}

double DemoSpeech::voice() {
    glottis_ += pitch_ / sampleRate;
    glottis_ -= std::floor(glottis_);
    const double flow = glottalFlow(glottis_);
    const double pressure = flow - lastFlow_;  // lips radiate the change of the flow
    const double crisp = pressure - 0.55 * lastPressure_;
    lastFlow_ = flow;
    lastPressure_ = pressure;
    const double breath = random_.between(-1, 1);
    double audio = mouth_.voice * (crisp + 0.0015 * breath * flow);
    for (Resonator& formant : formants_) audio = formant.filter(audio);
    return voiceGain / basePitch_ * audio + noiseGain * noise_.filter(mouth_.noise * breath);
}

void DemoSpeech::render(std::span<float> samples) {
    for (float& sample : samples) {
        const double time = static_cast<double>(sample_) / sampleRate;
        if (sample_ % controlInterval == 0) {
            moveMouth(time);
            startTaps(time);
        }
        room_ = 0.96 * room_ + 0.28 * random_.between(-1, 1);  // fans are dull
        sample = static_cast<float>(voice() + taps() + roomLevel * room_);
        ++sample_;
    }
}

}  // namespace lumenwhirl::demo
