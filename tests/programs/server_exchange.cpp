// From the bytes of a request to those of its answer.

#include "server_carry_out.h"

#include "Channel.h"
#include "Exchange.h"

#include <array>
#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using namespace norvale::tamber::systemdata::ipseccfg::configserver;
using namespace std::chrono_literals;
using Lines = std::vector<std::string>;

class ServerExchange : public tests::ServerCarryOut {
protected:
    ServerExchange() { writeConfiguration("max-request-bytes = 100000\nmax-request-seconds = 1\n"); }

    void writeConfiguration(const std::string& line)
    {
        tests::writeFile(file, "engine = \"standalone\"\nsetting-directory = \"" + directory + "\"\n" + line +
                                   "[service]\ncommand = \"" + host.engine + "\"\npid-file = \"" +
                                   host.pidFile +
                                   "\"\nstop-signal = \"TERM\"\nreconfigure-signal = \"HUP\"\n");
    }

    /// What a client reads that sends a request and, unless told otherwise, ends it.
    std::string answerTo(const std::string& request, bool end = true)
    {
        std::array<int, 2> ends = {};
        EXPECT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()));
        std::string text;
        std::thread client([&] {
            EXPECT_EQ(static_cast<ssize_t>(request.size()),
                      send(ends[0], request.data(), request.size(), MSG_NOSIGNAL));
            if (end)
                shutdown(ends[0], SHUT_WR);
            char byte = 0;
            while (read(ends[0], &byte, 1) == 1)
                text += byte;
            close(ends[0]);
        });
        {
            Channel channel{Descriptor(ends[1]), Descriptor(dup(ends[1]))};
            written = exchange(channel, file, limits);
        }
        client.join();
        return tests::inWords(text);
    }

    const std::string file = host.folder / "server.toml";
    bool written = false;
};

TEST_F(ServerExchange, AnswersAndLogsASuccess)
{
    EXPECT_EQ("success: the engine was started", answerTo(tests::startText(settingFile)));
    EXPECT_TRUE(written);
    EXPECT_EQ(Lines{"start: success: the engine was started"}, host.logged);
}

TEST_F(ServerExchange, AnswersAndLogsAFailure)
{
    EXPECT_EQ("failure: the engine is not running", answerTo(tests::shutdownText()));
    EXPECT_EQ("failure: the engine is not running", answerTo(tests::restartText(settingFile)));
    EXPECT_EQ((Lines{"shutdown: failure: the engine is not running",
                     "restart: failure: the engine is not running"}),
              host.logged);
}

TEST_F(ServerExchange, LogsNoSecret)
{
    answerTo(tests::startText(settingFile));
    answerTo(tests::restartText(settingFile));
    answerTo(tests::startText("/etc/passwd"));
    std::string bad = tests::startText(settingFile);
    tests::replaceAll(bad, "<string>0x", "<string>0x7f");
    answerTo(bad);
    ASSERT_EQ(4U, host.logged.size());
    EXPECT_EQ(
        "start: failure: phase 1, proposal 0, transform 0: auth-method: control characters are not allowed",
        host.logged.back());
    for (const std::string& line : host.logged)
        EXPECT_EQ(std::string::npos, line.find(tests::SECRET)) << line;
}

TEST_F(ServerExchange, AnswersGarbage)
{
    for (const std::string request :
         {"", "garbage", "<?xml version=\"1.0\"?><methodCall>", "<methodCall></methodCall>"})
        EXPECT_EQ("failure: CArrayPaser's parse error", answerTo(request)) << request;
    EXPECT_EQ("request: failure: CArrayPaser's parse error", host.logged.front());
}

TEST_F(ServerExchange, AnswersEveryTruncationOfARequest)
{
    const std::string request = tests::shutdownText();
    for (std::size_t size = 0; size + 1 < request.size(); ++size)
        EXPECT_EQ("failure: CArrayPaser's parse error", answerTo(request.substr(0, size))) << size;
}

TEST_F(ServerExchange, AnswersARequestThatIsTooLarge)
{
    writeConfiguration("max-request-bytes = 1000\n");
    EXPECT_EQ("failure: the request is larger than 1000 bytes", answerTo(tests::startText(settingFile)));
    EXPECT_EQ(Lines{}, host.asked);
}

TEST_F(ServerExchange, AnswersARequestThatNeverEnds)
{
    const std::string request = tests::startText(settingFile);
    EXPECT_EQ("failure: the request did not arrive within 1 seconds",
              answerTo(request.substr(0, request.size() / 2), false));
}

TEST_F(ServerExchange, AnswersWithoutWaitingForTheEndOfTheConnection)
{
    writeConfiguration("max-request-seconds = 60\n");
    EXPECT_EQ("failure: the engine is not running", answerTo(tests::shutdownText(), false));
}

TEST_F(ServerExchange, AnswersWhatIsWrongWithItsConfiguration)
{
    writeConfiguration("colour = \"blue\"\n");
    EXPECT_EQ("failure: " + file +
                  ":3:1: colour: is not a known key, only: engine, max-request-bytes, max-request-seconds, "
                  "modules, service, setting-directory, strongswan",
              answerTo(tests::startText(settingFile)));
    std::filesystem::remove(file);
    EXPECT_EQ("failure: " + file + ": No such file or directory", answerTo(tests::startText(settingFile)));
}

TEST_F(ServerExchange, AnswersAValueOfTheWrongKind)
{
    std::string request = tests::shutdownText();
    tests::replaceAll(request, "<int>2</int>", "<string>two</string>");
    EXPECT_EQ("failure: stoi", answerTo(request));
}

TEST_F(ServerExchange, AnswersRulesWithTheSameAddresses)
{
    tests::RequestParts parts;
    parts.settingFile = settingFile;
    parts.used.push_back(parts.used.front());
    EXPECT_EQ("failure: Detect duplicates of key: src addr: 192.0.2.1 :dst addr: 192.0.2.2",
              answerTo(tests::requestText(parts)));
}

TEST_F(ServerExchange, CutsAPathThatIsTooLongToRepeat)
{
    const std::string answer = answerTo(tests::startText("/" + std::string(50000, 'x')));
    EXPECT_EQ(std::string("failure: ").size() + 2000, answer.size());
    EXPECT_EQ(0U, answer.find("failure: setting-file-path: /xxx"));
}

TEST_F(ServerExchange, SaysIfTheClientIsGone)
{
    ASSERT_NE(SIG_ERR, signal(SIGPIPE, SIG_IGN));
    std::array<int, 2> ends = {};
    ASSERT_EQ(0, socketpair(AF_UNIX, SOCK_STREAM, 0, ends.data()));
    close(ends[0]);
    Channel channel{Descriptor(ends[1]), Descriptor(dup(ends[1]))};
    EXPECT_FALSE(exchange(channel, file, limits));
    ASSERT_NE(SIG_ERR, signal(SIGPIPE, SIG_DFL));
}

TEST_F(ServerExchange, GivesUpOnAClientThatDoesNotRead)
{
    limits.answer = 50ms;
    std::array<int, 2> ends = {};
    ASSERT_EQ(0, pipe(ends.data()));
    const std::string fill(4096, 'x');
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    while (write(ends[1], fill.data(), fill.size()) > 0)
        ;
    Channel channel{Descriptor(open("/dev/null", O_RDONLY)), Descriptor(ends[1])};
    EXPECT_FALSE(exchange(channel, file, limits));
    close(ends[0]);
}

} // namespace
