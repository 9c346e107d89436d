#include "pages/resources.h"

namespace {

using namespace page_ids;
using enum mcgate::platform::ControlKind;

constexpr std::int32_t kFirstLabel = 1100;  // labels are never looked up: their numbers only tell them apart

// Places in dialog units. A label stands left of its field, an explanation below it.
constexpr RECT label(std::int32_t top) { return {8, top + 2, 88, top + 12}; }
constexpr RECT field(std::int32_t top) { return {92, top, 192, top + 14}; }
constexpr RECT note(std::int32_t top) { return {92, top, 292, top + 20}; }

constexpr ControlTemplate kReceiverControls[] = {
    {{kFirstLabel, Label, label(8)}, "Local interface"},
    {{kInterface, Combo, field(8)}},
    {{kFirstLabel + 1, Label, label(28)}, "Group or address"},
    {{kAddress, Edit, field(28)}},
    {{kFirstLabel + 2, Label, note(44)},
     "A multicast group, or 0.0.0.0 to receive what is sent to the interface itself."},
    {{kFirstLabel + 3, Label, label(68)}, "Port"},
    {{kPort, Edit, field(68)}},
    {{kFirstLabel + 4, Label, label(88)}, "Source"},
    {{kSource, Edit, field(88)}},
    {{kFirstLabel + 5, Label, note(104)},
     "Leave empty for any source. 0.0.0.0 shows that there is none, but is applied as a source of its own."},
    {{kFirstLabel + 6, Label, label(128)}, "Time-out (ms)"},
    {{kTimeout, Edit, field(128)}},
    {{kFirstLabel + 7, Label, label(150)}, "Data state"},
    {{kDataState, Label, {92, 152, 140, 162}}},
    {{kApply, Button, {142, 150, 192, 164}}, "Apply"},
};

constexpr ControlTemplate kSenderControls[] = {
    {{kFirstLabel, Label, {8, 8, 98, 18}}, "Send to address"},
    {{kFirstLabel + 1, Label, {102, 8, 142, 18}}, "Port"},
    {{kFirstLabel + 2, Label, {146, 8, 246, 18}}, "Local interface"},
    {{kAddress, Edit, {8, 20, 98, 34}}},
    {{kPort, Edit, {102, 20, 142, 34}}},
    {{kInterface, Combo, {146, 20, 246, 34}}},
    {{kSecondAddress, Edit, {8, 38, 98, 52}}},
    {{kSecondPort, Edit, {102, 38, 142, 52}}},
    {{kSecondInterface, Combo, {146, 38, 246, 52}}},
    {{kFirstLabel + 3, Label, {8, 56, 246, 86}},
     "An emptied row stays in the filter. Choose an interface in place of \"undefined\" before applying: with that "
     "word the sender can't start. Changes act at the next start."},
    {{kApply, Button, {196, 90, 246, 104}}, "Apply"},
};

constexpr DialogTemplate kDialogs[] = {
    {kReceiverDialog, {300, 172}, kReceiverControls},
    {kSenderDialog, {254, 112}, kSenderControls},
};

constexpr TitleText kTitles[] = {{kReceiverTitle, "Reception"}, {kSenderTitle, "Destinations"}};

constexpr PageResources kResources{kDialogs, kTitles};

}  // namespace

const PageResources& pageResources() noexcept { return kResources; }
