#include "foundation/log_exception.h"

#include "foundation/status.h"

namespace mcgate::foundation {

void logCurrentException(quorvel::log::i_logger::v0::ILogger& log, const char* prefix) noexcept {
    try {
        log.Log(0, "%s", (prefix + textOfCurrentException()).c_str());
    } catch (...) {
        return;  // no memory for the text, or a log that fails: there is nobody left to tell
    }
}

}  // namespace mcgate::foundation
