#pragma once

#include "measure.h"
#include "support/plain_sockets.h"
#include "support/two_hosts.h"

namespace bench {

/// The sender, unpaced, from the input pin's Receive to the socket, beside a loop of blocking sends of 1316 bytes to
/// the same group out of the same interface. The other host has joined the group with a socket that nobody reads, so
/// that each datagram takes the kernel's whole road.
Comparison senderComparison(const std::string& name, double wanted, std::int32_t sampleSize, int destinations,
                            int datagrams);

/// Keeps the group joined in the other host for as long as the socket lives.
test::PlainSocket joinGroup(const test::TwoHosts& hosts);

}  // namespace bench
