// Texts from outside.

#include "Text.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::programs;

struct TextCase {
    const char* name;
    std::string text;
    const char* fault;
    std::string printed;
};

const char* const CONTROL = "control characters are not allowed";
const char* const NOT_UTF8 = "the text is not valid UTF-8";

const TextCase CASES[] = {
    {"Empty", "", nullptr, ""},
    {"Ascii", " ~", nullptr, " ~"},
    {"Utf8", "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", nullptr, "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
    {"NoBreakSpace", "\xC2\xA0", nullptr, "\xC2\xA0"},
    {"LastCodePoint", "\xF4\x8F\xBF\xBF", nullptr, "\xF4\x8F\xBF\xBF"},
    {"Nul", std::string("a\0b", 3), CONTROL, "a?b"},
    {"Newline", "a\nb", CONTROL, "a?b"},
    {"Tab", "\t", CONTROL, "?"},
    {"LastC0", "\x1F", CONTROL, "?"},
    {"Delete", "a\x7F", CONTROL, "a?"},
    {"FirstC1", "\xC2\x80", CONTROL, "?"},
    {"LastC1", "\xC2\x9F", CONTROL, "?"},
    {"LoneByte", "a\xE9", NOT_UTF8, "a?"},
    {"Continuation", "\x80", NOT_UTF8, "?"},
    {"CutOff", "\xE2\x82", NOT_UTF8, "??"},
    {"NoContinuation", "\xC3(", NOT_UTF8, "?("},
    {"Overlong", "\xC0\xAF", NOT_UTF8, "??"},
    {"OverlongThree", "\xE0\x80\xAF", NOT_UTF8, "???"},
    {"Surrogate", "\xED\xA0\x80", NOT_UTF8, "???"},
    {"TooLarge", "\xF4\x90\x80\x80", NOT_UTF8, "????"},
    {"NoFirstByte", "\xFF", NOT_UTF8, "?"},
};

class Texts : public ::testing::TestWithParam<TextCase> {};

TEST_P(Texts, AreRefusedOrPrinted)
{
    const char* const fault = faultOf(GetParam().text);
    EXPECT_EQ(GetParam().fault == nullptr ? "" : GetParam().fault,
              std::string(fault == nullptr ? "" : fault));
    EXPECT_EQ(GetParam().printed, printable(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(All, Texts, ::testing::ValuesIn(CASES),
                         [](const auto& instance) { return instance.param.name; });

TEST(Text, PrintsNothingThatXmlCannotCarry)
{
    EXPECT_EQ("a?b?", printable("a\xEF\xBF\xBE"
                                "b\xEF\xBF\xBF"));
}

TEST(Text, BecomesOneWordOfAShellCommand)
{
    EXPECT_EQ("/usr/lib/a-b_c.d+e,f:g=h@i%j", shellWord("/usr/lib/a-b_c.d+e,f:g=h@i%j"));
    EXPECT_EQ("''", shellWord(""));
    EXPECT_EQ("'a b'", shellWord("a b"));
    EXPECT_EQ("'$(id);`id`|&<>\"\\*?~#!'", shellWord("$(id);`id`|&<>\"\\*?~#!"));
    EXPECT_EQ("'it'\\''s'", shellWord("it's"));
}

} // namespace
