#include "console/event_hub.h"

#include "console/refusal.h"

namespace mcgate::host {

EventHub::Reader::Reader(EventHub& hub) : hub_(hub) {
    const std::lock_guard hold(hub_.lock_);
    if (hub_.readers_ >= kMostStreams) {
        throw Refusal(503, std::to_string(kMostStreams) + " event streams are served; right would be fewer pages");
    }
    ++hub_.readers_;
    seen_ = hub_.next_;
}

EventHub::Reader::~Reader() {
    const std::lock_guard hold(hub_.lock_);
    --hub_.readers_;
}

std::optional<std::vector<EventHub::Event>> EventHub::Reader::next(std::chrono::milliseconds patience) {
    std::unique_lock hold(hub_.lock_);
    hub_.added_.wait_for(hold, patience, [&] { return hub_.closed_ || seen_ < hub_.next_; });
    const std::uint64_t fresh = hub_.next_ - seen_;
    if (hub_.closed_ || fresh > hub_.events_.size()) return std::nullopt;
    seen_ = hub_.next_;
    return std::vector<Event>(hub_.events_.end() - static_cast<std::ptrdiff_t>(fresh), hub_.events_.end());
}

void EventHub::add(const std::string& name, const std::string& data) {
    auto event = std::make_shared<const std::string>("event: " + name + "\ndata: " + data + "\n\n");
    const std::lock_guard hold(lock_);
    bytes_ += event->size();
    events_.push_back(std::move(event));
    ++next_;
    while (events_.size() > kMostEvents || (bytes_ > kMostBytes && events_.size() > 1)) {
        bytes_ -= events_.front()->size();
        events_.pop_front();
    }
    added_.notify_all();
}

std::shared_ptr<EventHub::Reader> EventHub::open() { return std::make_shared<Reader>(*this); }

void EventHub::close() {
    const std::lock_guard hold(lock_);
    closed_ = true;
    added_.notify_all();
}

}  // namespace mcgate::host
