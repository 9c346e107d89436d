#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "streams/managed_stream.h"

namespace mcgate::host {

/// The streams of one process, by number (from 1, never given twice) and by unique name. At most kMost.
/// Threads: any. A leaf lock guards the list; streams are asked and let go outside it, and making one starts a thread.
class StreamSet {
public:
    static constexpr std::size_t kMost = 64;
    struct Entry {
        std::uint32_t id = 0;
        std::shared_ptr<ManagedStream> stream;
    };
    /// What a report or a scrape tells of a stream.
    struct View {
        std::uint32_t id = 0;
        std::string name;
        StreamKind kind = StreamKind::Send;
        StreamSnapshot snapshot;
    };
    /// Rules as of NoticeSink.
    using Sink = std::function<void(const std::string& stream, const Notice& notice)>;

    explicit StreamSet(Sink sink);
    /// As end.
    ~StreamSet();
    StreamSet(const StreamSet&) = delete;
    StreamSet& operator=(const StreamSet&) = delete;

    /// Makes the set what a profile lists: streams whose settings are those that were given before go on untouched, the
    /// others are made anew, those not listed end. Ended streams are waited for, all at once, before others are made.
    /// Calls come one at a time. Throws UsageError, with nothing changed, for more than kMost. One that can't be made
    /// keeps no other back; the first such error is thrown at the end.
    void apply(const std::vector<StreamSettings>& profile);
    /// Throws UsageError for a stream that would be in the way of one that is there (checkApart) or lead relays in a
    /// circle, and for one too many.
    Entry add(const StreamSettings& settings);
    /// Ends a stream, and waits for it; its name and places are free again then. False when there is none of that
    /// number.
    bool remove(std::uint32_t id);
    /// Asks all streams to end. From here on add and apply throw std::runtime_error.
    void beginEnd();
    /// As beginEnd; then waits for them. They stay in the list.
    void end();
    std::vector<Entry> all() const;
    std::vector<View> views() const;
    /// Empty when there is none.
    std::shared_ptr<ManagedStream> find(std::uint32_t id) const;
    /// What a profile would list to get the same set with the addresses that the filters have by now.
    std::vector<StreamSettings> settings() const;

private:
    void checkNoCircle(const StreamSettings& added) const;
    std::vector<Entry> takeOthers(const std::vector<StreamSettings>& profile);

    const Sink sink_;
    mutable std::mutex lock_;  // over what follows
    std::vector<Entry> entries_;
    std::uint32_t nextId_ = 1;
    bool ending_ = false;
};

}  // namespace mcgate::host
