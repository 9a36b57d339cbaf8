// Answers that can always be sent.

#include "Answer.h"

#include "server_support.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using norvale::tamber::systemdata::ipseccfg::common::ResultCommand;

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
