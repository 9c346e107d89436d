#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "network/net_sender.h"

namespace test {

/// What all fake destinations of one test were given, and whether they fail.
class FakeNetwork {
public:
    struct Datagram {
        std::size_t destination;
        std::vector<std::uint8_t> bytes;
        std::int64_t timeTag;
    };

    /// Destinations made through it are numbered from 0.
    quorvel::network::udp::lib_udp::v2_1::NetSender::SenderMaker maker() {
        return [this](const auto&) { return std::make_unique<Destination>(*this, made_++); };
    }
    /// Makes the destination throw this text at each `every`-th attempt, until the text is empty again.
    void failWith(std::size_t destination, const std::string& text, std::size_t every = 1) {
        const std::lock_guard hold(lock_);
        failing_ = destination;
        failure_ = text;
        failEvery_ = every;
    }
    std::vector<Datagram> datagrams() {
        const std::lock_guard hold(lock_);
        return datagrams_;
    }
    std::vector<std::size_t> sizes(std::size_t destination = 0) {
        std::vector<std::size_t> result;
        for (const auto& one : datagrams()) {
            if (one.destination == destination) result.push_back(one.bytes.size());
        }
        return result;
    }
    std::vector<std::uint8_t> bytes(std::size_t destination = 0) {
        std::vector<std::uint8_t> result;
        for (const auto& one : datagrams()) {
            if (one.destination == destination) result.insert(result.end(), one.bytes.begin(), one.bytes.end());
        }
        return result;
    }
    bool waitForDatagrams(std::size_t count) {
        std::unique_lock hold(lock_);
        return changed_.wait_for(hold, std::chrono::seconds(20), [&] { return datagrams_.size() >= count; });
    }
    /// As waitForDatagrams, of one destination.
    bool waitForDatagramsAt(std::size_t destination, std::size_t count) {
        const auto isItsOwn = [&](const Datagram& one) { return one.destination == destination; };
        std::unique_lock hold(lock_);
        return changed_.wait_for(hold, std::chrono::seconds(20), [&] {
            return std::count_if(datagrams_.begin(), datagrams_.end(), isItsOwn) >= static_cast<std::ptrdiff_t>(count);
        });
    }
    /// Sends tried on the destination, failed ones too.
    std::size_t attempts(std::size_t destination) {
        const std::lock_guard hold(lock_);
        return attempts_[destination];
    }
    bool waitForAttempts(std::size_t destination, std::size_t count, std::chrono::milliseconds deadline) {
        std::unique_lock hold(lock_);
        return changed_.wait_for(hold, deadline, [&] { return attempts_[destination] >= count; });
    }

private:
    class Destination final : public quorvel::network::udp::lib_udp::v2_1::UdpSender {
    public:
        Destination(FakeNetwork& network, std::size_t number) : network_(network), number_(number) {}
        void send(const quorvel::network::udp::lib_udp::v2_1::UdpPacket& packet) override {
            const std::lock_guard hold(network_.lock_);
            const std::size_t attempt = ++network_.attempts_[number_];
            network_.changed_.notify_all();
            if (!network_.failure_.empty() && network_.failing_ == number_ && attempt % network_.failEvery_ == 0) {
                throw std::runtime_error(network_.failure_);
            }
            network_.datagrams_.push_back(
                {number_, {packet.payload.begin(), packet.payload.begin() + packet.size}, packet.timeTag});
        }

    private:
        FakeNetwork& network_;
        const std::size_t number_;
    };

    std::mutex lock_;
    std::condition_variable changed_;
    std::size_t made_ = 0;
    std::size_t failing_ = 0;
    std::size_t failEvery_ = 1;
    std::string failure_;
    std::map<std::size_t, std::size_t> attempts_;
    std::vector<Datagram> datagrams_;
};

}  // namespace test
