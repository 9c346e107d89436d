#include "platform/text.h"

#include <gtest/gtest.h>

#include "platform/guid.h"

namespace {

using namespace mcgate::platform;

TEST(Text, GoesThereAndBackAndMarksWhatIsMalformed) {
    const std::string all = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x93\xA1";
    EXPECT_EQ(toWide(all), u"a\u00E9\u20AC\U0001F4E1");
    EXPECT_EQ(toNarrow(toWide(all)), all);
    EXPECT_EQ(toNarrow(static_cast<const WCHAR*>(nullptr)), "");
    EXPECT_EQ(toWide("x\xC0\xAF\xE2\x82y"), u"x\uFFFD\uFFFD\uFFFD\uFFFDy");
    const char16_t lone[] = {0xD800, u'z', 0};
    EXPECT_EQ(toNarrow(lone), "\xEF\xBF\xBDz");
    BSTR copy = SysAllocString(u"group");
    EXPECT_EQ(SysStringLen(copy), 5U);
    EXPECT_EQ(std::u16string(copy), u"group");
    SysFreeString(copy);
    SysFreeString(nullptr);
}

TEST(Guid, TextGoesThereAndBackAndBadTextIsRefused) {
    const std::string text = "{75A24BA6-F322-457C-9B20-DFE6FB930FE5}";
    EXPECT_EQ(guidText(guid(text)), text);
    EXPECT_THROW(guid("75A24BA6-F322-457C-9B20-DFE6FB930FE5"), std::invalid_argument);
    EXPECT_THROW(guid("{75A24BA6-F322-457C-9B20-DFE6FB930FEG}"), std::invalid_argument);
}

}  // namespace
