#include "Lumenwhirl/Commands/TargetsCommand.h"

#include "Lumenwhirl/Commands/JsonWriter.h"
#include "Recorder/Backends/Desktop.h"
#include "Recorder/ShareableContent.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace lumenwhirl {
namespace {

void writeDisplayInfo(JsonWriter& json, const DisplayInfo& info) {
    json.key("displayInfo").beginObject().member("id", std::int64_t{info.id});
    json.member("pixelWidth", info.pixelWidth).member("pixelHeight", info.pixelHeight);
    json.member("pointWidth", info.pointWidth).member("pointHeight", info.pointHeight);
    json.member("scaleFactor", info.scaleFactor).member("globalOriginX", info.globalOriginX);
    json.member("globalOriginY", info.globalOriginY).endObject();
}

}  // namespace

TargetsCommand::TargetsCommand(CLI::App& parser) : Command(parser) {
    parser.footer(
        "Prints {\"displays\":[…],\"windows\":[…]}, the windows from the lowest to the one on top. The \"id\" of "
        "one "
        "is\nwhat \"lumenwhirl record\" takes after --display or --window.");
}

void TargetsCommand::run() {
    const std::unique_ptr<ScreenSystem> screen = Desktop::connectToScreen();
    JsonWriter json(JsonWriter::Layout::indented);
    json.beginObject().key("displays").beginArray();
    for (const CaptureDisplay& display : ShareableContent::displays(*screen)) {
        json.beginObject().member("id", std::int64_t{display.id}).member("name", std::string_view(display.name));
        json.member("isPrimary", display.isPrimary);
        writeDisplayInfo(json, display.displayInfo);
        json.endObject();
    }
    json.endArray().key("windows").beginArray();
    for (const CaptureWindow& window : ShareableContent::windows(*screen, std::nullopt)) {
        json.beginObject().member("id", std::int64_t{window.id});
        json.member("appName", std::string_view(window.appName)).member("title", std::string_view(window.title));
        json.member("containingDisplayID", std::int64_t{window.containingDisplayID});
        writeDisplayInfo(json, window.displayInfo);
        json.endObject();
    }
    json.endArray().endObject();
    std::puts(json.text().c_str());
}

}  // namespace lumenwhirl
