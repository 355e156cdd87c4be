#pragma once

#include "Recorder/Platform/CaptureStream.h"
#include "Recorder/Platform/InputStream.h"

#include <cstdint>
#include <memory>
#include <string>

/// The streams of an X server, each with a connection and a thread of its own. Global points are the screen's
/// pixels divided by the desktop's one scale. `displayName` is as in DISPLAY; empty for the value of DISPLAY. They
/// connect when they are started, and throw PlatformError of kind unsupported where the server lacks what they
/// need.
namespace lumenwhirl {

/// Looks at a monitor or a window 60 times a second, and reads a picture whenever the server has reported damage
/// since the last one. A look is one round trip; a look at a still screen costs nothing more and delivers the last
/// picture again or an idle frame. `scale`: pixels a point.
[[nodiscard]] std::unique_ptr<CaptureStream> makeX11DisplayCapture(const std::string& displayName,
                                                                   std::uint32_t id, double scale);
[[nodiscard]] std::unique_ptr<CaptureStream> makeX11WindowCapture(const std::string& displayName,
                                                                  std::uint32_t window, double scale);

/// The input of an X server, from the raw events of XInput 2: they report every button and key of every device
/// with its time, also while a program has grabbed pointer or keyboard, and take nothing away from anybody. They
/// carry no positions, so the server is asked where the pointer is as soon as a button event arrives, some tenths
/// of a millisecond after it happened. The pointer is also polled slightly less often than the 120 times a second
/// that are logged, so that motion made by programs (warps) is recorded too.
///
/// A wheel's notch is a line. Keys have the codes of KeyTable. Their characters are those of the key with Shift
/// and AltGr, whatever other modifiers are held: Control does not turn them into control characters. F1 to F35
/// have their names; dead keys, and others that type nothing, have no characters. A held key repeats as the server
/// repeats it, which raw events do not show.
[[nodiscard]] std::unique_ptr<InputStream> makeX11InputStream(const std::string& displayName);

/// Passive grabs on the root window: of the key in its place on the keyboard and of the one that types its symbol,
/// where a layout has that elsewhere; each with and without CapsLock and NumLock. Follows changes of the layout.
[[nodiscard]] std::unique_ptr<HotKeyGrab> makeX11HotKeyGrab(const std::string& displayName);

}  // namespace lumenwhirl
