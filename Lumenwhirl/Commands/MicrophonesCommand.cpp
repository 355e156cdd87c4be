#include "Lumenwhirl/Commands/MicrophonesCommand.h"

#include "Lumenwhirl/Commands/JsonWriter.h"
#include "Recorder/Backends/Desktop.h"

#include <CLI/CLI.hpp>

#include <cstdio>

namespace lumenwhirl {

MicrophonesCommand::MicrophonesCommand(CLI::App& parser) : Command(parser) {
    parser.footer(
        "Prints [{\"id\",\"name\",\"isDefault\"}]; an \"id\" is what \"lumenwhirl record --mic\" takes.");
}

void MicrophonesCommand::run() {
    const std::unique_ptr<AudioSystem> audio = Desktop::makeAudioSystem();
    const std::vector<MicDevice> devices = audio->inputs();
    const std::optional<std::string> defaultID = audio->defaultInputID();
    JsonWriter json(JsonWriter::Layout::indented);
    json.beginArray();
    for (const MicDevice& device : devices) {
        json.beginObject().member("id", std::string_view(device.id)).member("name", std::string_view(device.name));
        json.member("isDefault", defaultID == device.id).endObject();
    }
    json.endArray();
    std::puts(json.text().c_str());
}

}  // namespace lumenwhirl
