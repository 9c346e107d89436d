#pragma once

namespace mcgate::host {

/// From here on the first SIGINT or SIGTERM is a request, and a later one ends the process at once; for this thread
/// and those made later. SIGPIPE becomes a write error.
void watchStopSignals();

/// True once SIGINT or SIGTERM has come. Never waits. Any thread.
bool stopRequested();

/// From here on a SIGHUP is a request to read the configuration anew; on this thread and those that it makes later the
/// signal is blocked.
void watchReloadSignal();

/// True once for what SIGHUPs came since the last call. Never waits. Any thread.
bool takeReloadRequest();

}  // namespace mcgate::host
