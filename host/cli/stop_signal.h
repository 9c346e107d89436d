#pragma once

namespace mcgate::host {

/// From here on the first SIGINT or SIGTERM is a request, and a later one ends the process at once; for this thread
/// and those made later. A SIGHUP, as when the terminal goes, is such a request, too, where it isn't ignored (nohup);
/// the next SIGINT or SIGTERM is then the first of its kind. SIGPIPE becomes a write error.
void watchStopSignals();

/// True once such a request has come. Never waits. Any thread.
bool stopRequested();

/// From here on a SIGHUP is a request to read the configuration anew, instead. To be called after watchStopSignals.
void watchReloadSignal();

/// True once for what SIGHUPs came since the last call. Never waits. Any thread.
bool takeReloadRequest();

}  // namespace mcgate::host
