#ifndef TESTS_HOST_HOST_H
#define TESTS_HOST_HOST_H

// A host made of answers: the test program's own system, popen, kill, stat, remove, sleep and usleep stand in
// for libc's, write down what they are asked and answer as the test said. No time passes.

#include <gtest/gtest.h>

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace tests {

using Asked = std::vector<std::string>;

class Host {
public:
    /// The host that the calls of this program reach.
    static Host& instance();

    /// The exit codes of a command line, one a call; the last one stays. A command without any exits with 0.
    Host& exits(const std::string& commandLine, const std::deque<int>& codes);
    /// The raw status that `system` returns for a command line.
    Host& returns(const std::string& commandLine, int status);
    /// What a command line writes, read through popen. Without any popen fails.
    Host& prints(const std::string& commandLine, const std::string& output);
    /// The results of kill, one a call; the last one stays.
    Host& killResults(const std::deque<int>& results);
    /// The ready file is there from the given `stat` on, counted from 1; 0 for never.
    Host& readyAt(int stat);
    Host& readyFileCannotBeRemoved();

    /// What was asked, in order: "COMMAND LINE", "popen COMMAND LINE", "pclose", "kill PID SIGNAL", "stat
    /// PATH", "remove PATH", "sleep SECONDS", "usleep MICROSECONDS".
    const Asked& asked() const { return asked_; }
    /// The same without the given kind, for tests that look at other things.
    Asked askedBut(const std::string& kind) const;
    int count(const std::string& request) const;

    // The calls.
    int onSystem(const std::string& commandLine);
    std::optional<std::string> onPopen(const std::string& commandLine);
    int onKill(int pid, int signal);
    bool onStatReadyFile();
    bool onRemoveReadyFile();
    void note(const std::string& request) { asked_.push_back(request); }

    void reset() { *this = Host(); }

private:
    static int next(std::deque<int>& answers);

    Asked asked_;
    std::map<std::string, std::deque<int>> statuses_;
    std::map<std::string, std::string> outputs_;
    std::deque<int> killResults_;
    int readyAt_ = 1;
    int stats_ = 0;
    bool removable_ = true;
};

/// A fresh host for each test.
class HostTest : public ::testing::Test {
protected:
    HostTest() { host.reset(); }

    Host& host = Host::instance();
};

} // namespace tests

#endif
