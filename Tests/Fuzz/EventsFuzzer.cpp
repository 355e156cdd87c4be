#include "Tests/Fuzz/Models.h"

namespace {

using namespace lumenwhirl;

/// A project that shows everything a log can contain.
ProjectSettings everything() {
    ProjectSettings project = ProjectSettings::makeDefault(10, false, false);
    project.keystrokes = {true, true};
    return project;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const ProjectSettings project = everything();
    if (const auto events = fuzz::decodeAndRepeat<EventLog>(data, size)) fuzz::checkModels(*events, project);
    return 0;
}
