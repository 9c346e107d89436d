#include "console/property_pages.h"

#include <algorithm>
#include <utility>

#include "cli/url.h"
#include "console/not_found.h"
#include "platform/text.h"

namespace mcgate::host {

using platform::ComPtr;
using Kind = DialogFace::Kind;

namespace {

constexpr std::size_t kLongestText = 1000;  // bytes; what a field is for has some dozens

std::vector<GUID> pageClassesOf(const ComPtr<IBaseFilter>& filter) {
    const auto pages = filter.query<ISpecifyPropertyPages>();
    CAUUID classes;
    if (!pages || FAILED(pages->GetPages(&classes))) return {};
    std::vector<GUID> result(classes.pElems, classes.pElems + classes.cElems);
    CoTaskMemFree(classes.pElems);
    return result;
}

nlohmann::ordered_json drawn(int page, const PageView& view) {
    const std::uint64_t revision = view.revision();  // before the controls: what changes meanwhile is told again
    return {{"page", page},
            {"title", view.title},
            {"help", view.help},
            {"width", view.size.cx},
            {"height", view.size.cy},
            {"revision", revision},
            {"controls", view.face.controls(*view.dialog)}};
}

// Throws UsageError for a control that is none of these.
void expectKind(const PageView& view, int control, std::initializer_list<Kind> right, const char* demand) {
    const Kind kind = view.face.kindOf(control);
    if (std::find(right.begin(), right.end(), kind) != right.end()) return;
    throw UsageError("control " + std::to_string(control) + " is a " + nameOf(kind) + "; " + demand);
}

}  // namespace

PropertyPages::PropertyPages(Changed changed)
    : changed_(std::move(changed)), thread_([this] { return tellChanges(); }) {}

PropertyPages::~PropertyPages() {
    thread_.seeTo([this] {
        std::map<std::uint32_t, Stream> all;
        const std::lock_guard hold(lock_);
        all.swap(streams_);
    });
}

std::vector<PropertyPages::Page> PropertyPages::pagesOf(std::uint32_t stream, const Filters& filters) {
    {
        const std::lock_guard hold(lock_);
        const auto known = streams_.find(stream);
        const bool same = known != streams_.end() ? known->second.filters == filters : filters == Filters{};
        if (same || forgotten_.contains(stream)) return listed(stream);
    }
    thread_.run([=, this] { open(stream, filters); });
    const std::lock_guard hold(lock_);
    return listed(stream);
}

// Under lock_.
std::vector<PropertyPages::Page> PropertyPages::listed(std::uint32_t stream) const {
    std::vector<Page> result;
    const auto known = streams_.find(stream);
    if (known == streams_.end()) return result;
    for (const auto& one : known->second.pages) result.push_back({one->number, one->filter, one->view->title});
    return result;
}

void PropertyPages::open(std::uint32_t stream, const Filters& filters) {
    Stream fresh;
    {
        const std::lock_guard hold(lock_);
        if (forgotten_.contains(stream)) return;
        Stream& known = streams_[stream];
        if (known.filters == filters) return;
        std::swap(known, fresh);  // without filters until the pages are made: other callers wait for them
    }
    fresh.pages.clear();
    fresh.filters = filters;
    const std::pair<const char*, const ComPtr<IBaseFilter>&> both[] = {{"receiver", filters.receiver},
                                                                       {"sender", filters.sender}};
    for (const auto& [name, filter] : both) {
        if (!filter) continue;
        for (const GUID& classId : pageClassesOf(filter)) {
            auto page = OpenPage::open(classId, *filter);
            if (!page) continue;
            const auto view = page->view();
            const auto number = static_cast<int>(fresh.pages.size());
            fresh.pages.push_back(
                std::make_shared<Entry>(Entry{number, name, std::move(*page), view, view->revision()}));
        }
    }
    const std::lock_guard hold(lock_);
    if (!forgotten_.contains(stream)) std::swap(streams_[stream], fresh);
}

nlohmann::ordered_json PropertyPages::dialog(std::uint32_t stream, int page) {
    return drawn(page, *viewOf(stream, page));
}

nlohmann::ordered_json PropertyPages::setText(std::uint32_t stream, int page, int control, const std::string& text) {
    const auto view = viewOf(stream, page);
    expectKind(*view, control, {Kind::Edit, Kind::Combo}, "a text goes into an edit field or a combo");
    if (text.size() > kLongestText) {
        throw UsageError("the text for control " + std::to_string(control) + " has " + std::to_string(text.size()) +
                         " bytes; right would be at most " + std::to_string(kLongestText));
    }
    if (text.find('\0') != std::string::npos) {
        throw UsageError("the text for control " + std::to_string(control) +
                         " has a null character in it; right would be a line of text");
    }
    if (FAILED(view->dialog->SetText(control, text.c_str()))) throw std::bad_alloc();
    return drawn(page, *view);
}

nlohmann::ordered_json PropertyPages::select(std::uint32_t stream, int page, int control, int index) {
    const auto view = viewOf(stream, page);
    expectKind(*view, control, {Kind::Combo}, "a combo is what has items to choose from");
    if (index < 0 || FAILED(view->dialog->SetSelection(control, index))) {
        throw UsageError("combo " + std::to_string(control) + " has no item " + std::to_string(index) +
                         "; right would be 0 to " + std::to_string(view->dialog->GetItemCount(control) - 1));
    }
    return drawn(page, *view);
}

nlohmann::ordered_json PropertyPages::command(std::uint32_t stream, int page, int control) {
    const auto view = viewOf(stream, page);
    expectKind(*view, control, {Kind::Button}, "a button is what gives a command");
    thread_.run([=] { view->dialog->SendMessage(WM_COMMAND, static_cast<std::uintptr_t>(control), 0); });
    return drawn(page, *view);
}

void PropertyPages::reload(std::uint32_t stream) {
    thread_.seeTo([=, this] { reopen(stream); });
}

void PropertyPages::reopen(std::uint32_t stream) {
    std::vector<std::shared_ptr<Entry>> pages;
    {
        const std::lock_guard hold(lock_);
        const auto known = streams_.find(stream);
        if (known != streams_.end()) pages = known->second.pages;
    }
    for (const auto& one : pages) {
        if (!one->page.reopen()) continue;  // what it showed last stays
        const std::lock_guard hold(lock_);
        one->view = one->page.view();
    }
}

void PropertyPages::forget(std::uint32_t stream) {
    auto gone = std::make_shared<Stream>();
    {
        const std::lock_guard hold(lock_);
        forgotten_.insert(stream);
        const auto known = streams_.find(stream);
        if (known == streams_.end()) return;
        std::swap(*gone, known->second);
        streams_.erase(known);
    }
    thread_.seeTo([gone = std::move(gone)] {});  // the pages go with the job
}

bool PropertyPages::tellChanges() {
    std::vector<std::pair<std::uint32_t, std::shared_ptr<Entry>>> all;
    {
        const std::lock_guard hold(lock_);
        for (const auto& [stream, known] : streams_) {
            for (const auto& one : known.pages) all.emplace_back(stream, one);
        }
    }
    for (const auto& [stream, one] : all) {
        const std::uint64_t revision = one->view->revision();
        if (std::exchange(one->told, revision) != revision) changed_(stream, one->number, revision);
    }
    return !all.empty();
}

std::shared_ptr<const PageView> PropertyPages::viewOf(std::uint32_t stream, int page) const {
    const std::lock_guard hold(lock_);
    const auto known = streams_.find(stream);
    if (known != streams_.end()) {
        for (const auto& one : known->second.pages) {
            if (one->number == page) return one->view;
        }
    }
    throw NotFound("graph " + std::to_string(stream) + " has no page " + std::to_string(page));
}

}  // namespace mcgate::host
