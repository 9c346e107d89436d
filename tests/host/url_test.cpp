#include "cli/url.h"

#include <gtest/gtest.h>

#include "support/failure_of.h"

namespace {

using namespace mcgate::host;

TEST(Url, ReceiveUrlsSayWhereAndWhat) {
    const std::tuple<std::string, std::string, std::string, std::string> cases[] = {
        {"udp://@:5000", "", "0.0.0.0", "0.0.0.0"},
        {"udp://@10.0.0.2:5000", "", "0.0.0.0", "10.0.0.2"},
        {"udp://@:5000?local=10.0.0.2", "", "0.0.0.0", "10.0.0.2"},
        {"udp://@239.1.1.1:5000", "", "239.1.1.1", ""},
        {"udp://10.0.0.1@232.1.1.1:5000?local=10.0.0.2", "10.0.0.1", "232.1.1.1", "10.0.0.2"},
        {"udp://@[ff15::1]:5000?local=[fd00::2]", "", "ff15::1", "fd00::2"},
        {"udp://@[::1]:5000", "", "::", "::1"},
    };
    for (const auto& [text, source, group, local] : cases) {
        const ReceiveUrl url = parseReceiveUrl(text);
        EXPECT_EQ(url.source, source) << text;
        EXPECT_EQ(url.group, group) << text;
        EXPECT_EQ(url.local, local) << text;
        EXPECT_EQ(url.port, 5000) << text;
    }
}

TEST(Url, WrongOnesAreRefusedInOneLineThatNamesTheFault) {
    const std::pair<const char*, const char*> receive[] = {
        {"239.1.1.1:5000", "udp://"},
        {"udp://239.1.1.1:5000", "'@'"},
        {"udp://@239.1.1.1", "no port"},
        {"udp://@239.1.1.1:0", "'0' is no port"},
        {"udp://@239.1.1.1:65536", "'65536' is no port"},
        {"udp://@239.1.1.1:5000x", "'5000x' is no port"},
        {"udp://@a.host:5000", "'a.host' is no numeric address"},
        {"udp://@ff15::1:5000", "brackets"},
        {"udp://@239.1.1.1:5000?ttl=4", "'ttl=4'"},
        {"udp://@239.1.1.1:5000?local=", "'local='"},
        {"udp://@239.1.1.1:5000?local=[fd00::1]", "another family"},
        {"udp://[fd00::1]@239.1.1.1:5000", "another family"},
        {"udp://239.1.1.2@239.1.1.1:5000", "no unicast address"},
        {"udp://10.0.0.1@10.0.0.2:5000", "needs a group"},
        {"udp://@[ff15::1]:5000?local=fd00::1", "brackets"},
        {"udp://fd00::1@[ff35::1]:5000", "brackets"},
        {"udp://@[239.1.1.1]:5000", "only an IPv6 address"},
        {"udp://[10.0.0.1]@232.1.1.1:5000", "only an IPv6 address"},
        {"udp://0.0.0.0@232.1.1.1:5000", "no sender has the address 0.0.0.0"},
        {"udp://[::]@[ff35::1]:5000", "no sender has the address ::"},
        {"udp://@239.1.1.1:5000?local=0.0.0.0", "names none"},
        {"udp://@[ff15::1]:5000?local=[::]", "names none"},
        {"udp://@240.0.0.1:5000", "neither unicast nor multicast"},
        {"udp://@10.0.0.2:5000?local=10.0.0.3", "no place"},
    };
    const auto expectFault = [](auto&& parse, const char* text, const char* fault) {
        const auto said = test::failureOf<UsageError>([&] { parse(text); });
        EXPECT_NE(said.find(fault), std::string::npos) << text << ": " << said;
        EXPECT_EQ(said.find('\n'), std::string::npos);
    };
    for (const auto& [text, fault] : receive) expectFault(parseReceiveUrl, text, fault);
    const std::pair<const char*, const char*> send[] = {{"udp://@239.1.1.1:5000", "no '@'"},
                                                        {"udp://:5000", "no address"},
                                                        {"udp://255.255.255.255:5000", "can't be sent to"},
                                                        {"udp://0.0.0.0:5000", "can't be sent to"},
                                                        {"udp://127.1:5000", "read as 127.0.0.1"},
                                                        {"udp://010.0.0.1:5000", "read as 8.0.0.1"},
                                                        {"udp://239.1.1.1:5000?local=224.0.0.1", "no unicast address"},
                                                        {"udp://239.1.1.1:5000?local=0.0.0.0", "names none"},
                                                        {"udp://[10.0.0.1]:5000", "only an IPv6 address"}};
    for (const auto& [text, fault] : send) expectFault(parseSendUrl, text, fault);
    EXPECT_EQ(parseSendUrl("udp://[ff15::1]:65535?local=[fd00::1]").remote, "ff15::1");
}

}  // namespace
