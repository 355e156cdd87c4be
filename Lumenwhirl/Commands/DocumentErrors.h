#pragma once

#include "Lumenwhirl/Commands/Command.h"
#include "Recorder/Package/LumenwhirlPackage.h"
#include "Scene/FrameStates.h"

namespace lumenwhirl {

/// Does `work` on a package's documents. What it finds absurd in them names the document only; the message gets
/// the package in front, like those of documents that cannot be read.
template <class Work>
decltype(auto) onDocumentsOf(const LumenwhirlPackage& package, Work work) {
    try {
        return work();
    } catch (const FrameStates::Error& error) {
        throw CommandError((package.url() / error.what()).string());
    }
}

}  // namespace lumenwhirl
