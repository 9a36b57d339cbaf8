// The parts of the request channel one by one: the head of a request, the stream buffer, the server process.

#include "requester_support.h"

#include "Channel.h"
#include "FailingHeap.h"
#include "RequestHead.h"
#include "ServerProcess.h"
#include "SocketPair.h"

#include <algorithm>
#include <array>
#include <csignal>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace tests {

namespace {

using namespace std::chrono_literals;
using namespace norvale::tamber::systemdata::requester;
using State = RequestHead::State;

// RequestHead

struct HeadRow {
    std::string_view text;
    State state;
    std::string_view command;
};

const HeadRow HEADS[] = {
    {"<methodCall><methodName>/bin/server</methodName>", State::complete, "/bin/server"},
    {"<?xml version=\"1.0\"?>\n<methodCall>\n  <methodName>/s</methodName>\n  <params>", State::complete,
     "/s"},
    {"<methodName></methodName>", State::complete, ""},
    {"<methodName> a  b </methodName>", State::complete, " a  b "},
    {"<methodName>&amp;&lt;&gt;&quot;&apos;</methodName>", State::complete, "&<>\"'"},
    {"<methodName>&amp;lt;</methodName>", State::complete, "&lt;"},
    {"<methodName>&#65;&#x42;&#13;&#x9;</methodName>", State::complete, "AB\r\t"},
    {"<methodName>&#x7F;&#x80;&#x7FF;</methodName>", State::complete, "\x7F\xC2\x80\xDF\xBF"},
    {"<methodName>&#x20;&#x800;&#xD7FF;</methodName>", State::complete, " \xE0\xA0\x80\xED\x9F\xBF"},
    {"<methodName>&#xE000;&#xFFFD;</methodName>", State::complete, "\xEE\x80\x80\xEF\xBF\xBD"},
    {"<methodName>&#x10000;&#x10FFFF;</methodName>", State::complete, "\xF0\x90\x80\x80\xF4\x8F\xBF\xBF"},
    {"<methodName>&#8364;&#x20ac;&#x20AC;</methodName>", State::complete,
     "\xE2\x82\xAC\xE2\x82\xAC\xE2\x82\xAC"},
    {"<methodName>\xE2\x82\xAC > ]]</methodName>", State::complete, "\xE2\x82\xAC > ]]"},
    {"<methodName>a</methodName><methodName>b</methodName>", State::complete, "a"},
    {"<methodName>a</methodName><methodResponse>", State::complete, "a"},
    {"", State::incomplete, ""},
    {"<methodCall>", State::incomplete, ""},
    {"<methodName>/bin/server", State::incomplete, ""},
    {"<methodName>/bin/server</methodName", State::incomplete, ""},
    {"</methodName>", State::incomplete, ""},
    {"<methodResponse>", State::refused, ""},
    {"<methodResponse><methodName>/bin/server</methodName>", State::refused, ""},
    {"<methodName><b/></methodName>", State::refused, ""},
    {"<methodName><![CDATA[a]]></methodName>", State::refused, ""},
    {"<methodName>a<methodName>b</methodName>", State::refused, ""},
    {"<methodName><amp;</methodName>", State::refused, ""},
    {"<methodName>&</methodName>", State::refused, ""},
    {"<methodName>&;</methodName>", State::refused, ""},
    {"<methodName>&amp</methodName>", State::refused, ""},
    {"<methodName>&AMP;</methodName>", State::refused, ""},
    {"<methodName>&nbsp;</methodName>", State::refused, ""},
    {"<methodName>&#;</methodName>", State::refused, ""},
    {"<methodName>&#x;</methodName>", State::refused, ""},
    {"<methodName>&#X41;</methodName>", State::refused, ""},
    {"<methodName>&#4x;</methodName>", State::refused, ""},
    {"<methodName>&#-65;</methodName>", State::refused, ""},
    {"<methodName>&#+65;</methodName>", State::refused, ""},
    {"<methodName>&# 65;</methodName>", State::refused, ""},
    {"<methodName>&#0;</methodName>", State::refused, ""},
    {"<methodName>&#8;</methodName>", State::refused, ""},
    {"<methodName>&#xD800;</methodName>", State::refused, ""},
    {"<methodName>&#xDFFF;</methodName>", State::refused, ""},
    {"<methodName>&#xFFFE;</methodName>", State::refused, ""},
    {"<methodName>&#x110000;</methodName>", State::refused, ""},
    {"<methodName>&#4294967361;</methodName>", State::refused, ""},
    {"<methodName>&#99999999999999999999;</methodName>", State::refused, ""},
};

TEST(RequestHead, TellsTheCommandWithoutItsEscapes)
{
    for (const HeadRow& row : HEADS) {
        RequestHead head;
        EXPECT_EQ(row.text.size(), head.add(row.text)) << row.text;
        EXPECT_TRUE(head.state() == row.state) << row.text;
        EXPECT_EQ(row.command, head.command()) << row.text;
        EXPECT_EQ(row.text, head.text());
    }
}

TEST(RequestHead, IsCompleteWithTheLastByteOfTheEndTagHoweverTheBytesCome)
{
    const std::string text = "<?xml version=\"1.0\"?><methodCall><methodName>a&amp;b</methodName>";
    for (std::size_t piece = 1; piece <= text.size(); ++piece) {
        RequestHead head;
        for (std::size_t at = 0; at < text.size(); at += piece) {
            EXPECT_TRUE(head.state() == State::incomplete) << piece << " at " << at;
            head.add(std::string_view(text).substr(at, piece));
        }
        EXPECT_EQ("a&b", head.command()) << piece;
    }
}

TEST(RequestHead, TakesNothingOnceItIsComplete)
{
    RequestHead head;
    head.add("<methodName>a</methodName>");
    EXPECT_EQ(0U, head.add("<params>"));
    EXPECT_EQ("<methodName>a</methodName>", head.text());
}

TEST(RequestHead, MayBeSixtyFourKibibytesLongAndNoMore)
{
    const std::string_view tags = "<methodName></methodName>";
    const std::string longest = "<methodName>" + std::string(65536 - tags.size(), 'x') + "</methodName>";
    RequestHead fits;
    EXPECT_EQ(65536U, fits.add(longest));
    EXPECT_TRUE(fits.state() == State::complete);

    RequestHead exceeds;
    EXPECT_EQ(65536U, exceeds.add(" " + longest));
    EXPECT_TRUE(exceeds.state() == State::refused);
    EXPECT_EQ(0U, exceeds.add(">"));
}

// Channel

/// A channel whose client's end is closed before the server's end is awaited, as CRequester does it.
class OpenChannel {
public:
    OpenChannel() = default;
    ~OpenChannel() { ::close(ends_.client.release()); }
    OpenChannel(const OpenChannel&) = delete;
    OpenChannel& operator=(const OpenChannel&) = delete;

    Channel& operator*() { return channel_; }
    Channel* operator->() { return &channel_; }

private:
    SocketPair ends_ = openSocketPair();
    Channel channel_{ends_.client.get(), std::move(ends_.server), 20s};
};

const std::string HEAD = std::string("<methodCall><methodName>") + REQUESTER_SERVER + "</methodName>";

bool put(Channel& channel, std::string_view text)
{
    const auto size = static_cast<std::streamsize>(text.size());
    return channel.sputn(text.data(), size) == size;
}

std::string get(Channel& channel, std::size_t size)
{
    std::string text(size, '\0');
    text.resize(static_cast<std::size_t>(channel.sgetn(text.data(), static_cast<std::streamsize>(size))));
    return text;
}

class ChannelTest : public RequesterTest {};

TEST_F(ChannelTest, TakesARequestInPiecesOfAnySize)
{
    const std::string request = HEAD + "<params>" + std::string(1000, 'x');
    for (std::size_t piece : {std::size_t{1}, std::size_t{2}, std::size_t{3}, std::size_t{7}, HEAD.size() - 1,
                              HEAD.size(), HEAD.size() + 1, request.size()}) {
        serversDo("echo");
        OpenChannel channel;
        for (std::size_t at = 0; at < request.size(); at += piece)
            ASSERT_TRUE(put(*channel, std::string_view(request).substr(at, piece))) << piece;
        EXPECT_TRUE(channel->endOfTransmission());
        EXPECT_EQ(request, get(*channel, request.size() + 1)) << piece;
    }
}

TEST_F(ChannelTest, TakesARequestCharacterByCharacter)
{
    serversDo("echo");
    OpenChannel channel;
    for (const char character : HEAD)
        ASSERT_EQ(character, channel->sputc(character));
    EXPECT_TRUE(channel->endOfTransmission());
    EXPECT_EQ(HEAD, get(*channel, HEAD.size() + 1));
    EXPECT_EQ(std::char_traits<char>::eof(), channel->sputc('x'));
}

TEST_F(ChannelTest, HandsOutAnAnswerCharacterByCharacter)
{
    serversDo("echo");
    OpenChannel channel;
    EXPECT_TRUE(put(*channel, HEAD));
    EXPECT_TRUE(channel->endOfTransmission());
    for (const char character : HEAD) {
        EXPECT_EQ(character, channel->sgetc());
        EXPECT_EQ(character, channel->sbumpc());
    }
    EXPECT_EQ(std::char_traits<char>::eof(), channel->sgetc());
}

TEST_F(ChannelTest, StartsNoServerBeforeTheCommandIsWhole)
{
    serversDo("mark echo");
    OpenChannel channel;
    EXPECT_TRUE(put(*channel, std::string_view(HEAD).substr(0, HEAD.size() - 1)));
    EXPECT_TRUE(hasNoChild());
    EXPECT_TRUE(put(*channel, ">"));
    EXPECT_EQ(HEAD, get(*channel, HEAD.size()));
    EXPECT_TRUE(hasMark());
}

TEST_F(ChannelTest, LetsWritingAndReadingTakeTurns)
{
    serversDo("echo");
    OpenChannel channel;
    EXPECT_TRUE(put(*channel, HEAD));
    EXPECT_EQ(HEAD, get(*channel, HEAD.size()));
    for (const std::string& text : {std::string("first"), std::string(1'000'000, 'x'), std::string("last")}) {
        EXPECT_TRUE(put(*channel, text));
        EXPECT_EQ(text, get(*channel, text.size()));
    }
    EXPECT_TRUE(channel->endOfTransmission());
    EXPECT_EQ("", get(*channel, 1));
}

// What has been read already was an answer, too.
TEST_F(ChannelTest, DropsTheRestOfARequestWhoseAnswerHasBeenRead)
{
    serversDo("answer");
    OpenChannel channel;
    EXPECT_TRUE(put(*channel, HEAD));
    EXPECT_FALSE(get(*channel, 100'000).empty());
    EXPECT_TRUE(put(*channel, std::string(1'000'000, 'x')));
    EXPECT_TRUE(channel->endOfTransmission());
}

TEST_F(ChannelTest, LosesNothingWhateverAllocationFails)
{
    serversDo("read answer exit:0");
    const int before = openDescriptors();
    std::array<char, 1000> answer{};
    std::streamsize size = 0;
    const auto exchange = [&] {
        OpenChannel channel;
        put(*channel, HEAD);
        channel->endOfTransmission();
        size = channel->sgetn(answer.data(), answer.size());
    };
    const auto check = [&] {
        EXPECT_EQ(before, openDescriptors());
        EXPECT_TRUE(hasNoChild());
    };
    EXPECT_LT(3, failEachAllocation(exchange, check));
    check();
    EXPECT_NE(std::string::npos,
              std::string(answer.data(), static_cast<std::size_t>(size)).find("</methodResponse>"));
}

TEST(RequestHeadMemory, ThatRunsOutIsReportedAndLosesNothing)
{
    // The reference makes the command a text of its own.
    const std::string text =
        "<methodName>" + std::string(100, 'a') + "&amp;" + std::string(100, 'b') + "</methodName>";
    auto head = std::make_unique<RequestHead>();
    EXPECT_LT(2, failEachAllocation([&] { head->add(text); },
                                    [&] {
                                        EXPECT_TRUE(head->state() == State::incomplete);
                                        EXPECT_EQ("", head->command());
                                        head = std::make_unique<RequestHead>();
                                    }));
    EXPECT_EQ(std::string(100, 'a') + "&" + std::string(100, 'b'), head->command());
}

// ServerProcess; this program is built as on a system that cannot close a range of descriptors at once

TEST_F(RequesterTest, AServerHasNoOtherDescriptorEvenIfTheyMustBeClosedOneByOne)
{
    serversDo("read report");
    const int inherited = ::dup(STDIN_FILENO); // NOLINT(android-cloexec-dup): that is the point
    const int far = ::dup2(STDIN_FILENO, 700);
    CArrayParser request;
    CArrayParser answer;
    fill(request, REQUESTER_SERVER, SMALL);
    {
        CRequester requester(20);
        EXPECT_EQ(ANSWERED, exchangeOver(requester, request, answer));
    }
    EXPECT_EQ("0=socket 1=socket 2=error", membersOf(answer)["descriptors"]);
    ::close(far);
    ::close(inherited);
}

TEST_F(RequesterTest, AServerThatHasEndedNeedsNoPatience)
{
    serversDo("exit:0");
    const SocketPair ends = openSocketPair();
    ServerProcess server(REQUESTER_SERVER, ends.server.get());
    EXPECT_LT(durationOf([&] { server.end(20s); }), 10s);
    EXPECT_TRUE(hasNoChild());
}

TEST_F(RequesterTest, AServerMayBeEndedTwice)
{
    serversDo("hang");
    const SocketPair ends = openSocketPair();
    ServerProcess server(REQUESTER_SERVER, ends.server.get());
    server.end(0s);
    server.end(20s);
    EXPECT_TRUE(hasNoChild());
}

TEST_F(RequesterTest, AServerThatSomebodyElseHasWaitedForIsGone)
{
    serversDo("exit:0");
    const SocketPair ends = openSocketPair();
    ServerProcess server(REQUESTER_SERVER, ends.server.get());
    EXPECT_GT(::waitpid(-1, nullptr, 0), 0);
    EXPECT_LT(durationOf([&] { server.end(20s); }), 10s);
}

} // namespace

} // namespace tests
