#include "Media/FrameNumbers.h"

#include <algorithm>

namespace lumenwhirl {

std::int64_t FrameNumbers::numberFor(std::int64_t pts) {
    times_.push_back(pts);
    return first_ + static_cast<std::int64_t>(times_.size()) - 1;
}

bool FrameNumbers::restore(AVPacket& packet) {
    if (packet.dts == AV_NOPTS_VALUE) packet.dts = packet.pts;  // an encoder that does not reorder
    const std::int64_t last = first_ + static_cast<std::int64_t>(times_.size()) - 1;
    const auto isKnown = [&](std::int64_t number) { return number >= first_ && number <= last; };
    // Decoding starts before the first frame is shown, by as many frames as the encoder reorders.
    const bool isEarly = packet.dts < 0 && first_ == 0;
    if (!isKnown(packet.pts) || (!isEarly && !isKnown(packet.dts))) return false;
    const auto timeOf = [&](std::int64_t number) { return times_[static_cast<std::size_t>(number - first_)]; };
    const std::int64_t decoded = packet.dts;
    packet.pts = timeOf(packet.pts);
    packet.dts = isEarly ? times_.front() + decoded * nominalTicks_ : timeOf(decoded);
    // What follows is decoded later, and shown no earlier than it is decoded.
    const std::int64_t done = std::max<std::int64_t>(0, decoded - first_);
    times_.erase(times_.begin(), times_.begin() + static_cast<std::ptrdiff_t>(done));
    first_ += done;
    return true;
}

}  // namespace lumenwhirl
