#include "Lumenwhirl/Commands/CommandLine.h"
#include "Media/MediaLog.h"

int main(int argc, char** argv) {
    lumenwhirl::silenceMediaLibraries();  // what they would print is in our own error lines
    return lumenwhirl::runCommandLine(argc, argv);
}
