#pragma once

#include <gtest/gtest.h>

#include "pages/resources.h"
#include "platform/text.h"
#include "support/page_frame.h"
#include "util/interface_list.h"

namespace test {

/// A page before a user, with a fresh list of interfaces.
template <class Page>
class OpenPage {
public:
    explicit OpenPage(const PageResources& resources = pageResources()) : page(new Page(nullptr, resources)) {}
    ~OpenPage() { close(); }

    HRESULT connect(IUnknown* object) { return page->SetObjects(1, &object); }
    void open(IUnknown* object) {
        ASSERT_EQ(connect(object), S_OK);
        ASSERT_EQ(frame.activate(*page), S_OK);
    }
    void close() {
        page->Deactivate();
        page->SetObjects(0, nullptr);
    }

    PageFrame frame;
    ComPtr<Page> page;
};

/// Resources in which a page's combos have room for this many items, one number a combo.
class CrampedResources {
public:
    CrampedResources(std::int32_t dialogId, std::vector<std::int32_t> room) {
        for (const DialogTemplate& one : pageResources().dialogs) {
            if (one.id == dialogId) dialog_ = one;
        }
        controls_.assign(dialog_.controls.begin(), dialog_.controls.end());
        std::size_t combos = 0;
        for (ControlTemplate& one : controls_) {
            if (one.control.kind == mcgate::platform::ControlKind::Combo) one.mostItems = room.at(combos++);
        }
        dialog_.controls = controls_;
    }
    PageResources resources() const { return {{&dialog_, 1}, pageResources().titles}; }

private:
    std::vector<ControlTemplate> controls_;
    DialogTemplate dialog_;
};

}  // namespace test
