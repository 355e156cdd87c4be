#include "Media/Fragments.h"

#include <array>
#include <cstddef>
#include <fstream>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>

namespace lumenwhirl {
namespace {

struct Box {
    std::array<char, 4> type{};
    std::int64_t content = 0, end = 0;  // places in the file
    [[nodiscard]] bool is(std::string_view name) const {
        return std::string_view(type.data(), type.size()) == name;
    }
};

/// Walks through boxes, each of which must end within the one it is in.
class BoxReader {
public:
    BoxReader(const std::filesystem::path& file, std::int64_t size) : in_(file, std::ios::binary), size_(size) {}

    /// The box at that place; empty if none fits.
    [[nodiscard]] std::optional<Box> at(std::int64_t place, std::int64_t limit) {
        Box box;
        box.content = place + 8;
        in_.seekg(place);
        std::int64_t length = number(4);
        in_.read(box.type.data(), static_cast<std::streamsize>(box.type.size()));
        if (length == 1) {
            length = number(8);
            box.content += 8;
        } else if (length == 0) {
            length = limit - place;
        }
        if (!in_ || length < box.content - place || length > limit - place) return std::nullopt;
        box.end = place + length;
        return box;
    }
    [[nodiscard]] std::optional<Box> at(std::int64_t place) { return at(place, size_); }

    /// Calls `visit` with each box inside.
    template <class Visit>
    void each(const Box& outer, Visit&& visit) {
        for (auto box = at(outer.content, outer.end); box; box = at(box->end, outer.end)) visit(*box);
    }

    /// Four bytes of a box's content, after the first `skipped`.
    [[nodiscard]] std::int64_t numberIn(const Box& box, std::int64_t skipped) {
        if (box.end - box.content < skipped + 4) return 0;
        in_.seekg(box.content + skipped);
        const std::int64_t value = number(4);
        return in_ ? value : 0;
    }

private:
    /// Big-endian; -1 beyond 63 bits, which no length needs.
    std::int64_t number(int bytes) {
        std::uint64_t value = 0;
        for (int i = 0; i < bytes; ++i) value = value << 8 | static_cast<std::uint8_t>(in_.get());
        return value >> 63 == 0 ? static_cast<std::int64_t>(value) : -1;
    }

    std::ifstream in_;
    std::int64_t size_;
};

std::int64_t packetsOf(BoxReader& reader, const Box& fragment) {
    std::int64_t count = 0;
    reader.each(fragment, [&](const Box& track) {
        if (!track.is("traf")) return;
        reader.each(track, [&](const Box& run) {
            if (run.is("trun")) count += reader.numberIn(run, 4);  // after version and flags
        });
    });
    return count;
}

}  // namespace

Fragments fragmentsOf(const std::filesystem::path& file) {
    std::error_code unreadable;
    const std::uintmax_t size = std::filesystem::file_size(file, unreadable);
    Fragments result;
    if (unreadable) return result;
    BoxReader reader(file, static_cast<std::int64_t>(size));
    std::int64_t waiting = 0;  // packets that a fragment's index promises, until their data is there
    for (auto box = reader.at(0); box; box = reader.at(box->end)) {
        if (box->is("moov")) {
            reader.each(*box, [&](const Box& inner) { result.isFragmented |= inner.is("mvex"); });
            result.hasIndex = true;
            result.wholeBytes = box->end;
        } else if (box->is("moof")) {
            waiting += packetsOf(reader, *box);
        } else if (box->is("mdat") && result.hasIndex) {
            result.packets += std::exchange(waiting, 0);
            result.wholeBytes = box->end;
        }
    }
    return result;
}

}  // namespace lumenwhirl
