#pragma once

#include <atomic>
#include <cstdint>

#include "foundation/callback_slot.h"
#include "interfaces/i_data_source_listener.h"

/// Whether data is flowing, and who is told of changes. The worker sets and tells; the filter's Start and Stop clear it
/// without telling.
struct DataPresence {
    std::atomic<std::uint8_t> present{0};
    mcgate::foundation::CallbackSlot<IDataSourceListener> listener;

    /// Stores and tells. Called by the worker alone.
    void tell(bool flowing) {
        present.store(flowing ? 1 : 0, std::memory_order_relaxed);
        listener.invoke([flowing](IDataSourceListener& target) { target.OnDataPresenceChanged(flowing); });
    }
};
