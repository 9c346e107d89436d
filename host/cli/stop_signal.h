#pragma once

namespace mcgate::host {

/// From here on the first SIGINT or SIGTERM is a request, and a later one ends the process at once; for this thread
/// and those made later. SIGPIPE becomes a write error.
void watchStopSignals();

/// True once SIGINT or SIGTERM has come. Never waits. Any thread.
bool stopRequested();

}  // namespace mcgate::host
