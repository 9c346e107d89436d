#pragma once

#include "measure.h"
#include "support/two_hosts.h"

namespace bench {

/// The receiver from its socket to a pin that discards, beside a loop of poll and recv, both under a flood from the
/// other host that is more than either can take.
Comparison receiverComparison(const test::TwoHosts& hosts, double wanted);

/// Whether the receiver takes every datagram at `rate` a second, for some seconds.
Note lossAt(const test::TwoHosts& hosts, int rate);

}  // namespace bench
