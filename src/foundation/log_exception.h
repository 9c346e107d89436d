#pragma once

#include "interfaces/i_logger.h"

namespace mcgate::foundation {

/// To be called in a handler: logs the exception's text at level 0 after `prefix`. Throws nothing, whatever the log or
/// an allocation does: a thread that tells of a failure must not die of telling it.
void logCurrentException(quorvel::log::i_logger::v0::ILogger& log, const char* prefix = "") noexcept;

}  // namespace mcgate::foundation
