#include "support/two_hosts.h"

#include <exception>

namespace test {

namespace {

// A test ends with the links of this host gone, whether or not a fault had taken one away before.
void deleteLink(const std::string& name) noexcept {
    try {
        ip("link del " + name);
    } catch (const std::exception&) {
        return;
    }
}

}  // namespace

TwoHosts::TwoHosts() {
    makeInterfaceAnew();
    ip("link add name mc2 type veth peer name mc3\nlink set mc3 netns " + peer.name() +
       "\naddr add 10.67.0.1/24 dev mc2\naddr add fd67::1/64 dev mc2 nodad\nlink set mc2 up");
    atPeer("addr add 10.67.0.2/24 dev mc3\naddr add fd67::2/64 dev mc3 nodad\nlink set mc3 up");
}

TwoHosts::~TwoHosts() {
    deleteLink("mc0");
    deleteLink("mc2");
}

void TwoHosts::makeInterfaceAnew() const {
    ip("link add name mc0 type veth peer name mc1\nlink set mc1 netns " + peer.name() +
       "\naddr add 10.66.0.1/24 dev mc0\naddr add fd66::1/64 dev mc0 nodad\nlink set mc0 up");
    atPeer(
        "addr add 10.66.0.2/24 dev mc1\naddr add 10.66.0.3/24 dev mc1\n"
        "addr add fd66::2/64 dev mc1 nodad\naddr add fd66::3/64 dev mc1 nodad\nlink set mc1 up");
}

void TwoHosts::atPeer(const std::string& lines) const {
    peer.run([&] { ip(lines); });
}

TwoHostsAndAForgetfulSwitch::TwoHostsAndAForgetfulSwitch() {
    ip("link add name mc0 type veth peer name p0\nlink set p0 netns " + theSwitch.name() +
       "\naddr add 10.66.0.1/24 dev mc0\naddr add fd66::1/64 dev mc0 nodad");
    peer.run([this] {
        ip("link add name mc1 type veth peer name p1\nlink set p1 netns " + theSwitch.name() +
           "\naddr add 10.66.0.2/24 dev mc1\naddr add fd66::2/64 dev mc1 nodad");
    });
    // Hundredths of a second. The short response interval comes first: only after it does a bridge that asks nobody
    // trust its own table.
    theSwitch.run([] {
        ip("link add name br0 type bridge mcast_snooping 1 mcast_query_response_interval 10 "
           "mcast_membership_interval 200 mcast_query_interval 600000 mcast_startup_query_count 1 "
           "mcast_igmp_version 3 mcast_mld_version 2 mcast_query_use_ifaddr 0\n"
           "link set p0 master br0\nlink set p1 master br0\nlink set p0 up\nlink set p1 up\nlink set br0 up\n"
           "link set br0 type bridge mcast_querier 1");
    });
    // The hand-made report knows no interface: it leaves by the route for the group.
    ip("link set mc0 up\nroute add 224.0.0.0/4 dev mc0");
    peer.run([] { ip("link set mc1 up"); });
}

TwoHostsAndAForgetfulSwitch::~TwoHostsAndAForgetfulSwitch() { deleteLink("mc0"); }

}  // namespace test
