#include "streams/stream_set.h"

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include "cli/url.h"
#include "streams/apart.h"
#include "streams/relay_circle.h"

namespace mcgate::host {

namespace {

// All are asked before the first is waited for.
void endAll(const std::vector<StreamSet::Entry>& entries) {
    for (const auto& entry : entries) entry.stream->beginEnd();
    for (const auto& entry : entries) entry.stream->end();
}

bool isListed(const StreamSet::Entry& entry, const std::vector<StreamSettings>& profile) {
    return std::find(profile.begin(), profile.end(), entry.stream->given()) != profile.end();
}

[[noreturn]] void refuseMore() {
    throw UsageError("there may be " + std::to_string(StreamSet::kMost) +
                     " streams at most; right would be to remove one first");
}

}  // namespace

StreamSet::StreamSet(Sink sink) : sink_(std::move(sink)) {}

StreamSet::~StreamSet() { end(); }

void StreamSet::beginEnd() {
    std::unique_lock hold(lock_);
    ending_ = true;
    const auto entries = entries_;
    hold.unlock();
    for (const auto& entry : entries) entry.stream->beginEnd();
}

void StreamSet::end() {
    beginEnd();
    endAll(all());
}

void StreamSet::apply(const std::vector<StreamSettings>& profile) {
    if (profile.size() > kMost) refuseMore();
    endAll(takeOthers(profile));
    std::exception_ptr failure;
    for (const auto& settings : profile) {
        const auto present = all();
        const bool isThere = std::any_of(present.begin(), present.end(),
                                         [&](const Entry& entry) { return entry.stream->given() == settings; });
        if (isThere) continue;
        try {
            add(settings);
        } catch (const std::exception&) {
            if (!failure) failure = std::current_exception();
        }
    }
    if (failure) std::rethrow_exception(failure);
}

std::vector<StreamSet::Entry> StreamSet::takeOthers(const std::vector<StreamSettings>& profile) {
    const std::lock_guard hold(lock_);
    const auto others = std::stable_partition(entries_.begin(), entries_.end(),
                                              [&](const Entry& entry) { return isListed(entry, profile); });
    std::vector<Entry> taken(std::make_move_iterator(others), std::make_move_iterator(entries_.end()));
    entries_.erase(others, entries_.end());
    return taken;
}

StreamSet::Entry StreamSet::add(const StreamSettings& settings) {
    checkNoCircle(settings);
    const std::lock_guard hold(lock_);
    if (ending_) throw std::runtime_error("the program is ending");
    for (const auto& entry : entries_) checkApart(settings, entry.stream->given(), "graph");
    if (entries_.size() >= kMost) refuseMore();
    const auto tell = [sink = sink_, name = settings.name](const Notice& notice) { sink(name, notice); };
    return entries_.emplace_back(Entry{nextId_++, std::make_shared<ManagedStream>(settings, tell)});
}

// Not under the lock, as it asks the kernel: of two relays that are added at once neither sees the other.
void StreamSet::checkNoCircle(const StreamSettings& added) const {
    if (added.kind() != StreamKind::Relay) return;
    std::vector<StreamSettings> streams{added};
    for (const auto& entry : all()) streams.push_back(entry.stream->given());
    const auto circle = findCircle(streams);
    if (circle) throw UsageError("graph.to: " + circle->reason);
}

bool StreamSet::remove(std::uint32_t id) {
    std::unique_lock hold(lock_);
    const auto found = std::find_if(entries_.begin(), entries_.end(), [id](const Entry& one) { return one.id == id; });
    if (found == entries_.end()) return false;
    const auto stream = found->stream;
    hold.unlock();
    stream->end();
    hold.lock();
    std::erase_if(entries_, [id](const Entry& one) { return one.id == id; });
    hold.unlock();  // the stream is let go outside it
    return true;
}

std::vector<StreamSet::Entry> StreamSet::all() const {
    const std::lock_guard hold(lock_);
    return entries_;
}

std::vector<StreamSet::View> StreamSet::views() const {
    std::vector<View> result;
    for (const auto& [id, stream] : all()) {
        result.push_back({id, stream->given().name, stream->given().kind(), stream->snapshot()});
    }
    return result;
}

std::shared_ptr<ManagedStream> StreamSet::find(std::uint32_t id) const {
    const std::lock_guard hold(lock_);
    const auto found = std::find_if(entries_.begin(), entries_.end(), [id](const Entry& one) { return one.id == id; });
    return found != entries_.end() ? found->stream : nullptr;
}

std::vector<StreamSettings> StreamSet::settings() const {
    std::vector<StreamSettings> result;
    for (const auto& entry : all()) result.push_back(entry.stream->settings());
    return result;
}

}  // namespace mcgate::host
