#pragma once

#include "Media/AudioReader.h"
#include "Media/MediaError.h"
#include "Media/VideoReader.h"
#include "Media/VideoWriter.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

/// Numbers frames so that they are recognised after encoding, scaling and moving: 16 black or white blocks, two
/// rows of eight, lowest bit first.
namespace lumenwhirl::barCode {

/// Where the code is, in luma pixels; each block should end up at least 6 pixels wide and high.
struct Area {
    double x = 0, y = 0, width = 0, height = 0;
};

inline constexpr int columns = 8, rows = 2;
inline constexpr std::uint8_t black = 16, white = 235;

[[nodiscard]] inline Area areaOf(const Picture& frame) {
    return {0, 0, static_cast<double>(frame.width()), static_cast<double>(frame.height())};
}

/// Fills one plane's rectangle.
inline void fill(Picture& frame, int plane, int left, int top, int right, int bottom, std::uint8_t value) {
    for (int y = top; y < bottom; ++y) {
        std::uint8_t* row = frame.mutablePlane(plane) + y * frame.stride(plane);
        std::fill(row + left, row + right, value);
    }
}

/// Fills the whole frame with one colour.
inline void fill(Picture& frame, std::uint8_t luma, std::uint8_t blue = 128, std::uint8_t red = 128) {
    fill(frame, 0, 0, 0, frame.width(), frame.height(), luma);
    fill(frame, 1, 0, 0, frame.width() / 2, frame.height() / 2, blue);
    fill(frame, 2, 0, 0, frame.width() / 2, frame.height() / 2, red);
}

/// Draws the lowest 16 bits of `number` into the luma plane.
inline void paint(Picture& frame, unsigned number, const Area& area) {
    const auto edge = [](double start, double size, int index, int count) {
        return static_cast<int>(std::lround(start + size * index / count));
    };
    for (int i = 0; i < columns * rows; ++i) {
        const int column = i % columns, row = i / columns;
        fill(frame, 0, edge(area.x, area.width, column, columns), edge(area.y, area.height, row, rows),
             edge(area.x, area.width, column + 1, columns), edge(area.y, area.height, row + 1, rows),
             (number >> i & 1U) != 0 ? white : black);
    }
}

/// The number in a luma plane, read from the middles of the blocks; empty where a block is neither black nor
/// white, as in a blend of two frames.
[[nodiscard]] inline std::optional<unsigned> read(const std::uint8_t* luma, std::ptrdiff_t stride,
                                                  const Area& area) {
    constexpr int middle = (black + white) / 2, unclear = 50;
    unsigned number = 0;
    for (int i = 0; i < columns * rows; ++i) {
        const double width = area.width / columns, height = area.height / rows;
        const double x = area.x + width * (i % columns), y = area.y + height * (i / columns);
        const auto left = static_cast<int>(std::ceil(x + width / 4)), right = static_cast<int>(x + width * 3 / 4);
        const auto top = static_cast<int>(std::ceil(y + height / 4)),
                   bottom = static_cast<int>(y + height * 3 / 4);
        long sum = 0;
        for (int row = top; row < bottom; ++row) {
            for (int column = left; column < right; ++column) sum += luma[row * stride + column];
        }
        const long mean = sum / std::max(1L, static_cast<long>(right - left) * (bottom - top));
        if (std::abs(mean - middle) < unclear) return std::nullopt;
        if (mean > middle) number |= 1U << i;
    }
    return number;
}

[[nodiscard]] inline std::optional<unsigned> read(const Picture& frame, const Area& area) {
    return read(frame.plane(0), frame.stride(0), area);
}

}  // namespace lumenwhirl::barCode

/// Small movies as VideoWriter makes them.
namespace lumenwhirl::movies {

inline constexpr int width = 160, height = 64;

[[nodiscard]] inline VideoSettings settings(VideoCodec codec = VideoCodec::h264) {
    VideoSettings settings;
    settings.codec = codec;
    settings.width = width;
    settings.height = height;
    settings.software.preset = codec == VideoCodec::h264 ? "veryfast" : "ultrafast";  // x264 and x265 use B-frames
    settings.software.threads = 2;
    return settings;
}

[[nodiscard]] inline const char* nameOf(VideoCodec codec) {
    return codec == VideoCodec::h264 ? "h264" : codec == VideoCodec::hevc ? "hevc" : "prores";
}

/// A frame that shows `number`. Its lower half is noise, so that every frame costs some bits.
[[nodiscard]] inline Picture numbered(unsigned number) {
    Picture frame(width, height, PixelFormat::yuv420p8);
    barCode::fill(frame, 126);
    barCode::paint(frame, number, {0, 0, width, height / 2});
    std::uint32_t noise = number * 2654435761U + 1;
    for (int y = height / 2; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            noise = noise * 1664525U + 1013904223U;
            frame.mutablePlane(0)[y * frame.stride(0) + x] = static_cast<std::uint8_t>(64 + (noise >> 25));
        }
    }
    return frame;
}

/// The same frame at 10 bits with every chroma row doubled, for ProRes.
[[nodiscard]] inline Picture widened(const Picture& frame) {
    Picture wide(frame.width(), frame.height(), PixelFormat::yuv422p10);
    for (int plane = 0; plane < 3; ++plane) {
        const int columns = plane == 0 ? frame.width() : frame.width() / 2;
        for (int y = 0; y < frame.height(); ++y) {
            const std::uint8_t* from = frame.plane(plane) + (plane == 0 ? y : y / 2) * frame.stride(plane);
            auto* to = reinterpret_cast<std::uint16_t*>(wide.mutablePlane(plane) + y * wide.stride(plane));
            for (int x = 0; x < columns; ++x) to[x] = static_cast<std::uint16_t>(4 * from[x]);
        }
    }
    return wide;
}

/// A numbered frame in the format that the codec takes.
[[nodiscard]] inline Picture numberedFor(VideoCodec codec, unsigned number) {
    return codec == VideoCodec::prores ? widened(numbered(number)) : numbered(number);
}

[[nodiscard]] inline std::optional<unsigned> numberOf(const Picture& frame) {
    return barCode::read(frame, {0, 0, width, height / 2});
}

/// `count` times, `step` ticks apart.
[[nodiscard]] inline std::vector<std::int64_t> steady(int count, std::int64_t step) {
    std::vector<std::int64_t> ticks;
    for (int i = 0; i < count; ++i) ticks.push_back(i * step);
    return ticks;
}

struct Movie {
    std::vector<std::int64_t> ticks;  // of video.timeBase, one a frame
    std::function<Picture(unsigned)> frame;
    VideoSettings video;
    std::optional<AudioBuffer> audio = {};  // at 48 kHz
};

inline void write(const std::filesystem::path& file, const Movie& movie) {
    std::optional<AudioSettings> audio;
    if (movie.audio) audio = {48'000, static_cast<int>(movie.audio->channels.size()), 0};
    VideoWriter writer(file, movie.video, audio);
    for (unsigned i = 0; i < movie.ticks.size(); ++i) writer.write(movie.frame(i), movie.ticks[i]);
    if (movie.audio) {
        std::vector<const float*> channels;
        for (const auto& plane : movie.audio->channels) channels.push_back(plane.data());
        writer.writeAudio(channels.data(), movie.audio->frames());
    }
    writer.finish();
}

/// Frames numbered from 0 at these ticks.
inline void write(const std::filesystem::path& file, const std::vector<std::int64_t>& ticks,
                  const VideoSettings& video = settings()) {
    write(file, {ticks, [&](unsigned number) { return numberedFor(video.codec, number); }, video});
}

inline void readAllFrames(const std::filesystem::path& file) {
    VideoReader reader(file);
    while (reader.next()) {
    }
}

/// The kind of MediaError that `action` throws, empty if none; `message` gets its text.
template <class Action>
[[nodiscard]] std::optional<MediaError::Kind> thrownBy(Action action, std::string* message = nullptr) {
    try {
        action();
    } catch (const MediaError& error) {
        if (message) *message = error.what();
        return error.kind();
    }
    return std::nullopt;
}

}  // namespace lumenwhirl::movies
