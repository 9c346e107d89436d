#include "streams/relay_circle.h"

#include <algorithm>

#include "cli/way_back.h"

namespace mcgate::host {

namespace {

struct Relay {
    std::size_t stream = 0;
    ReceiveUrl input;
    std::vector<SendUrl> to;
};

Relay relayOf(std::size_t stream, const RelaySettings& settings) {
    Relay relay{stream, parseReceiveUrl(settings.input), {}};
    for (const auto& url : settings.to) relay.to.push_back(parseSendUrl(url));
    return relay;
}

std::vector<Relay> relaysOf(const std::vector<StreamSettings>& streams) {
    std::vector<Relay> relays;
    for (std::size_t i = 0; i < streams.size(); ++i) {
        const auto* settings = std::get_if<RelaySettings>(&streams[i].of);
        if (settings == nullptr) continue;
        try {
            relays.push_back(relayOf(i, *settings));
        } catch (const UsageError&) {  // an interface that it names has gone, so nothing goes round there
        }
    }
    return relays;
}

bool feeds(const Relay& from, const Relay& to) {
    return std::any_of(from.to.begin(), from.to.end(), [&](const SendUrl& url) { return comesBack(url, to.input); });
}

/// Of each relay, those that receive what it sends.
using Links = std::vector<std::vector<std::size_t>>;

Links linksOf(const std::vector<Relay>& relays) {
    Links links(relays.size());
    for (std::size_t from = 0; from < relays.size(); ++from) {
        for (std::size_t to = 0; to < relays.size(); ++to) {
            if (feeds(relays[from], relays[to])) links[from].push_back(to);
        }
    }
    return links;
}

/// Whether relay `goal` gets back what `from` sends; `way` then has those in between. Each relay is entered once.
bool leads(const Links& links, std::size_t from, std::size_t goal, std::vector<bool>& entered,
           std::vector<std::size_t>& way) {
    for (const std::size_t next : links[from]) {
        if (next == goal) return true;
        if (entered[next]) continue;
        entered[next] = true;
        way.push_back(next);
        if (leads(links, next, goal, entered, way)) return true;
        way.pop_back();
    }
    return false;
}

}  // namespace

std::optional<RelayCircle> findCircle(const std::vector<StreamSettings>& streams) {
    const auto relays = relaysOf(streams);
    const Links links = linksOf(relays);
    for (std::size_t i = 0; i < relays.size(); ++i) {
        std::vector<bool> entered(relays.size());
        std::vector<std::size_t> way;
        if (!leads(links, i, i, entered, way)) continue;
        std::string reason = "'" + streams[relays[i].stream].name + "' would receive what it sends";
        const char* link = ", by way of '";
        for (const std::size_t between : way) {
            reason += link + streams[relays[between].stream].name + "'";
            link = " and '";
        }
        reason += "; right would be other addresses or ports in one of them";
        return RelayCircle{relays[i].stream, reason};
    }
    return {};
}

}  // namespace mcgate::host
