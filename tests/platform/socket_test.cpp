#include "platform/socket.h"

#include <gtest/gtest.h>

#include <cerrno>

#include "platform/errors.h"
#include "platform/linux/error_map.h"
#include "support/private_network.h"

namespace {

using namespace mcgate::platform;

SocketAddress addressOf(const char* text, std::uint16_t port) {
    SocketAddress address;
    EXPECT_EQ(resolveNumeric(text, port, address), 0) << text;
    return address;
}

TEST(Resolver, TakesNumericTextsAndNothingElse) {
    const std::pair<const char*, std::string> cases[] = {
        {"127.0.0.1", "127.0.0.1"}, {"127.1", "127.0.0.1"}, {"010.0.0.1", "8.0.0.1"},
        {"0:0::0", "::"},           {"FF15::1", "ff15::1"}, {"", ""},
        {"localhost", ""},          {" 127.0.0.1", ""},     {"*", ""},
    };
    for (const auto& [text, canonical] : cases) {
        SocketAddress address;
        const int status = resolveNumeric(text, 5004, address);
        EXPECT_EQ(status == 0, !canonical.empty()) << text;
        EXPECT_EQ(numericText(address), canonical) << "a refused text leaves it untouched";
        EXPECT_FALSE(resolveErrorText(status).empty());
    }
    EXPECT_EQ(addressOf("ff15::1", 5004).family(), kFamilyIPv6);
    EXPECT_EQ(addressOf("fe80::1%1", 0).scope(), 1U);
}

TEST(Socket, AnAutomaticPortIsNeverOneThatAListenerHolds) {
    if (!test::inPrivateNetwork()) GTEST_SKIP() << "needs a private network, to narrow its range of ports";
    test::setNetworkOption("ipv4/ip_local_port_range", "40000 40001");
    for (int i = 0; i < 50; ++i) {
        Socket listener = Socket::openDatagram(kFamilyIPv4);
        Socket sender = Socket::openDatagram(kFamilyIPv4);
        ASSERT_TRUE(listener.setReuseAddress() && sender.setReuseAddress());
        ASSERT_TRUE(listener.bind(addressOf("127.0.0.1", 0)));
        ASSERT_TRUE(sender.bind(addressOf("127.0.0.1", 0)));
        EXPECT_NE(listener.boundAddress().port(), sender.boundAddress().port());
    }
    test::setNetworkOption("ipv4/ip_local_port_range", "32768 60999");
}

TEST(Socket, FailuresSpeakTheNumbersOfTheMessages) {
    Socket none;
    EXPECT_EQ(none.sendRawTo("x", 1, addressOf("127.0.0.1", 9)), -1);
    EXPECT_EQ(lastError(), SocketNotSocket);
    EXPECT_FALSE(none.waitReadable(-1));
    EXPECT_FALSE(none.waitReadable(1000));
    EXPECT_FALSE(Socket::openDatagram(10).valid()) << "the kernel's own family number is none of ours";
    EXPECT_EQ(lastError(), SocketFamilyNotSupported);
    Socket socket = Socket::openDatagram(kFamilyIPv4);
    EXPECT_FALSE(socket.bind(addressOf("203.0.113.7", 0)));
    EXPECT_EQ(lastError(), SocketAddressNotAvailable);
    const std::pair<int, int> lost[] = {{ENETUNREACH, 10065}, {ENETDOWN, 10065}, {EHOSTUNREACH, 10065}, {ENODEV, 10049},
                                        {EINVAL, 10049},      {EPERM, 10013},    {EACCES, 10013}};
    for (const auto& [kernel, ours] : lost) EXPECT_EQ(sendError(kernel), ours) << kernel;
    EXPECT_EQ(generalError(ENETUNREACH), 10051);
    EXPECT_EQ(generalError(EINVAL), 10022);
}

}  // namespace
