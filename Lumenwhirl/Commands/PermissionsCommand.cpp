#include "Lumenwhirl/Commands/PermissionsCommand.h"

#include "Lumenwhirl/Commands/JsonWriter.h"
#include "Recorder/Backends/Desktop.h"
#include "Recorder/Permissions.h"
#include "Recorder/Platform/PlatformError.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace lumenwhirl {

PermissionsCommand::PermissionsCommand(CLI::App& parser) : Command(parser) {
    parser.footer(
        "Prints {\"screenRecording\",\"inputMonitoring\",\"microphone\"}, each \"granted\", \"denied\" or "
        "\"notDetermined\",\nwhich is what it is without a display or a sound server.");
}

void PermissionsCommand::run() {
    std::unique_ptr<ScreenSystem> screen;
    try {
        screen = Desktop::connectToScreen();
    } catch (const PlatformError&) {  // an answer like any other here
    }
    const std::unique_ptr<AudioSystem> audio = Desktop::makeAudioSystem();
    JsonWriter json(JsonWriter::Layout::compact);
    json.beginObject();
    for (const Permission permission : allPermissions)
        json.member(nameOf(permission), nameOf(Permissions::status(permission, screen.get(), *audio)));
    json.endObject();
    std::puts(json.text().c_str());
}

}  // namespace lumenwhirl
