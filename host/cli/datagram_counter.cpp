#include "cli/datagram_counter.h"

namespace mcgate::host {

namespace {

constexpr std::size_t kDatagram = 1500;
// While a destination fails nothing crosses out, however long: more than this is never in the sender's pool.
constexpr std::size_t kMostInside = 200'000;

}  // namespace

void DatagramCounter::announce(std::uint64_t id, std::size_t bytes) {
    const std::lock_guard hold(lock_);
    announced_ = {id, bytes};
}

void DatagramCounter::entered(std::uint64_t id) {
    const std::lock_guard hold(lock_);
    ++counts_.accepted;
    if (inside_.size() == kMostInside) inside_.pop_front();
    inside_.push_back({id, id == announced_.id ? announced_.bytes : 0});
}

void DatagramCounter::left(std::uint64_t id) {
    const std::lock_guard hold(lock_);
    while (!inside_.empty() && inside_.front().id <= id) {
        gather(inside_.front().bytes);
        inside_.pop_front();
    }
}

void DatagramCounter::gather(std::size_t bytes) {
    if (gathered_ != 0 && gathered_ + bytes > kDatagram) {
        ++counts_.datagrams;
        counts_.bytes += gathered_;
        gathered_ = 0;
    }
    if (bytes >= kDatagram) {
        counts_.datagrams += (bytes + kDatagram - 1) / kDatagram;
        counts_.bytes += bytes;
    } else {
        gathered_ += bytes;
    }
}

DatagramCounter::Counts DatagramCounter::counts() const {
    const std::lock_guard hold(lock_);
    Counts result = counts_;
    result.queued = inside_.size();
    return result;
}

void DatagramCounter::restart() {
    const std::lock_guard hold(lock_);
    counts_ = {};
    announced_ = {0, 0};
    inside_.clear();
    gathered_ = 0;
}

}  // namespace mcgate::host
