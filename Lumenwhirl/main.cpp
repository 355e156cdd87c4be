#include "Lumenwhirl/Commands/CommandLine.h"
#include "Media/MediaLog.h"

int main(int argc, char** argv) {
    lumenwhirl::silenceMediaLibraries();  // our own error lines say what they would print
    return lumenwhirl::runCommandLine(argc, argv);
}
