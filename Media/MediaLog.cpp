#include "Media/MediaLog.h"

extern "C" {
#include <libavutil/log.h>
}

namespace lumenwhirl {

void silenceMediaLibraries() {
    av_log_set_level(AV_LOG_QUIET);
}

}  // namespace lumenwhirl
