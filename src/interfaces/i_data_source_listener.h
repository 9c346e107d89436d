#pragma once

/// Hears from the receiver when data starts or stops flowing. Not counted: the host keeps it alive until it has removed
/// it.
class IDataSourceListener {
public:
    /// Called on the receiver's worker thread, with the worker's lock held: must not wait for anything that waits for
    /// the worker (SetSource, Pause, Stop, the filter's release). `present` is true at the first datagram after
    /// silence, false at each expiry of the time-out after that.
    virtual void OnDataPresenceChanged(bool present) = 0;
    /// Never called; an empty body will do.
    virtual void OnReserved() = 0;
    virtual ~IDataSourceListener() = default;
};
