#include "Demo/Phones.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <string>
#include <string_view>

namespace lumenwhirl::demo {
namespace {

/// A sound as long as `length` others of length 1.
struct Audio {
    double length = 1;
    std::array<double, 3> formants{500, 1500, 2500};
    double voice = 0, noise = 0, noiseFrequency = 3000;
};

constexpr Audio vowel(double length, double first, double second, double third) {
    return {length, {first, second, third}, 1, 0, 3000};
}
constexpr Audio hiss(double length, double frequency, double strength, double voice = 0) {
    return {length, {400, 1600, 2600}, voice, strength, frequency};
}
constexpr Audio hum(double first, double second, double third, double voice) {
    return {0.75, {first, second, third}, voice, 0, 3000};
}

/// The sounds of a letter; formants of vowels after Peterson and Barney (1952).
void addAudios(std::vector<Audio>& audios, char letter, bool isBeforeVowel) {
    const auto stop = [&](double frequency, double voice) {
        audios.push_back(hiss(0.55, frequency, 0, voice));  // closed
        audios.push_back(hiss(isBeforeVowel ? 0.28 : 0.4, frequency, 0.6, voice));
    };
    switch (letter) {
        case 'a':
            audios.push_back(vowel(1.5, 720, 1240, 2500));
            break;
        case 'e':
            audios.push_back(vowel(1.25, 530, 1840, 2480));
            break;
        case 'i':
            audios.push_back(vowel(1.2, 390, 1990, 2550));
            break;
        case 'o':
            audios.push_back(vowel(1.5, 570, 900, 2410));
            break;
        case 'u':
            audios.push_back(vowel(1.25, 460, 1080, 2240));
            break;
        case 'y':
            audios.push_back(vowel(1.1, 300, 2200, 2900));
            break;
        case 'm':
            audios.push_back(hum(260, 1000, 2200, 0.55));
            break;
        case 'n':
            audios.push_back(hum(260, 1500, 2500, 0.55));
            break;
        case 'l':
            audios.push_back(hum(360, 1100, 2600, 0.7));
            break;
        case 'r':
            audios.push_back(hum(420, 1250, 1600, 0.75));
            break;
        case 'w':
            audios.push_back(hum(300, 700, 2200, 0.7));
            break;
        case 'j':
            audios.push_back(hiss(0.8, 3000, 0.5, 0.4));
            break;
        case 's':
        case 'c':
        case 'x':
            audios.push_back(hiss(1, 5800, 0.55));
            break;
        case 'z':
            audios.push_back(hiss(0.9, 5400, 0.35, 0.4));
            break;
        case 'S':
            audios.push_back(hiss(1, 3000, 0.6));
            break;  // sh, ch
        case 'T':
            audios.push_back(hiss(0.7, 4200, 0.2, 0.35));
            break;  // th
        case 'f':
            audios.push_back(hiss(0.9, 4500, 0.25));
            break;
        case 'v':
            audios.push_back(hiss(0.7, 4000, 0.14, 0.5));
            break;
        case 'h':
            audios.push_back(hiss(0.6, 1600, 0.22));
            break;
        case 't':
            stop(4200, 0);
            break;
        case 'd':
            stop(3800, 0.25);
            break;
        case 'p':
            stop(1400, 0);
            break;
        case 'b':
            stop(1200, 0.3);
            break;
        case 'k':
        case 'q':
            stop(2300, 0);
            break;
        case 'g':
            stop(2100, 0.3);
            break;
        default:
            break;
    }
}

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

}  // namespace

std::vector<Phone> phonesOf(const CaptionCue& cue) {
    struct Placed {
        Audio audio;
        bool isStressed;
    };
    std::vector<Placed> placed;
    std::vector<Audio> audios;
    for (std::size_t from = 0; from < cue.text.size();) {
        const std::size_t to = std::min(cue.text.find(' ', from), cue.text.size());
        const std::string letters = spelled(std::string_view(cue.text).substr(from, to - from));
        bool isStressed = letters.size() > 3;  // the first vowel of a longer word
        for (std::size_t i = 0; i < letters.size(); ++i) {
            audios.clear();
            addAudios(audios, letters[i], i + 1 < letters.size() && isVowel(letters[i + 1]));
            const bool takesStress = isStressed && isVowel(letters[i]);
            for (const Audio& audio : audios) placed.push_back({audio, takesStress});
            if (takesStress) isStressed = false;
        }
        placed.push_back({hiss(0.35, 3000, 0), false});
        from = to + 1;
    }
    double total = 0;
    for (Placed& one : placed) total += one.audio.length *= one.isStressed ? 1.3 : 1;

    std::vector<Phone> phones;
    const double start = cue.start + 0.06, length = std::max(cue.end - 0.1 - start, 0.2);
    double sum = 0;
    for (const auto& [audio, isStressed] : placed) {
        const double begin = sum / total;
        sum += audio.length;
        // A statement's melody falls, and falls faster at its end.
        const double melody = 1.12 - 0.2 * begin - 0.1 * begin * begin * begin * begin + (isStressed ? 0.11 : 0);
        phones.push_back({start + length * begin, start + length * sum / total, audio.formants,
                          audio.voice * (isStressed ? 1.15 : 0.9), audio.noise, audio.noiseFrequency, melody});
    }
    return phones;
}

}  // namespace lumenwhirl::demo
