#include "cli/saved_configuration.h"

#include <gtest/gtest.h>

#include "support/golden_bytes.h"

namespace {

using namespace mcgate::host;
using test::Bytes;
using test::goldenBytes;

/// The words, or why there are none, with a bar between lines.
std::string shown(const Bytes& content) {
    try {
        std::string text;
        for (const auto& line : describe(examineConfiguration(content))) text += (text.empty() ? "" : " | ") + line;
        return text;
    } catch (const std::runtime_error& problem) {
        return problem.what();
    }
}

bool isRefused(const std::string& text) { return text.rfind("offset ", 0) == 0; }

Bytes sender() {
    return goldenBytes(281, {{24, {1}}, {25, {2, 0, 0, 0, 10, 0, 0, 1}}, {153, {2, 0, 0x13, 0x88, 239, 1, 2, 3}}});
}

Bytes receiver() {
    return goldenBytes(410, {{24, {2, 0, 0x13, 0x88, 10, 0, 0, 2}},
                             {152, {0x13, 0x88}},
                             {154, {2, 0, 0, 0, 239, 1, 2, 3}},
                             {282, {2, 0, 0, 0, 10, 0, 0, 9}}});
}

TEST(SavedConfiguration, IsToldInWordsOrRefusedWithPlaceAndReason) {
    Bytes many = goldenBytes(25 + 256 * 256, {});
    for (std::size_t i = 0; i < 256; ++i) {
        std::copy_n(sender().begin() + 25, 256, many.begin() + static_cast<std::ptrdiff_t>(25 + 256 * i));
    }
    const Bytes whole = receiver();
    const auto without = [&whole](std::size_t first, std::size_t end) {
        Bytes result = test::cut(whole, first);
        result.resize(end);
        result.insert(result.end(), whole.begin() + static_cast<std::ptrdiff_t>(end), whole.end());
        return result;
    };
    const std::pair<Bytes, const char*> cases[] = {
        {goldenBytes(25, {}), "a sender to 0 destinations"},
        {sender(), "a sender to 1 destination | to 239.1.2.3, port 5000, from 10.0.0.1"},
        {goldenBytes(410, {}), "a receiver, not configured"},
        {whole, "a receiver of group 239.1.2.3 from the source 10.0.0.9 on the interface of 10.0.0.2, port 5000"},
        {without(282, 410), "a receiver of group 239.1.2.3 from any source on the interface of 10.0.0.2, port 5000"},
        {without(154, 410), "a receiver of unicast on 10.0.0.2, port 5000"},
        {goldenBytes(410, {{24, {23, 0, 0x13, 0x88, 0, 0, 0, 0, 0xFE, 0x80}}, {24 + 24, {2}}, {152, {0x13, 0x88}}}),
         "a receiver of unicast on fe80::, port 5000 | a load leaves out the interface of fe80::%2: give that address "
         "by a URL"},
        {{}, "offset 0: the file ends within the version"},
        {goldenBytes(24, {}), "offset 24: the file ends behind the version"},
        {goldenBytes(26, {{24, {3}}}),
         "offset 24: 2 bytes behind the version; right would be 386 for a receiver, or 769 for a sender of 3 "
         "destinations"},
        {goldenBytes(281, {{24, {1}}}), "offset 25: a destination without a local address"},
        {goldenBytes(281, {{24, {1}}, {25, {10}}}),
         "offset 25: the local address has the family 10; right would be 2 (IPv4), 23 (IPv6) or 0 (none)"},
        {without(154, 282), "offset 282: a source without a group"},
    };
    for (const auto& [content, text] : cases) EXPECT_EQ(shown(content), text);
    const std::string text = shown(many);
    EXPECT_EQ(text.rfind("a sender to 256 destinations | ", 0), 0U);
    EXPECT_NE(text.find("a load takes the first 0 alone"), std::string::npos);
}

TEST(SavedConfiguration, NoCutAndNoFlippedByteGoesUnnoticed) {
    for (const Bytes& whole : {sender(), receiver()}) {
        for (std::size_t size = 0; size < whole.size(); ++size) {
            EXPECT_TRUE(isRefused(shown(test::cut(whole, size)))) << size;
        }
        for (std::size_t at = 0; at < whole.size(); ++at) {
            Bytes flipped = whole;
            flipped[at] ^= 0xFF;
            EXPECT_NE(shown(flipped), shown(whole)) << at;
        }
    }
}

}  // namespace
