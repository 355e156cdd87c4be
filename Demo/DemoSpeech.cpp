#include "Demo/DemoSpeech.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace lumenwhirl::demo {
namespace {

constexpr std::uint64_t controlInterval =
    48;  // samples: the mouth moves slowly enough for a step every millisecond
// A faster glottis moves more steeply: the voice's gain is divided by its pitch in Hz, so that all are equally
// loud.
constexpr double voiceGain = 640, noiseGain = 0.035, roomLevel = 0.0006;

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

void Resonator::tune(double frequency, double bandwidth, double sampleRate) {
    const double radius = std::exp(-std::numbers::pi * bandwidth / sampleRate);
    c_ = -radius * radius;
    b_ = 2 * radius * std::cos(2 * std::numbers::pi * frequency / sampleRate);
    a_ = 1 - b_ - c_;
}

DemoSpeech::DemoSpeech(const std::vector<CaptionCue>& cues, const EventLog& log, std::uint64_t seed)
    : cues_(cues), log_(log), random_(seed * 2654435761U + 99), basePitch_(0), tract_(0) {
    basePitch_ = random_.between(105, 175);
    tract_ = 1 + 0.16 * (basePitch_ - 105) / 70;  // a higher voice has a shorter throat
    now_.formants = {500, 1500, 2500};
}

void DemoSpeech::control(double time) {
    while (phone_ < phones_.size() && phones_[phone_].end <= time) ++phone_;
    if (phone_ == phones_.size() && nextCue_ < cues_.size() && cues_[nextCue_].start <= time) {
        phones_ = phonesOf(cues_[nextCue_++]);
        phone_ = 0;
    }
    const bool speaks = phone_ < phones_.size() && phones_[phone_].start <= time;
    const double slow = kept(0.028), fast = kept(0.009);
    const auto approach = [](double& value, double target, double keep) {
        value = target + (value - target) * keep;
    };
    if (speaks) {
        const Phone& target = phones_[phone_];
        for (std::size_t i = 0; i < 3; ++i) approach(now_.formants[i], target.formants[i] * tract_, slow);
        approach(now_.pitch, target.pitch, kept(0.06));
        now_.noiseFrequency = target.noiseFrequency;
    }
    approach(now_.voice, speaks ? phones_[phone_].voice : 0, fast);
    approach(now_.noise, speaks ? phones_[phone_].noise : 0, fast);
    pitch_ = basePitch_ * now_.pitch * (1 + random_.between(-0.012, 0.012)) *
             (1 + 0.012 * std::sin(2 * std::numbers::pi * 4.7 * time));

    constexpr std::array<double, 3> bandwidths{80, 100, 150};
    for (std::size_t i = 0; i < 3; ++i) formants_[i].tune(now_.formants[i], bandwidths[i], sampleRate);
    formants_[3].tune(3500 * tract_, 260, sampleRate);
    noise_.tune(now_.noiseFrequency, 1400, sampleRate);
}

void DemoSpeech::startTaps(double time) {
    const auto start = [this](double frequency, double strength, double milliseconds) {
        taps_.push_back({0, 2 * std::numbers::pi * frequency / sampleRate, strength,
                         std::exp(-1000 / (milliseconds * sampleRate))});
    };
    for (; nextClick_ < log_.clicks.size() && log_.clicks[nextClick_].t <= time; ++nextClick_)
        start(random_.between(2500, 3100), log_.clicks[nextClick_].phase == ClickPhase::down ? 0.05 : 0.03, 1.6);
    for (; nextKey_ < log_.keys.size() && log_.keys[nextKey_].t <= time; ++nextKey_)
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
    double audio = now_.voice * (crisp + 0.0015 * breath * flow);
    for (Resonator& formant : formants_) audio = formant.filter(audio);
    return voiceGain / basePitch_ * audio + noiseGain * noise_.filter(now_.noise * breath);
}

void DemoSpeech::render(std::span<float> samples) {
    for (float& sample : samples) {
        const double time = static_cast<double>(sample_) / sampleRate;
        if (sample_ % controlInterval == 0) {
            control(time);
            startTaps(time);
        }
        room_ = 0.96 * room_ + 0.28 * random_.between(-1, 1);  // fans are dull
        sample = static_cast<float>(voice() + taps() + roomLevel * room_);
        ++sample_;
    }
}

}  // namespace lumenwhirl::demo
