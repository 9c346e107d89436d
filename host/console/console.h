#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <mutex>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "console/event_hub.h"
#include "console/file_bounds.h"
#include "console/history.h"
#include "console/log_book.h"
#include "console/property_pages.h"
#include "console/waiting_room.h"
#include "metrics/metrics_page.h"
#include "streams/stream_set.h"

namespace mcgate::host {

/// What an operator's page sees and does: the streams of this process, their property pages, log and history.
/// docs/CONSOLE.md describes the JSON. Where nothing else is said, errors are NotFound (no such stream or filter),
/// UsageError (a wrong value) and Refusal, which also meets one too many of those that wait (WaitingRoom): to add,
/// remove, load, press or save.
///
/// Threads: any. A leaf lock guards histories and known pages; no stream, page or filter is called under it. Another
/// one lets profiles be saved one at a time, and is held while the file is written; a third guards the page of metrics.
class Console {
public:
    /// `profilePath`: where saveProfile writes; empty where there is no such file.
    Console(std::string profilePath, FileBounds files);
    /// As beginEnd; then waits until all streams have ended.
    ~Console();
    Console(const Console&) = delete;
    Console& operator=(const Console&) = delete;

    /// Starts a profile's streams.
    void start(const std::vector<StreamSettings>& profile);
    /// Ends the event streams, asks all streams to end, and takes no more. Who waits for a stream's state is let go.
    void beginEnd();
    /// Looks at all streams, and tells the event streams of them. To be called by one thread, once a second.
    void turn();

    nlohmann::ordered_json graphs();
    /// Adds a stream as a profile has it, which begins stopped where it doesn't say otherwise, with files in bounds.
    nlohmann::ordered_json add(nlohmann::json entry);
    void remove(std::uint32_t id);
    /// Waits until that was tried, a few seconds at most, and not at all where too many wait already: a stop is never
    /// refused. Throws Refusal with the reason when it failed.
    nlohmann::ordered_json bring(std::uint32_t id, StreamState state);
    nlohmann::ordered_json history(std::uint32_t id) const;

    /// The persisted stream of a filter, "sender" or "receiver".
    std::vector<std::uint8_t> saved(std::uint32_t id, const std::string& filter);
    /// Gives a filter what was saved, which acts when the stream is run out of stopped.
    nlohmann::ordered_json load(std::uint32_t id, const std::string& filter, std::vector<std::uint8_t> content);

    /// Presses a button of a property page, see PropertyPages::command.
    nlohmann::ordered_json press(std::uint32_t id, int page, int control);

    nlohmann::ordered_json profile() const;
    void saveProfile();

    /// The page of docs/METRICS.md.
    std::string metrics();

    PropertyPages& pages() noexcept { return pages_; }
    const LogBook& log() const noexcept { return log_; }
    EventHub& events() noexcept { return events_; }

private:
    void forgetRemoved();
    std::shared_ptr<ManagedStream> find(std::uint32_t id) const;
    std::int64_t presentSecond() const;
    nlohmann::ordered_json graph(std::uint32_t id, const ManagedStream& stream);
    nlohmann::ordered_json pagesJson(std::uint32_t id, const ManagedStream& stream);

    const std::string profilePath_;
    const FileBounds files_;
    EventHub events_;
    LogBook log_;
    PropertyPages pages_;
    StreamSet streams_;
    WaitingRoom room_;

    mutable std::mutex lock_;
    std::chrono::steady_clock::time_point origin_;  ///< of the histories' seconds; set by the first look
    std::map<std::uint32_t, History> histories_;
    std::map<std::uint32_t, nlohmann::ordered_json> knownPages_;
    std::mutex saving_;
    std::mutex scraping_;  ///< over metrics_ and the look that feeds it
    MetricsPage metrics_;
};

}  // namespace mcgate::host
