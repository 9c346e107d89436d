#include "streams/managed_stream.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "filters/stopped_early.h"

namespace mcgate::host {

namespace {

using platform::ComPtr;

constexpr std::chrono::milliseconds kLook{100};
constexpr std::chrono::seconds kTurn{1};

std::unique_ptr<StreamGraph> makeGraph(const StreamSettings& settings, NoticeSink sink,
                                       std::function<bool()> stopRequested) {
    return makeStreamGraph(settings, std::move(sink), std::move(stopRequested));
}

}  // namespace

ManagedStream::ManagedStream(const StreamSettings& settings, NoticeSink sink)
    : ManagedStream(settings, std::move(sink), makeGraph) {}

ManagedStream::ManagedStream(const StreamSettings& settings, NoticeSink sink, Maker maker,
                             std::chrono::milliseconds retry)
    : given_(settings), sink_(std::move(sink)), maker_(std::move(maker)), retry_(retry) {
    wish_ = {settings.start, 1};
    snapshot_.wanted = settings.start;
    thread_ = std::thread([this] { live(); });
}

ManagedStream::~ManagedStream() {
    beginEnd();
    thread_.join();
}

void ManagedStream::want(StreamState state) {
    const std::lock_guard hold(lock_);
    if (ending_) return;
    wish_ = {state, wish_.number + 1};
    snapshot_.wanted = state;
    snapshot_.error.clear();  // of an earlier attempt
    stopAsked_ = state == StreamState::Stopped;
    changed_.notify_all();
}

StreamSnapshot ManagedStream::bringTo(StreamState state, std::chrono::milliseconds patience) {
    want(state);
    std::unique_lock hold(lock_);
    const std::uint64_t number = wish_.number;
    changed_.wait_for(hold, patience, [&] { return done_ >= number || ending_; });
    return snapshot_;
}

void ManagedStream::waitForStart(std::chrono::milliseconds patience) {
    std::unique_lock hold(lock_);
    changed_.wait_for(hold, patience, [this] { return done_ > 0 || ending_; });
}

StreamSnapshot ManagedStream::snapshot() const {
    const std::lock_guard hold(lock_);
    return snapshot_;
}

StreamSettings ManagedStream::settings() const {
    std::unique_lock hold(lock_);
    const StreamGraph* const graph = published_;
    const StreamState wanted = snapshot_.wanted;
    hold.unlock();
    StreamSettings present = graph != nullptr ? graph->settings() : given_;
    present.start = wanted;
    return present;
}

ComPtr<IBaseFilter> ManagedStream::sender() const {
    const std::lock_guard hold(lock_);
    return published_ != nullptr ? published_->sender() : ComPtr<IBaseFilter>();
}

ComPtr<IBaseFilter> ManagedStream::receiver() const {
    const std::lock_guard hold(lock_);
    return published_ != nullptr ? published_->receiver() : ComPtr<IBaseFilter>();
}

void ManagedStream::beginEnd() noexcept {
    const std::lock_guard hold(lock_);
    ending_ = true;
    stopAsked_ = true;
    changed_.notify_all();
}

void ManagedStream::end() {
    beginEnd();
    std::unique_lock hold(lock_);
    changed_.wait(hold, [this] { return ended_; });
}

ManagedStream::Wish ManagedStream::wish() const {
    const std::lock_guard hold(lock_);
    return wish_;
}

bool ManagedStream::isEnding() const {
    const std::lock_guard hold(lock_);
    return ending_;
}

void ManagedStream::live() {
    while (!isEnding()) {
        try {
            turn();
        } catch (const std::exception& problem) {  // a thread that ends would leave the stream without anybody
            keepTrying(problem.what());
            std::unique_lock hold(lock_);
            changed_.wait_for(hold, kLook, [this] { return ending_; });
        }
    }
    stopForGood();
    const std::lock_guard hold(lock_);
    snapshot_.state = StreamState::Stopped;  // wanted stays, for a profile that is saved at the end
    ended_ = true;
    changed_.notify_all();
}

void ManagedStream::turn() {
    const Wish present = wish();
    if (isToTry(present)) attempt(present);
    heedOrWait(present);
    if (Clock::now() >= nextLook_) look();
}

bool ManagedStream::isToTry(const Wish& wish) const {
    {
        const std::lock_guard hold(lock_);
        if (done_ != wish.number) return true;
    }
    const StreamState state = graph_ ? graph_->state() : StreamState::Stopped;
    return state != wish.state && Clock::now() >= nextTry_;
}

// A stop that comes meanwhile is heard of within one look.
void ManagedStream::heedOrWait(const Wish& wish) {
    if (graph_ && graph_->state() != StreamState::Stopped) {
        if (graph_->heed(kLook)) conclude(wish);
        return;
    }
    const auto until = wish.state == StreamState::Stopped ? nextLook_ : std::min(nextLook_, nextTry_);
    std::unique_lock hold(lock_);
    changed_.wait_until(hold, until, [this] { return ending_ || done_ != wish_.number; });
}

void ManagedStream::attempt(const Wish& wish) {
    {
        const std::lock_guard hold(lock_);
        if (done_ != wish.number) told_.clear();
    }
    std::string error;
    try {
        bring(wish.state);
    } catch (const StoppedEarly&) {  // as was asked for meanwhile
    } catch (const std::exception& problem) {
        error = problem.what();
    }
    quiet_ = false;
    concludeAttempt(wish, error);
}

void ManagedStream::bring(StreamState state) {
    quiet_ = !told_.empty();
    if (!graph_) make();
    const StreamState before = graph_->state();
    if (state == StreamState::Stopped) {
        stopGraph();
        const std::string failure = before != state ? graph_->failure() : std::string();
        if (!failure.empty()) tellState(1, failure);
        return;
    }
    if (before == StreamState::Stopped) {
        sums_.follow(countsOf(graph_->values(), given_.kind()));  // what came behind the last look
        sums_.beginRun();
    }
    if (state == StreamState::Running) graph_->run();
    if (state == StreamState::Paused) graph_->pause();
    if (before != StreamState::Stopped) return;
    startedAt_ = lookedAt_ = Clock::now();
    lastBytes_ = toldDrops_ = 0;
    hadData_ = false;
}

void ManagedStream::make() {
    const auto tell = [this](const Notice& notice) {
        if (!quiet_) sink_(notice);
    };
    graph_ = maker_(given_, tell, [this] { return stopAsked_.load(); });
    const std::lock_guard hold(lock_);
    published_ = graph_.get();
}

void ManagedStream::concludeAttempt(const Wish& wish, const std::string& error) {
    const StreamState state = graph_ ? graph_->state() : StreamState::Stopped;
    StreamState before{};
    {
        const std::lock_guard hold(lock_);
        before = std::exchange(snapshot_.state, state);
        snapshot_.error = error;
        if (state == StreamState::Stopped) snapshot_.bitRate = snapshot_.uptimeS = 0;
        done_ = wish.number;
        changed_.notify_all();
    }
    if (!error.empty() && wish.state == StreamState::Stopped) {
        tellState(0, error);
    } else if (!error.empty()) {
        keepTrying(error);
    } else if (state != before) {
        tellState(2, nameOf(state));
    }
}

// What ended by itself: an input that is over leaves nothing to be wanted; what broke off is tried again.
void ManagedStream::conclude(const Wish& wish) {
    stopGraph();
    const std::string failure = graph_->failure();
    {
        const std::lock_guard hold(lock_);
        snapshot_.state = StreamState::Stopped;
        snapshot_.error = failure;
        snapshot_.bitRate = snapshot_.uptimeS = 0;
        if (failure.empty() && wish.number == wish_.number) {
            wish_.state = snapshot_.wanted = StreamState::Stopped;
        }
    }
    if (failure.empty()) {
        tellState(2, "ended: its input is over");
    } else {
        keepTrying(failure);
    }
}

void ManagedStream::keepTrying(const std::string& error) {
    nextTry_ = Clock::now() + retry_;
    if (std::exchange(told_, error) != error) tellState(0, error + "; it is tried again every five seconds");
}

void ManagedStream::stopForGood() {
    if (!graph_ || graph_->state() == StreamState::Stopped) return;
    try {
        stopGraph();
        const std::string failure = graph_->failure();
        if (!failure.empty()) tellState(1, failure);
        tellState(2, nameOf(StreamState::Stopped));
    } catch (const std::exception& problem) {
        tellState(0, problem.what());
    }
}

void ManagedStream::look() {
    const auto now = Clock::now();
    nextLook_ = now + kTurn;
    StreamValues values = graph_ ? graph_->values() : StreamValues{};
    sums_.follow(countsOf(values, given_.kind()));
    const bool runs = graph_ && graph_->state() != StreamState::Stopped;
    const std::chrono::duration<double> since = now - lookedAt_;
    const std::chrono::duration<double> whole = now - startedAt_;
    const std::uint64_t bytes = values.bytes.value_or(0);
    const double bitRate =
        runs && since.count() > 0 ? static_cast<double>(bytes - std::min(lastBytes_, bytes)) * 8 / since.count() : 0;
    lookedAt_ = now;
    lastBytes_ = bytes;
    if (runs && now - startedAt_ > retry_) told_.clear();  // it lasts
    if (runs) tellChanges(values);
    const std::lock_guard hold(lock_);
    snapshot_.values = std::move(values);
    snapshot_.totals = sums_.sums();
    snapshot_.bitRate = bitRate;
    snapshot_.uptimeS = runs ? whole.count() : 0;
    if (runs) snapshot_.lastedS = whole.count();
    ++snapshot_.turn;
}

void ManagedStream::stopGraph() {
    if (graph_->state() == StreamState::Stopped) return;
    const std::chrono::duration<double> whole = Clock::now() - startedAt_;
    graph_->stop();
    look();
    const std::lock_guard hold(lock_);
    snapshot_.lastedS = whole.count();
}

// A sender's data state is that of its input: told would be each pause of that.
void ManagedStream::tellChanges(const StreamValues& values) {
    if (given_.kind() != StreamKind::Send && std::exchange(hadData_, values.dataPresent) != values.dataPresent) {
        tellState(values.dataPresent ? 2 : 1, values.dataPresent ? "data present" : "no data");
    }
    const std::uint64_t drops = values.kernelDrops.value_or(0);
    if (drops > toldDrops_) {
        tellState(1, "the kernel dropped " + std::to_string(drops) +
                         " datagrams because the socket's receive buffer was full; " + values.kernelDropsHint);
    }
    toldDrops_ = drops;
}

void ManagedStream::tellState(std::uint32_t level, const std::string& text) const {
    Notice notice;
    notice.level = level;
    notice.kind = Notice::Kind::State;
    notice.text = text;
    sink_(notice);
}

}  // namespace mcgate::host
