#pragma once

#include <algorithm>
#include <chrono>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "network/net_sender.h"
#include "support/notes.h"

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
    std::vector<Datagram> datagrams() { return datagrams_.all(); }
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
    /// Of one destination; false when they are fewer by the deadline.
    bool waitForDatagramsAt(std::size_t destination, std::size_t count) {
        const auto isItsOwn = [&](const Datagram& one) { return one.destination == destination; };
        return datagrams_.waitFor([&](const auto& all) {
            return std::count_if(all.begin(), all.end(), isItsOwn) >= static_cast<std::ptrdiff_t>(count);
        });
    }
    /// Sends tried on the destination, failed ones too.
    std::size_t attempts(std::size_t destination) {
        const std::lock_guard hold(lock_);
        return attempts_[destination];
    }
    bool waitForAttempts(std::size_t destination, std::size_t count, std::chrono::milliseconds deadline) {
        return eventually([&] { return attempts(destination) >= count; }, deadline);
    }

private:
    class Destination final : public quorvel::network::udp::lib_udp::v2_1::UdpSender {
    public:
        Destination(FakeNetwork& network, std::size_t number) : network_(network), number_(number) {}
        void send(const quorvel::network::udp::lib_udp::v2_1::UdpPacket& packet) override {
            network_.attempt(number_);
            network_.datagrams_.add(
                {number_, {packet.payload.begin(), packet.payload.begin() + packet.size}, packet.timeTag});
        }

    private:
        FakeNetwork& network_;
        const std::size_t number_;
    };

    void attempt(std::size_t destination) {
        const std::lock_guard hold(lock_);
        const std::size_t attempt = ++attempts_[destination];
        if (failure_.empty() || failing_ != destination || attempt % failEvery_ != 0) return;
        throw std::runtime_error(failure_);
    }

    std::mutex lock_;  // over what follows, down to attempts_
    std::size_t made_ = 0;
    std::size_t failing_ = 0;
    std::size_t failEvery_ = 1;
    std::string failure_;
    std::map<std::size_t, std::size_t> attempts_;
    Notes<Datagram> datagrams_;
};

}  // namespace test
