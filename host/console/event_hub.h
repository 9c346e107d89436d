#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace mcgate::host {

/// Hands events to the open event streams (server-sent events, HTML Living Standard, section 9.2). A stream that falls
/// behind what is kept (the newest event at least) is ended: its reader comes again and fetches everything anew.
/// Threads: any. A leaf lock guards the events; it is not held while a stream writes.
class EventHub {
public:
    static constexpr std::size_t kMostStreams = 24;
    static constexpr std::size_t kMostOfAClient = 16;  ///< all pages behind one tunnel are one client
    using Event = std::shared_ptr<const std::string>;

    /// One open stream.
    class Reader {
    public:
        Reader(EventHub& hub, const std::string& client);
        ~Reader();
        Reader(const Reader&) = delete;
        Reader& operator=(const Reader&) = delete;

        /// The events since the last call, as they go over the wire; waits for one at most so long. Nothing when the
        /// stream is to end.
        std::optional<std::vector<Event>> next(std::chrono::milliseconds patience);

    private:
        EventHub& hub_;
        const std::string client_;
        std::uint64_t seen_;
    };

    /// `data` is one line of text.
    void add(const std::string& name, const std::string& data);
    /// Throws Refusal when there are kMostStreams, or kMostOfAClient of this one. A client is what clientOf says.
    std::shared_ptr<Reader> open(const std::string& client);
    /// Ends all streams, and those opened later.
    void close();

private:
    static constexpr std::size_t kMostEvents = 1000;
    static constexpr std::size_t kMostBytes = 4U << 20;

    std::mutex lock_;
    std::condition_variable added_;
    std::deque<Event> events_;
    std::size_t bytes_ = 0;   ///< of all in events_
    std::uint64_t next_ = 0;  ///< the number of the next event; the last one kept has next_ - 1
    std::size_t readers_ = 0;
    std::map<std::string, std::size_t> readersOf_;  ///< of each client that has any
    bool closed_ = false;
};

}  // namespace mcgate::host
