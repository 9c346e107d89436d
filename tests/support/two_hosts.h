#pragma once

#include <string>

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

    void pullCable() const;
    void plugCable() const;
    void setDown() const;
    void setUp() const;
    void removeAddress() const;
    void restoreAddress() const;
    void deleteInterface() const;
    void makeInterfaceAnew() const;

private:
    void makeFirstCable() const;
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
