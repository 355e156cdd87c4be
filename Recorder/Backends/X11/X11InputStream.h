#pragma once

#include "Recorder/Platform/InputStream.h"

#include <memory>
#include <string>

namespace lumenwhirl {

/// The input of an X server, by the raw events of XInput 2: they show every button and key of every device with
/// its time, also while a program holds pointer or keyboard, and take nothing from anybody. They have no places,
/// so the server is asked where the pointer is as soon as a button is told of, some tenths of a millisecond after
/// it. The pointer is also looked at just less than the 120 times a second that are logged, so that motion which
/// programs make (warps) is there too.
///
/// Global points are the screen's pixels divided by the desktop's one scale. A wheel's notch is a line. Keys have
/// the codes of KeyTable. Their characters are those of the key with Shift and AltGr, whatever else is held:
/// Control makes no control characters of them. F1 to F35 have their names; dead keys, and others that type
/// nothing, have none. A key that is held repeats as the server repeats it, which raw events do not show.
///
/// `displayName`: as in DISPLAY; empty for what DISPLAY says. start() connects, and throws PlatformError of kind
/// unsupported where the server is too old.
[[nodiscard]] std::unique_ptr<InputStream> makeX11InputStream(const std::string& displayName);

}  // namespace lumenwhirl
