#pragma once

#include <functional>
#include <mutex>
#include <string>

#include "cli/report.h"
#include "streams/notice.h"

namespace mcgate::host {

/// Writes the notices of streams as lines in the report's form. Errors and warnings are told whatever the form, since
/// they alone say why nothing flows; all else not without a report. That no module is registered is told once.
/// Threads: any. A leaf lock over what was told, not held while a line is written.
class NoticePrinter {
public:
    /// Takes a whole line with its end; any thread.
    using Write = std::function<void(const std::string& line)>;

    /// `name`: of the command. Without `write` lines go to standard error.
    NoticePrinter(ReportForm form, std::string name, Write write = {});
    /// `stream`: which of several it is; empty where there is but one.
    void tell(const Notice& notice, const std::string& stream = {});

private:
    bool isTold(const Notice& notice);
    std::string textLine(const Notice& notice, const std::string& stream) const;

    const ReportForm form_;
    const std::string name_;
    const Write write_;
    std::mutex lock_;
    std::string toldModule_;
};

}  // namespace mcgate::host
