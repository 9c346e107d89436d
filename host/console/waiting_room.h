#pragma once

#include <atomic>
#include <string>

#include "console/refusal.h"

namespace mcgate::host {

/// Bounds how many requests at once wait for a stream, for the dialog thread or for the profile's file: each of them
/// holds a thread of the server for seconds.
/// Threads: any; there is no lock.
class WaitingRoom {
public:
    static constexpr std::size_t kMost = 8;

    /// Held while one waits; asks for one of the room's seats.
    class Seat {
    public:
        explicit Seat(WaitingRoom& room) : room_(room), isFree_(room.take()) {}
        ~Seat() {
            if (isFree_) --room_.taken_;
        }
        Seat(const Seat&) = delete;
        Seat& operator=(const Seat&) = delete;

        /// Whether there was one.
        explicit operator bool() const noexcept { return isFree_; }
        /// Throws Refusal when there was none.
        void demand() const {
            if (isFree_) return;
            throw Refusal(503, std::to_string(kMost) +
                                   " requests wait for graphs already; right would be to ask again in some seconds");
        }

    private:
        WaitingRoom& room_;
        const bool isFree_;
    };

private:
    bool take() noexcept {
        std::size_t present = taken_.load();
        while (present < kMost && !taken_.compare_exchange_weak(present, present + 1)) {
        }
        return present < kMost;
    }

    std::atomic<std::size_t> taken_{0};
};

}  // namespace mcgate::host
