#include "check/check_report.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <sstream>

namespace mcgate::host {

namespace {

using nlohmann::ordered_json;

const char* nameOf(Verdict verdict) {
    switch (verdict) {
        case Verdict::Ok:
            return "ok";
        case Verdict::Warning:
            return "warning";
        case Verdict::Fault:
            break;
    }
    return "fault";
}

const char* label(Verdict verdict) {
    switch (verdict) {
        case Verdict::Ok:
            return "OK       ";
        case Verdict::Warning:
            return "warning  ";
        case Verdict::Fault:
            break;
    }
    return "FAULT    ";
}

std::string counted(const Checkup& checkup, Verdict verdict, const std::string& word) {
    const auto is = [verdict](const Finding& one) { return one.verdict == verdict; };
    const auto& all = checkup.findings();
    const auto number = std::count_if(all.begin(), all.end(), is);
    return std::to_string(number) + " " + word + (number == 1 ? "" : "s");
}

ordered_json streamOf(const Heard& heard) {
    return {{"datagrams", heard.datagrams()},
            {"bytes", heard.bytes()},
            {"bit_rate", heard.bitRate()},
            {"largest_datagram", heard.largest()},
            {"transport_stream", heard.isTransportStream()}};
}

}  // namespace

std::string checkText(const Road& road, const Checkup& checkup) {
    std::ostringstream text;
    text << (road.receives() ? "to receive " : "to send to ") << road.url << "\n";
    for (const auto& finding : checkup.findings()) {
        text << label(finding.verdict) << finding.id << ": " << finding.seen << "\n";
        if (!finding.remedy.empty()) text << "         do: " << finding.remedy << "\n";
    }
    text << counted(checkup, Verdict::Fault, "fault") << ", " << counted(checkup, Verdict::Warning, "warning") << "\n";
    return text.str();
}

std::string checkJson(const Road& road, const Checkup& checkup) {
    ordered_json findings = ordered_json::array();
    for (const auto& finding : checkup.findings()) {
        findings.push_back({{"id", finding.id},
                            {"verdict", nameOf(finding.verdict)},
                            {"seen", finding.seen},
                            {"remedy", finding.remedy.empty() ? ordered_json(nullptr) : ordered_json(finding.remedy)}});
    }
    const std::string name = checkup.interfaceName();
    const ordered_json object{{"url", road.url},
                              {"direction", road.receives() ? "receive" : "send"},
                              {"interface", name.empty() ? ordered_json(nullptr) : ordered_json(name)},
                              {"verdict", nameOf(checkup.verdict())},
                              {"stream", checkup.heard() ? streamOf(*checkup.heard()) : ordered_json(nullptr)},
                              {"findings", findings}};
    return object.dump(-1, ' ', false, ordered_json::error_handler_t::replace) + "\n";
}

}  // namespace mcgate::host
