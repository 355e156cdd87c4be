#include "Engine/Overlays/UpperCase.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>

namespace lumenwhirl {
namespace {

/// A run of lower-case letters whose upper case is `offset` away. In a run with `step` 2 the two cases alternate
/// and `first` is lower-case.
struct Run {
    char32_t first, last;
    std::int32_t offset;
    char32_t step;
};

// UnicodeData.txt 15.0, field Simple_Uppercase_Mapping, ascending.
constexpr Run runs[] = {
    {U'a', U'z', -32, 1},      {0x00B5, 0x00B5, 743, 1},                            // micro sign: capital mu
    {0x00E0, 0x00F6, -32, 1},                                                       // Latin-1
    {0x00F8, 0x00FE, -32, 1},  {0x00FF, 0x00FF, 121, 1},  {0x0101, 0x012F, -1, 2},  // Latin Extended-A
    {0x0131, 0x0131, -232, 1},                                                      // dotless i
    {0x0133, 0x0137, -1, 2},   {0x013A, 0x0148, -1, 2},   {0x014B, 0x0177, -1, 2},
    {0x017A, 0x017E, -1, 2},   {0x017F, 0x017F, -300, 1},  // long s
    {0x01A1, 0x01A5, -1, 2},                               // Latin Extended-B: Vietnamese and Pinyin
    {0x01B0, 0x01B0, -1, 1},   {0x01C5, 0x01C5, -1, 1},   {0x01C6, 0x01C6, -2, 1},  // digraphs, also of title case
    {0x01C8, 0x01C8, -1, 1},   {0x01C9, 0x01C9, -2, 1},   {0x01CB, 0x01CB, -1, 1},
    {0x01CC, 0x01CC, -2, 1},   {0x01CE, 0x01DC, -1, 2},   {0x01DF, 0x01EF, -1, 2},
    {0x01F2, 0x01F2, -1, 1},   {0x01F3, 0x01F3, -2, 1},   {0x01F9, 0x021F, -1, 2},
    {0x0223, 0x0233, -1, 2},   {0x03AC, 0x03AC, -38, 1},                             // Greek
    {0x03AD, 0x03AF, -37, 1},  {0x03B1, 0x03C1, -32, 1},  {0x03C2, 0x03C2, -31, 1},  // final sigma
    {0x03C3, 0x03CB, -32, 1},  {0x03CC, 0x03CC, -64, 1},  {0x03CD, 0x03CE, -63, 1},
    {0x0430, 0x044F, -32, 1},  // Cyrillic
    {0x0450, 0x045F, -80, 1},  {0x0461, 0x0481, -1, 2},   {0x048B, 0x04BF, -1, 2},
    {0x04C2, 0x04CE, -1, 2},   {0x04CF, 0x04CF, -15, 1},  {0x04D1, 0x052F, -1, 2},
    {0x0561, 0x0586, -48, 1},  // Armenian
    {0x1E01, 0x1E95, -1, 2},   // Latin Extended Additional
    {0x1EA1, 0x1EFF, -1, 2},
};

/// Letters whose upper case is several letters (SpecialCasing.txt), in UTF-8.
constexpr struct {
    char32_t letter;
    std::string_view upper;
} expansions[] = {
    {0x00DF, "SS"},
    {0x0149, "\xCA\xBCN"},
    {0x01F0, "J\xCC\x8C"},
    {0x0390, "\xCE\x99\xCC\x88\xCC\x81"},
    {0x03B0, "\xCE\xA5\xCC\x88\xCC\x81"},
    {0x0587, "\xD4\xB5\xD5\x92"},
    {0xFB00, "FF"},  // ligatures
    {0xFB01, "FI"},
    {0xFB02, "FL"},
    {0xFB03, "FFI"},
    {0xFB04, "FFL"},
    {0xFB05, "ST"},
    {0xFB06, "ST"},
    {0xFB13, "\xD5\x84\xD5\x86"},
    {0xFB14, "\xD5\x84\xD4\xB5"},
    {0xFB15, "\xD5\x84\xD4\xBB"},
    {0xFB16, "\xD5\x8E\xD5\x86"},
    {0xFB17, "\xD5\x84\xD4\xBD"},
};

char32_t upperCaseOf(char32_t letter) {
    const Run* run = std::lower_bound(std::begin(runs), std::end(runs), letter,
                                      [](const Run& each, char32_t value) { return each.last < value; });
    if (run == std::end(runs) || letter < run->first || (letter - run->first) % run->step != 0) return letter;
    return static_cast<char32_t>(static_cast<std::int32_t>(letter) + run->offset);
}

/// The letter of one to three bytes at the front of a text, and its length; no letter in the tables takes four.
struct Letter {
    char32_t value;
    std::size_t bytes;  // 0: none of these
};
Letter firstLetter(std::string_view text) {
    const auto byte = [&](std::size_t index) -> char32_t { return static_cast<unsigned char>(text[index]); };
    const auto continues = [&](std::size_t index) { return index < text.size() && (byte(index) & 0xC0) == 0x80; };
    if (byte(0) < 0x80) return {byte(0), 1};
    if ((byte(0) & 0xE0) == 0xC0 && continues(1)) return {(byte(0) & 0x1F) << 6 | (byte(1) & 0x3F), 2};
    if ((byte(0) & 0xF0) == 0xE0 && continues(1) && continues(2))
        return {(byte(0) & 0x0F) << 12 | (byte(1) & 0x3F) << 6 | (byte(2) & 0x3F), 3};
    return {0, 0};
}

}  // namespace

void appendUtf8(std::string& text, char32_t character) {
    if (character > 0x10FFFF || (character >= 0xD800 && character < 0xE000)) character = 0xFFFD;
    const auto append = [&](char32_t byte) { text += static_cast<char>(byte); };
    const auto appendTail = [&](unsigned shift) { append(0x80 | (character >> shift & 0x3F)); };
    if (character < 0x80) {
        append(character);
    } else if (character < 0x800) {
        append(0xC0 | character >> 6);
        appendTail(0);
    } else if (character < 0x10000) {
        append(0xE0 | character >> 12);
        appendTail(6);
        appendTail(0);
    } else {
        append(0xF0 | character >> 18);
        appendTail(12);
        appendTail(6);
        appendTail(0);
    }
}

std::string upperCased(std::string_view utf8) {
    std::string upper;
    upper.reserve(utf8.size());
    while (!utf8.empty()) {
        const Letter letter = firstLetter(utf8);
        const std::size_t taken = std::max<std::size_t>(letter.bytes, 1);
        const auto* expansion = std::find_if(std::begin(expansions), std::end(expansions),
                                             [&](const auto& each) { return each.letter == letter.value; });
        const char32_t mapped = upperCaseOf(letter.value);
        if (letter.bytes == 0 || (mapped == letter.value && expansion == std::end(expansions)))
            upper += utf8.substr(0, taken);
        else if (expansion != std::end(expansions))
            upper += expansion->upper;
        else
            appendUtf8(upper, mapped);
        utf8.remove_prefix(taken);
    }
    return upper;
}

}  // namespace lumenwhirl
