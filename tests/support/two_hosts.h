#pragma once

#include "support/private_network.h"

namespace test {

/// This host, where the code under test runs, another one, and two cables between them:
///
///     here   mc0 10.66.0.1 fd66::1  ======  mc1 10.66.0.2, 10.66.0.3, fd66::2, fd66::3   peer
///     here   mc2 10.67.0.1 fd67::1  ======  mc3 10.67.0.2, fd67::2                       peer
///
/// The faults are those of the first cable. Everything is gone with the object.
class TwoHosts {
public:
    TwoHosts();
    ~TwoHosts();
    TwoHosts(const TwoHosts&) = delete;
    TwoHosts& operator=(const TwoHosts&) = delete;

    Host peer;

    void pullCable() const { atPeer("link set mc1 down"); }
    void plugCable() const { atPeer("link set mc1 up"); }
    void setDown() const { ip("link set mc0 down"); }
    /// Setting an interface down took its IPv6 addresses away.
    void setUp() const { ip("link set mc0 up\naddr replace fd66::1/64 dev mc0 nodad"); }
    void removeAddress() const { ip("addr del 10.66.0.1/24 dev mc0\naddr del fd66::1/64 dev mc0"); }
    void restoreAddress() const { ip("addr add 10.66.0.1/24 dev mc0\naddr add fd66::1/64 dev mc0 nodad"); }
    void removePeersAddress() const { atPeer("addr del 10.66.0.2/24 dev mc1"); }
    void restorePeersAddress() const { atPeer("addr add 10.66.0.2/24 dev mc1"); }
    void deleteInterface() const { ip("link del mc0"); }
    void makeInterfaceAnew() const;

private:
    void atPeer(const std::string& lines) const;
};

/// This host and another one behind a switch that looks into IGMP and MLD and forwards a group only to ports with a
/// member. A membership runs out after two seconds, and the switch never asks who is still there: it forgets its
/// members.
///
///     here mc0 10.66.0.1 fd66::1 ======[ switch ]====== mc1 10.66.0.2 fd66::2 peer
class TwoHostsAndAForgetfulSwitch {
public:
    TwoHostsAndAForgetfulSwitch();
    ~TwoHostsAndAForgetfulSwitch();
    TwoHostsAndAForgetfulSwitch(const TwoHostsAndAForgetfulSwitch&) = delete;
    TwoHostsAndAForgetfulSwitch& operator=(const TwoHostsAndAForgetfulSwitch&) = delete;

    Host theSwitch;
    Host peer;
};

}  // namespace test
