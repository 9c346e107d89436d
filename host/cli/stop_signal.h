#pragma once

namespace mcgate::host {

/// Keeps SIGINT and SIGTERM from ending the process, for this thread and those made later; SIGPIPE becomes a write
/// error.
void blockStopSignals();

/// True once SIGINT or SIGTERM has come. Never waits.
bool stopRequested();

}  // namespace mcgate::host
