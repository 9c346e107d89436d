#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/dialog.h"

namespace mcgate::host {

/// How a dialog shows: its controls, each with the label that stands beside it. Taken of a dialog that is made, but not
/// yet filled by its page, as a static text that is empty then is one that the page fills.
///
/// The label of a control is the static text next to it on its left, else the nearest one above it; one above several
/// controls is told apart by a number behind it. What labels nothing stands by itself.
/// Threads: any; it doesn't change.
class DialogFace {
public:
    enum class Kind { Combo, Edit, Button, Text, Label };

    explicit DialogFace(platform::IDialog& dialog);

    /// Throws NotFound without such a control.
    Kind kindOf(int control) const;
    /// The controls with what stands in them now, in the order in which a user walks through them.
    nlohmann::ordered_json controls(platform::IDialog& dialog) const;

private:
    struct Control {
        int id;
        Kind kind;
        RECT place;
        std::string label;
    };

    std::vector<Control> controls_;
};

/// The name that the console's interface has for a kind.
const char* nameOf(DialogFace::Kind kind);

}  // namespace mcgate::host
