#ifndef TESTS_REQUESTER_SUPPORT_H
#define TESTS_REQUESTER_SUPPORT_H

// What the tests of the request channel share: a scripted server, one exchange with it, and a look at what it
// leaves.

#include "CArrayParser.h"
#include "CRequester.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <ostream>
#include <string>
#include <sys/wait.h>

namespace tests {

namespace fs = std::filesystem;
using norvale::tamber::systemdata::parser::CArrayParser;
using norvale::tamber::systemdata::parser::CParser;
using norvale::tamber::systemdata::parser::Type;
using norvale::tamber::systemdata::requester::CRequester;

constexpr std::size_t SMALL = 10;
constexpr std::size_t LARGE = 5'000'000; // far more than a socket holds

/// What became of the three steps of an exchange.
struct Outcome {
    bool sent;     ///< serialize returned 0
    bool ended;    ///< endOfTransmission returned 0
    bool answered; ///< parse returned 0
};

constexpr Outcome ANSWERED{true, true, true};
constexpr Outcome NOT_ANSWERED{true, true, false};
constexpr Outcome NOT_SENT{false, false, false};

inline bool operator==(const Outcome& one, const Outcome& other)
{
    return one.sent == other.sent && one.ended == other.ended && one.answered == other.answered;
}

inline std::ostream& operator<<(std::ostream& out, const Outcome& outcome)
{
    return out << (outcome.sent ? "sent" : "not sent") << ", " << (outcome.ended ? "ended" : "not ended")
               << ", " << (outcome.answered ? "answered" : "not answered");
}

inline int openDescriptors()
{
    int count = 0;
    for ([[maybe_unused]] const fs::directory_entry& entry : fs::directory_iterator("/proc/self/fd"))
        ++count;
    return count;
}

/// Whether this process has no child, not even one that has ended.
inline bool hasNoChild()
{
    return ::waitpid(-1, nullptr, WNOHANG) == -1 && errno == ECHILD;
}

/// Sets what the servers that are started from now on do; see requester_server.cpp.
inline void serversDo(const std::string& script)
{
    ::setenv("REQUESTER_SCRIPT", script.c_str(), 1);
}

/// Makes a request to a command, with one structure that holds so many bytes of text.
inline void fill(CArrayParser& request, const std::string& command, std::size_t bytes)
{
    auto structure = std::make_unique<CParser>();
    structure->addMember("text", std::string(bytes, 'x'), Type::string, false);
    request.setCommand(command);
    request.addElement(structure.get());
    static_cast<void>(structure.release());
}

/// The members of an answer's one structure.
inline std::map<std::string, std::string> membersOf(CArrayParser& answer)
{
    std::map<std::string, std::string> members;
    for (CParser* structure : answer.getElements()) {
        structure->positionToFirstMember();
        try {
            for (;;) {
                auto& member = structure->getNextMember();
                members[member.getName()] = member.getValue();
            }
        } catch (const std::out_of_range&) {
            // that was the last one
        }
    }
    return members;
}

/// Runs the three steps whatever becomes of the one before. What the answer holds goes to `answer`.
inline Outcome exchangeOver(CRequester& requester, CArrayParser& request, CArrayParser& answer)
{
    Outcome outcome{};
    outcome.sent = request.serialize(requester.getOStream()) == 0;
    outcome.ended = requester.endOfTransmission() == 0;
    outcome.answered = answer.parse(requester.getIStream()) == 0;
    return outcome;
}

/// One exchange with a server that follows the script.
inline Outcome exchange(const std::string& script, std::size_t requestBytes = SMALL, int seconds = 20,
                        const std::string& command = REQUESTER_SERVER)
{
    serversDo(script);
    CArrayParser request;
    CArrayParser answer;
    fill(request, command, requestBytes);
    CRequester requester(seconds);
    return exchangeOver(requester, request, answer);
}

template <class Action>
std::chrono::milliseconds durationOf(Action action)
{
    const auto start = std::chrono::steady_clock::now();
    action();
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start);
}

/// Every test has a folder of its own, and fails if it leaves a descriptor or a child.
class RequesterTest : public testing::Test {
protected:
    RequesterTest()
    {
        std::string pattern = (fs::temp_directory_path() / "requester.XXXXXX").string();
        folder = ::mkdtemp(pattern.data());
        ::setenv("REQUESTER_FOLDER", folder.c_str(), 1);
        descriptors_ = openDescriptors();
    }
    ~RequesterTest() override { fs::remove_all(folder); }
    RequesterTest(const RequesterTest&) = delete;
    RequesterTest& operator=(const RequesterTest&) = delete;

    void TearDown() override
    {
        EXPECT_EQ(descriptors_, openDescriptors());
        EXPECT_TRUE(hasNoChild());
    }

    /// The process id that the server's step "pid" has told.
    pid_t serverPid() const
    {
        pid_t pid = 0;
        std::ifstream(folder / "pid") >> pid;
        return pid;
    }

    bool hasMark() const { return fs::exists(folder / "mark"); }

    fs::path folder;

private:
    int descriptors_;
};

} // namespace tests

#endif
