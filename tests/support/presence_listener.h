#pragma once

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "interfaces/i_data_source_listener.h"
#include "support/notes.h"

namespace test {

/// Writes down what a receiver tells of its data. Any thread.
class PresenceListener final : public IDataSourceListener {
public:
    using Clock = std::chrono::steady_clock;

    /// `during` runs inside each call, after the note.
    explicit PresenceListener(std::function<void()> during = {}) : during_(std::move(during)) {}

    void OnDataPresenceChanged(bool present) override {
        told_.add({present, Clock::now(), std::this_thread::get_id()});
        if (during_) during_();
    }
    void OnReserved() override {}

    /// 'T' or 'f' for each call.
    std::string heard() {
        std::string all;
        for (const Told& one : told_.all()) all += one.present ? 'T' : 'f';
        return all;
    }
    /// Of the latest call.
    std::thread::id caller() { return told_.all().back().caller; }
    /// False when fewer calls came by the deadline.
    bool waitForCalls(std::size_t count) { return told_.waitForCount(count); }
    /// Whether `present` is told behind `from`, and within `limit` of it.
    bool waitFor(bool present, Clock::time_point from, std::chrono::milliseconds limit) {
        Clock::time_point when;
        const auto isTold = [&](const std::vector<Told>& all) {
            for (const Told& one : all) {
                if (one.present != present || one.when <= from) continue;
                when = one.when;
                return true;
            }
            return false;
        };
        return told_.waitFor(isTold) && when <= from + limit;
    }

private:
    struct Told {
        bool present;
        Clock::time_point when;
        std::thread::id caller;
    };
    const std::function<void()> during_;
    Notes<Told> told_;
};

}  // namespace test
