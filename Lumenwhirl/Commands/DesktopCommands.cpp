#include "Lumenwhirl/Commands/Command.h"
#include "Lumenwhirl/Commands/JsonWriter.h"
#include "Recorder/Backends/Desktop.h"
#include "Recorder/Permissions.h"
#include "Recorder/Platform/PlatformError.h"
#include "Recorder/ShareableContent.h"

#include <CLI/CLI.hpp>

#include <cstdio>

// What can be recorded on this desktop: displays and windows, microphones, permissions.
namespace lumenwhirl {
namespace {

void writeDisplayInfo(JsonWriter& json, const DisplayInfo& info) {
    json.key("displayInfo").beginObject().member("id", std::int64_t{info.id});
    json.member("pixelWidth", info.pixelWidth).member("pixelHeight", info.pixelHeight);
    json.member("pointWidth", info.pointWidth).member("pointHeight", info.pointHeight);
    json.member("scaleFactor", info.scaleFactor).member("globalOriginX", info.globalOriginX);
    json.member("globalOriginY", info.globalOriginY).endObject();
}

class TargetsCommand final : public Command {
public:
    explicit TargetsCommand(CLI::App& parser) : Command(parser) {
        parser.footer(
            "Prints {\"displays\":[…],\"windows\":[…]}, the windows from bottom to top.\n"
            "\"lumenwhirl record\" takes an \"id\" after --display or --window.");
    }

    void run() override {
        const std::unique_ptr<ScreenSystem> screen = Desktop::connectToScreen();
        JsonWriter json(JsonWriter::Layout::indented);
        json.beginObject().key("displays").beginArray();
        for (const CaptureDisplay& display : ShareableContent::displays(*screen)) {
            json.beginObject().member("id", std::int64_t{display.id});
            json.member("name", std::string_view(display.name)).member("isPrimary", display.isPrimary);
            writeDisplayInfo(json, display.displayInfo);
            json.endObject();
        }
        json.endArray().key("windows").beginArray();
        for (const CaptureWindow& window : ShareableContent::windows(*screen, std::nullopt)) {
            json.beginObject().member("id", std::int64_t{window.id});
            json.member("appName", std::string_view(window.appName));
            json.member("title", std::string_view(window.title));
            json.member("containingDisplayID", std::int64_t{window.containingDisplayID});
            writeDisplayInfo(json, window.displayInfo);
            json.endObject();
        }
        json.endArray().endObject();
        std::puts(json.text().c_str());
    }
};

class MicrophonesCommand final : public Command {
public:
    explicit MicrophonesCommand(CLI::App& parser) : Command(parser) {
        parser.footer("Prints [{\"id\",\"name\",\"isDefault\"}]. \"lumenwhirl record --mic\" takes an \"id\".");
    }

    void run() override {
        const std::unique_ptr<AudioSystem> audio = Desktop::makeAudioSystem();
        const std::vector<MicDevice> devices = audio->inputs();
        const std::optional<std::string> defaultID = audio->defaultInputID();
        JsonWriter json(JsonWriter::Layout::indented);
        json.beginArray();
        for (const MicDevice& device : devices) {
            json.beginObject().member("id", std::string_view(device.id));
            json.member("name", std::string_view(device.name));
            json.member("isDefault", defaultID == device.id).endObject();
        }
        json.endArray();
        std::puts(json.text().c_str());
    }
};

class PermissionsCommand final : public Command {
public:
    explicit PermissionsCommand(CLI::App& parser) : Command(parser) {
        parser.footer(
            "Prints {\"screenRecording\",\"inputMonitoring\",\"microphone\"}, each \"granted\", \"denied\" or \"notDetermined\";\n"
            "the last where there is no display or no audio server.");
    }

    void run() override {
        std::unique_ptr<ScreenSystem> screen;
        try {
            screen = Desktop::connectToScreen();
        } catch (const PlatformError&) {  // no display: reported as notDetermined
        }
        const std::unique_ptr<AudioSystem> audio = Desktop::makeAudioSystem();
        JsonWriter json(JsonWriter::Layout::compact);
        json.beginObject();
        for (const Permission permission : allPermissions)
            json.member(nameOf(permission), nameOf(Permissions::status(permission, screen.get(), *audio)));
        json.endObject();
        std::puts(json.text().c_str());
    }
};

}  // namespace

std::unique_ptr<Command> makeTargetsCommand(CLI::App& parser) {
    return std::make_unique<TargetsCommand>(parser);
}
std::unique_ptr<Command> makeMicrophonesCommand(CLI::App& parser) {
    return std::make_unique<MicrophonesCommand>(parser);
}
std::unique_ptr<Command> makePermissionsCommand(CLI::App& parser) {
    return std::make_unique<PermissionsCommand>(parser);
}

}  // namespace lumenwhirl
