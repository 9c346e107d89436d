#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <vector>

#include "console/dialog_thread.h"
#include "console/open_page.h"
#include "media/host/interfaces.h"

namespace mcgate::host {

/// The property pages of the streams' filters, as the console shows them: a JSON object for each, drawn from the dialog
/// that the page opened, and what a user does in it. All logic is the pages' own.
///
/// Pages are made by the class ids that the filters name, connected, opened, used and let go on one dialog thread;
/// requests for that wait for it, see DialogThread. Controls are read and written by the caller's thread. The dialogs'
/// change counts are looked at every DialogThread::kTurn, since no thread can wait for several dialogs.
/// Threads: any. A leaf lock guards the list of pages; no page, dialog or filter is called under it.
/// A receiver filter has one data source listener, and that is its page.
class PropertyPages {
public:
    struct Filters {
        platform::ComPtr<IBaseFilter> receiver;  ///< either may be empty
        platform::ComPtr<IBaseFilter> sender;

        bool operator==(const Filters&) const = default;
    };
    struct Page {
        int page = 0;
        std::string filter;  ///< "receiver" or "sender"
        std::string title;
    };
    /// The controls of a page have changed, by whomever. Called on the dialog thread; it must not wait, and calls
    /// nothing here but dialog().
    using Changed = std::function<void(std::uint32_t stream, int page, std::uint64_t revision)>;

    explicit PropertyPages(Changed changed);
    /// Closes all pages. Waits for a filter that is just taking a change.
    ~PropertyPages();

    /// The pages of a stream's filters, which are made when these filters are seen first. A class that can't be made is
    /// left out. None after forget(). Throws std::runtime_error as all calls here do when the dialog thread is busy.
    std::vector<Page> pagesOf(std::uint32_t stream, const Filters& filters);

    /// {"page", "title", "help", "width", "height", "revision", "controls"}, as docs/CONSOLE.md describes it. Throws
    /// NotFound for a page that isn't there.
    nlohmann::ordered_json dialog(std::uint32_t stream, int page);

    /// What a user does: type into a field, choose an item, press a button. Each gives the dialog after it. They throw
    /// NotFound for a page or control that isn't there, and UsageError for what can't be done to that control.
    nlohmann::ordered_json setText(std::uint32_t stream, int page, int control, const std::string& text);
    nlohmann::ordered_json select(std::uint32_t stream, int page, int control, int index);
    nlohmann::ordered_json command(std::uint32_t stream, int page, int control);

    /// Opens a stream's pages anew, so that they show what the filters have now. Pages learn of some changes only then.
    /// While the dialog thread is busy for long, that happens behind this call.
    void reload(std::uint32_t stream);
    /// Lets go of the stream's filters, for good: before the stream is removed.
    void forget(std::uint32_t stream);

private:
    struct Entry {
        int number;
        const char* filter;
        OpenPage page;                         ///< of the dialog thread alone
        std::shared_ptr<const PageView> view;  ///< that of `page`; under lock_
        std::uint64_t told = 0;                ///< revision that was told last; of the dialog thread alone
    };
    struct Stream {
        Filters filters;
        std::vector<std::shared_ptr<Entry>> pages;
    };

    // On the dialog thread.
    void open(std::uint32_t stream, const Filters& filters);
    void reopen(std::uint32_t stream);
    bool tellChanges();

    std::vector<Page> listed(std::uint32_t stream) const;
    std::shared_ptr<const PageView> viewOf(std::uint32_t stream, int page) const;

    const Changed changed_;
    mutable std::mutex lock_;
    std::map<std::uint32_t, Stream> streams_;
    std::set<std::uint32_t> forgotten_;
    DialogThread thread_;  ///< the last member: it uses the others
};

}  // namespace mcgate::host
