#pragma once

#include <atomic>
#include <cstdint>

#include "foundation/callback_slot.h"
#include "interfaces/i_data_source_listener.h"

/// What filter and worker share about the flow: whether data is flowing, who is told of changes, and how long silence
/// may last. It belongs to the filter, so that setters need no worker and no lock. The worker sets the flag and tells;
/// the filter's Pause and Stop clear it without telling.
struct FlowWatch {
    std::atomic<std::uint8_t> present{0};
    mcgate::foundation::CallbackSlot<IDataSourceListener> listener;
    std::atomic<std::int32_t> thresholdMs{2500};  ///< silence after which a turn expires; read at each silent turn

    /// Stores and tells. Called by the worker alone.
    void tell(bool flowing) {
        present.store(flowing ? 1 : 0, std::memory_order_relaxed);
        listener.invoke([flowing](IDataSourceListener& target) { target.OnDataPresenceChanged(flowing); });
    }
};
