#include "console/console.h"

#include <chrono>
#include <set>

#include "cli/demand.h"
#include "cli/saved_configuration.h"
#include "console/graph_json.h"
#include "console/not_found.h"
#include "console/refusal.h"
#include "platform/memory_stream.h"
#include "streams/json_text.h"
#include "streams/profile.h"

namespace mcgate::host {

namespace {

using Json = nlohmann::ordered_json;

constexpr std::chrono::seconds kPatience{5};

std::int64_t unixSecond() {
    const auto now = std::chrono::system_clock::now().time_since_epoch();
    return std::chrono::floor<std::chrono::seconds>(now).count();
}

}  // namespace

Console::Console(std::string profilePath, FileBounds files)
    : profilePath_(std::move(profilePath)),
      files_(std::move(files)),
      log_(events_),
      pages_([this](std::uint32_t id, int page, std::uint64_t revision) {
          events_.add("dialog", jsonText({{"id", id}, {"page", page}, {"revision", revision}}));
      }),
      streams_([this](const std::string& stream, const Notice& notice) { log_.add(stream, notice); }),
      metrics_(MCGATE_VERSION) {}

void Console::beginEnd() {
    events_.close();
    streams_.beginEnd();
}

Console::~Console() {
    beginEnd();
    for (const auto& entry : streams_.all()) pages_.forget(entry.id);
}

void Console::start(const std::vector<StreamSettings>& profile) { streams_.apply(profile); }

std::shared_ptr<ManagedStream> Console::find(std::uint32_t id) const {
    if (auto stream = streams_.find(id)) return stream;
    throw NotFound("graph " + std::to_string(id) + " does not exist");
}

// Under lock_. Looks fall into the middle of seconds, so that each second has its own though some are early or late.
std::int64_t Console::presentSecond() const {
    return std::chrono::floor<std::chrono::seconds>(std::chrono::steady_clock::now() - origin_).count();
}

void Console::turn() {
    std::int64_t second = 0;
    {
        const std::lock_guard hold(lock_);
        if (origin_ == decltype(origin_)()) origin_ = std::chrono::steady_clock::now() - std::chrono::milliseconds(500);
        second = presentSecond();
    }
    for (const auto& entry : streams_.all()) {
        const StreamSnapshot snapshot = entry.stream->snapshot();
        const std::lock_guard hold(lock_);
        histories_[entry.id].look(second, snapshot);
    }
    events_.add("graphs", jsonText(graphs()));
    forgetRemoved();
}

// One that was removed during a look had its history, or its pages, made anew.
void Console::forgetRemoved() {
    std::set<std::uint32_t> present;
    for (const auto& entry : streams_.all()) present.insert(entry.id);
    const auto isGone = [&present](const auto& kept) { return present.count(kept.first) == 0; };
    const std::lock_guard hold(lock_);
    std::erase_if(histories_, isGone);
    std::erase_if(knownPages_, isGone);
}

Json Console::graphs() {
    Json list = Json::array();
    for (const auto& entry : streams_.all()) list.push_back(graph(entry.id, *entry.stream));
    return {{"graphs", std::move(list)}};
}

Json Console::graph(std::uint32_t id, const ManagedStream& stream) {
    Json result{{"id", id}};
    result.update(graphJson(stream.settings(), stream.snapshot()));
    result["pages"] = pagesJson(id, stream);
    return result;
}

// While the dialog thread is busy, the pages are those that were known before.
Json Console::pagesJson(std::uint32_t id, const ManagedStream& stream) {
    Json list = Json::array();
    try {
        for (const auto& page : pages_.pagesOf(id, {stream.receiver(), stream.sender()})) {
            list.push_back({{"page", page.page}, {"filter", page.filter}, {"title", page.title}});
        }
    } catch (const std::runtime_error&) {
        const std::lock_guard hold(lock_);
        const auto known = knownPages_.find(id);
        return known != knownPages_.end() ? known->second : list;
    }
    const std::lock_guard hold(lock_);
    knownPages_[id] = list;
    return list;
}

Json Console::add(nlohmann::json entry) {
    if (streams_.all().size() >= StreamSet::kMost) {
        throw Refusal(503, "there are " + std::to_string(StreamSet::kMost) + " graphs; right would be to remove one");
    }
    if (entry.is_object() && !entry.contains("start")) entry["start"] = "stopped";
    StreamSettings settings = parseStream(entry, "graph");
    const WaitingRoom::Seat seat(room_);
    seat.demand();
    files_.apply(settings, "graph");
    const auto added = streams_.add(settings);
    added.stream->waitForStart(kPatience);
    return graph(added.id, *added.stream);
}

void Console::remove(std::uint32_t id) {
    find(id);
    const WaitingRoom::Seat seat(room_);
    seat.demand();
    pages_.forget(id);
    streams_.remove(id);
    const std::lock_guard hold(lock_);
    histories_.erase(id);
    knownPages_.erase(id);
}

Json Console::bring(std::uint32_t id, StreamState state) {
    const auto stream = find(id);
    const WaitingRoom::Seat seat(room_);
    if (!seat) {
        stream->want(state);
        return graph(id, *stream);
    }
    const StreamSnapshot snapshot = stream->bringTo(state, kPatience);
    pages_.reload(id);
    if (snapshot.state != state && !snapshot.error.empty()) throw Refusal(409, snapshot.error);
    return graph(id, *stream);
}

Json Console::history(std::uint32_t id) const {
    find(id);
    const std::lock_guard hold(lock_);
    const std::int64_t second = presentSecond();
    const auto found = histories_.find(id);
    Json series = found != histories_.end() ? found->second.series(second) : History().series(second);
    return {{"start", unixSecond() - History::kSeconds + 1}, {"step", 1}, {"series", std::move(series)}};
}

namespace {

// The caller keeps the stream: the filter's log is its own.
platform::ComPtr<IBaseFilter> filterOf(std::uint32_t id, const ManagedStream& stream, const std::string& name) {
    auto filter = name == "sender" ? stream.sender() : stream.receiver();
    if (!filter) throw NotFound("graph " + std::to_string(id) + " has no " + name);
    return filter;
}

}  // namespace

std::vector<std::uint8_t> Console::saved(std::uint32_t id, const std::string& filter) {
    const auto graph = find(id);
    const auto persist = filterOf(id, *graph, filter).query<IPersistStream>();
    const auto stream = platform::MemoryStream::create();
    demand(persist->Save(stream.get(), 1), "can't save the " + filter);
    return stream->content();
}

Json Console::load(std::uint32_t id, const std::string& filter, std::vector<std::uint8_t> content) {
    const auto stream = find(id);
    if (filter == "receiver" && stream->given().kind() == StreamKind::Relay &&
        stream->snapshot().state != StreamState::Stopped) {
        // What it receives then would no longer be known, and so whether that is what it sends.
        throw Refusal(409,
                      "a relay that runs or pauses takes no settings of its receiver; right would be to stop it first");
    }
    const auto persist = filterOf(id, *stream, filter).query<IPersistStream>();
    const WaitingRoom::Seat seat(room_);
    seat.demand();
    try {
        const SavedConfiguration found = examineConfiguration(std::move(content));
        const auto* receiver = std::get_if<SavedConfiguration::Receiver>(&found.filter);
        if ((receiver != nullptr) != (filter == "receiver") || (receiver != nullptr && !receiver->configured)) {
            throw Refusal(422, "this is the configuration of " + describe(found).front() +
                                   "; right would be that of a " + filter);
        }
        demand(persist->Load(platform::MemoryStream::create(found.content).get()), "can't load the " + filter);
    } catch (const Refusal&) {
        throw;
    } catch (const std::runtime_error& problem) {
        throw Refusal(422, std::string("this is no saved configuration: ") + problem.what());
    }
    Notice taken;
    taken.time = std::chrono::system_clock::now();
    taken.kind = Notice::Kind::State;
    taken.text = "The " + filter + " took a saved configuration, which acts when the graph is run out of stopped";
    log_.add(stream->given().name, taken);
    pages_.reload(id);
    return graph(id, *stream);
}

Json Console::press(std::uint32_t id, int page, int control) {
    const WaitingRoom::Seat seat(room_);
    seat.demand();
    return pages_.command(id, page, control);
}

Json Console::profile() const { return profileJson(streams_.settings()); }

std::string Console::metrics() {
    const std::lock_guard hold(scraping_);  // older views behind newer ones would look like another run
    return metrics_.text(streams_.views());
}

void Console::saveProfile() {
    if (profilePath_.empty()) {
        throw Refusal(409, "there is no file to save to; right would be to start mcgate console with a PROFILE.json");
    }
    const WaitingRoom::Seat seat(room_);
    seat.demand();
    const std::lock_guard hold(saving_);
    writeProfile(profilePath_, streams_.settings());
}

}  // namespace mcgate::host
