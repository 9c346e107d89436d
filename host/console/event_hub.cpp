#include "console/event_hub.h"

#include "console/refusal.h"

namespace mcgate::host {

EventHub::Reader::Reader(EventHub& hub, const std::string& client) : hub_(hub), client_(client) {
    const std::lock_guard hold(hub_.lock_);
    const auto own = hub_.readersOf_.find(client);
    const bool hasMost = own != hub_.readersOf_.end() && own->second >= kMostOfAClient;
    if (hasMost || hub_.readers_ >= kMostStreams) {
        throw Refusal(503, std::to_string(hasMost ? kMostOfAClient : kMostStreams) + " event streams are served" +
                               (hasMost ? " to one client" : "") + "; right would be fewer pages");
    }
    ++hub_.readersOf_[client];
    ++hub_.readers_;
    seen_ = hub_.next_;
}

EventHub::Reader::~Reader() {
    const std::lock_guard hold(hub_.lock_);
    --hub_.readers_;
    const auto own = hub_.readersOf_.find(client_);
    if (--own->second == 0) hub_.readersOf_.erase(own);
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

std::shared_ptr<EventHub::Reader> EventHub::open(const std::string& client) {
    return std::make_shared<Reader>(*this, client);
}

void EventHub::close() {
    const std::lock_guard hold(lock_);
    closed_ = true;
    added_.notify_all();
}

}  // namespace mcgate::host
