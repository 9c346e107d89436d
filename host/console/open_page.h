#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "console/dialog_face.h"
#include "media/host/property_page.h"

namespace mcgate::host {

/// What of an open property page may be used by any thread. It doesn't change, but for what stands in the dialog.
struct PageView {
    std::string title;
    std::string help;
    SIZE size;
    platform::ComPtr<platform::IDialog> dialog;
    DialogFace face;
    std::uint64_t earlier = 0;  ///< changes of dialogs that the page had open before this one

    /// Grows with each change of the dialog.
    std::uint64_t revision() const { return earlier + dialog->GetChangeCount(); }
};

/// A property page that is connected to a filter, with its dialog open. Made, reopened and destroyed on the dialog
/// thread; destruction closes the dialog and disconnects.
class OpenPage {
public:
    /// Empty when the class can't be made or connected, or opens no dialog.
    static std::optional<OpenPage> open(const GUID& classId, IUnknown& filter);
    OpenPage(OpenPage&&) noexcept = default;
    OpenPage& operator=(OpenPage&&) = delete;
    ~OpenPage();

    /// Closes the dialog and opens another, which shows what the filter has now. False when there is none then.
    bool reopen();
    const std::shared_ptr<const PageView>& view() const noexcept { return view_; }

private:
    OpenPage() = default;
    bool activate();

    platform::ComPtr<IPropertyPage> page_;
    std::shared_ptr<const PageView> view_;
};

}  // namespace mcgate::host
