#include "Compositor/MissingGlyphs.h"

#include "Compositor/CairoHandles.h"

#include <algorithm>
#include <array>
#include <set>

namespace lumenwhirl {
namespace {

constexpr std::size_t mostCharacters = 2000;

struct Script {
    GUnicodeScript script;
    const char *name, *package = "fonts-noto-core";
};
constexpr std::array scripts{
    Script{G_UNICODE_SCRIPT_HAN, "Chinese", "fonts-noto-cjk"},
    Script{G_UNICODE_SCRIPT_HIRAGANA, "Japanese", "fonts-noto-cjk"},
    Script{G_UNICODE_SCRIPT_KATAKANA, "Japanese", "fonts-noto-cjk"},
    Script{G_UNICODE_SCRIPT_HANGUL, "Korean", "fonts-noto-cjk"},
    Script{G_UNICODE_SCRIPT_BOPOMOFO, "Chinese", "fonts-noto-cjk"},
    Script{G_UNICODE_SCRIPT_ARABIC, "Arabic"},
    Script{G_UNICODE_SCRIPT_HEBREW, "Hebrew"},
    Script{G_UNICODE_SCRIPT_DEVANAGARI, "Devanagari"},
    Script{G_UNICODE_SCRIPT_BENGALI, "Bengali"},
    Script{G_UNICODE_SCRIPT_GURMUKHI, "Gurmukhi"},
    Script{G_UNICODE_SCRIPT_GUJARATI, "Gujarati"},
    Script{G_UNICODE_SCRIPT_ORIYA, "Odia"},
    Script{G_UNICODE_SCRIPT_TAMIL, "Tamil"},
    Script{G_UNICODE_SCRIPT_TELUGU, "Telugu"},
    Script{G_UNICODE_SCRIPT_KANNADA, "Kannada"},
    Script{G_UNICODE_SCRIPT_MALAYALAM, "Malayalam"},
    Script{G_UNICODE_SCRIPT_SINHALA, "Sinhala"},
    Script{G_UNICODE_SCRIPT_THAI, "Thai"},
    Script{G_UNICODE_SCRIPT_LAO, "Lao"},
    Script{G_UNICODE_SCRIPT_KHMER, "Khmer"},
    Script{G_UNICODE_SCRIPT_MYANMAR, "Burmese"},
    Script{G_UNICODE_SCRIPT_TIBETAN, "Tibetan"},
    Script{G_UNICODE_SCRIPT_ETHIOPIC, "Ethiopic"},
    Script{G_UNICODE_SCRIPT_ARMENIAN, "Armenian"},
    Script{G_UNICODE_SCRIPT_GEORGIAN, "Georgian"},
};

std::string fontFor(gunichar character) {
    constexpr gunichar firstEmoji = 0x1F000, lastEmoji = 0x1FBFF;
    if (character >= firstEmoji && character <= lastEmoji) return "emoji (install fonts-noto-color-emoji)";
    const auto found = std::find_if(scripts.begin(), scripts.end(), [&](const Script& each) {
        return each.script == g_unichar_get_script(character);
    });
    if (found == scripts.end()) return "rare characters (install fonts-noto-extra)";
    return std::string(found->name) + " (install " + found->package + ")";
}

}  // namespace

std::vector<std::string> scriptsWithoutFont(std::string_view text) {
    std::set<gunichar> characters;
    for (const char* c = text.data(); c < text.data() + text.size() && characters.size() < mostCharacters;) {
        const gunichar code = g_utf8_get_char_validated(c, text.data() + text.size() - c);
        if (code >= 0x110000) {  // not UTF-8
            ++c;
            continue;
        }
        if (g_unichar_isgraph(code) != FALSE && g_unichar_iszerowidth(code) == FALSE) characters.insert(code);
        c = g_utf8_next_char(c);
    }
    const GObjectHandle<PangoFontMap> fonts(pango_cairo_font_map_new_for_font_type(CAIRO_FONT_TYPE_FT));
    const GObjectHandle<PangoContext> context(pango_font_map_create_context(fonts.get()));
    const GObjectHandle<PangoLayout> layout(pango_layout_new(context.get()));
    std::vector<std::string> missing;
    for (const gunichar character : characters) {
        std::array<char, 6> bytes{};
        pango_layout_set_text(layout.get(), bytes.data(), g_unichar_to_utf8(character, bytes.data()));
        if (pango_layout_get_unknown_glyphs_count(layout.get()) == 0) continue;
        std::string script = fontFor(character);
        if (std::find(missing.begin(), missing.end(), script) == missing.end())
            missing.push_back(std::move(script));
    }
    return missing;
}

}  // namespace lumenwhirl
