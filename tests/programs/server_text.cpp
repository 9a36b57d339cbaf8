// Texts from outside, and answers that can always be sent.

#include "Answer.h"
#include "Text.h"

#include "server_support.h"

#include <gtest/gtest.h>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using norvale::tamber::systemdata::ipseccfg::common::ResultCommand;

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

class ServerTexts : public ::testing::TestWithParam<TextCase> {};

TEST_P(ServerTexts, AreRefusedOrPrinted)
{
    const char* const fault = faultOf(GetParam().text);
    EXPECT_EQ(GetParam().fault == nullptr ? "" : GetParam().fault,
              std::string(fault == nullptr ? "" : fault));
    EXPECT_EQ(GetParam().printed, printable(GetParam().text));
}

INSTANTIATE_TEST_SUITE_P(All, ServerTexts, ::testing::ValuesIn(CASES),
                         [](const auto& instance) { return instance.param.name; });

TEST(ServerText, PrintsNothingThatXmlCannotCarry)
{
    EXPECT_EQ("a?b?", printable("a\xEF\xBF\xBE"
                                "b\xEF\xBF\xBF"));
}

TEST(ServerText, BecomesOneWordOfAShellCommand)
{
    EXPECT_EQ("/usr/lib/a-b_c.d+e,f:g=h@i%j", shellWord("/usr/lib/a-b_c.d+e,f:g=h@i%j"));
    EXPECT_EQ("''", shellWord(""));
    EXPECT_EQ("'a b'", shellWord("a b"));
    EXPECT_EQ("'$(id);`id`|&<>\"\\*?~#!'", shellWord("$(id);`id`|&<>\"\\*?~#!"));
    EXPECT_EQ("'it'\\''s'", shellWord("it's"));
}

TEST(ServerAnswer, CarriesStatusAndDetail)
{
    EXPECT_EQ("success: done", tests::inWords(messageOf({ResultCommand::Success, "done"})));
    EXPECT_EQ("failure: <a> & \"b\"", tests::inWords(messageOf({ResultCommand::Failure, "<a> & \"b\""})));
}

TEST(ServerAnswer, IsAnXmlRpcResponseOnSeveralLines)
{
    const std::string text = messageOf({ResultCommand::Success, ""});
    EXPECT_NE(std::string::npos, text.find("<methodResponse>\n")) << text;
    EXPECT_EQ(std::string::npos, text.find("<methodCall>")) << text;
}

TEST(ServerAnswer, HasNoDetailThatCannotBeSent)
{
    const Answer answer = presentable({ResultCommand::Failure, "a\x01\xFF\n\xEF\xBF\xBE"});
    EXPECT_EQ("a????", answer.detail);
    EXPECT_EQ("failure: a????", tests::inWords(messageOf(answer)));
}

TEST(ServerAnswer, HasNoDetailOfMoreThanTwoThousandBytes)
{
    EXPECT_EQ(std::string(2000, 'x'), presentable({ResultCommand::Failure, std::string(2000, 'x')}).detail);
    EXPECT_EQ(std::string(1997, 'x') + "...",
              presentable({ResultCommand::Failure, std::string(2001, 'x')}).detail);
}

TEST(ServerAnswer, IsRefusedRatherThanCutWhenItCannotBeSent)
{
    EXPECT_THROW(messageOf({ResultCommand::Failure, "\x01"}), std::runtime_error);
}

} // namespace
