#pragma once

#include "Demo/DemoScript.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace lumenwhirl::demo {

/// What the microphone heard: somebody reading the captions, their mouse and keyboard, a quiet room. Mono at 48
/// kHz, about as quiet as a real microphone: the speech level lies near 0.04. Made from front to back in pieces
/// of any size; the pieces' borders do not matter.
class DemoSpeech {
public:
    static constexpr int sampleRate = 48000;
    /// `script` must outlive the object.
    DemoSpeech(const DemoScript& script, std::uint64_t seed);
    void render(std::span<float> samples);

    /// A sound of speech.
    struct Phone {
        double start = 0, end = 0;                        // seconds of the recording
        std::array<double, 3> formants{500, 1500, 2500};  // Hz
        double voice = 0, noise = 0;                      // strengths, 0...1
        double noiseFrequency = 3000;                     // Hz
        double pitch = 0;                                 // times the voice's own
    };

private:
    /// A two-pole resonance with gain 1 at zero frequency (Klatt, 1980).
    class Resonator {
    public:
        void tune(double frequency, double bandwidth);
        double filter(double input) {
            const double output = a_ * input + b_ * last_ + c_ * beforeLast_;
            beforeLast_ = last_;
            last_ = output;
            return output;
        }

    private:
        double a_ = 1, b_ = 0, c_ = 0, last_ = 0, beforeLast_ = 0;
    };
    struct Tap {  // of a key or a button: a decaying ring
        double phase = 0, step = 0, strength = 0, decay = 0;
    };
    void moveMouth(double time);
    void startTaps(double time);
    double voice();
    double taps();

    const DemoScript& script_;
    Random random_;
    double basePitch_, tract_;  // Hz; formants' scale
    std::size_t nextCue_ = 0, phone_ = 0, nextClick_ = 0, nextKey_ = 0;
    std::vector<Phone> phones_;
    Phone mouth_;  // moves towards the current phone
    double glottis_ = 0, pitch_ = 0, lastFlow_ = 0, lastPressure_ = 0, room_ = 0;
    std::array<Resonator, 4> formants_;
    Resonator noise_;
    std::vector<Tap> taps_;
    std::uint64_t sample_ = 0;
};

}  // namespace lumenwhirl::demo
