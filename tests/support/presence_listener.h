#pragma once

#include <chrono>
#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>

#include "interfaces/i_data_source_listener.h"

namespace test {

/// Writes down what a receiver tells of its data, 'T' or 'f' for each call. Any thread.
class PresenceListener final : public IDataSourceListener {
public:
    /// `during` runs inside each call, after the note.
    explicit PresenceListener(std::function<void()> during = {}) : during_(std::move(during)) {}

    void OnDataPresenceChanged(bool present) override {
        {
            const std::lock_guard hold(lock_);
            heard_ += present ? 'T' : 'f';
            caller_ = std::this_thread::get_id();
            changed_.notify_all();
        }
        if (during_) during_();
    }
    void OnReserved() override {}

    std::string heard() {
        const std::lock_guard hold(lock_);
        return heard_;
    }
    /// Of the latest call.
    std::thread::id caller() {
        const std::lock_guard hold(lock_);
        return caller_;
    }
    /// False when fewer calls came by the deadline.
    bool waitForCalls(std::size_t count) {
        std::unique_lock hold(lock_);
        return changed_.wait_for(hold, std::chrono::seconds(20), [&] { return heard_.size() >= count; });
    }

private:
    const std::function<void()> during_;
    std::mutex lock_;
    std::condition_variable changed_;
    std::string heard_;
    std::thread::id caller_;
};

}  // namespace test
