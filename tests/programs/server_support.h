#ifndef TESTS_PROGRAMS_SERVER_SUPPORT_H
#define TESTS_PROGRAMS_SERVER_SUPPORT_H

// Folders, requests and processes for the tests of the server and its engine.

#include "Certificate.h"
#include "FilterRule.h"
#include "IPsecPolicy.h"
#include "ObjectXMLMapping.h"

#include <chrono>
#include <functional>
#include <list>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tests {

/// A folder of its own, gone with everything in it at the end.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return path_; }
    std::string operator/(const std::string& name) const { return path_ + "/" + name; }

private:
    std::string path_;
};

void writeFile(const std::string& path, const std::string& content);
/// The content; "<no file>" if there is none.
std::string readFile(const std::string& path);
bool exists(const std::string& path);
/// What lies in a folder, sorted; the server's lock is left out.
std::vector<std::string> namesIn(const std::string& folder);
/// The permission bits.
unsigned modeOf(const std::string& path);
void replaceAll(std::string& text, const std::string& from, const std::string& to);

/// Waits until a condition holds, at most ten seconds. Returns whether it does.
bool eventually(const std::function<bool()>& condition);

/// What a request is made of. At first: a policy with a pre-shared key, one rule to protect, bypass and
/// discard each, and two certificates.
struct RequestParts {
    RequestParts();

    norvale::tamber::systemdata::ipseccfg::common::ScenarioCommand::Type scenario =
        norvale::tamber::systemdata::ipseccfg::common::ScenarioCommand::Start;
    std::string settingFile;
    bool fips = false;
    std::string nameSpace;
    norvale::tamber::systemdata::ipseccfg::common::PayloadPtr phase1;
    norvale::tamber::systemdata::ipseccfg::common::PayloadPtr phase2;
    norvale::tamber::systemdata::ipseccfg::common::FilterSet used;
    norvale::tamber::systemdata::ipseccfg::common::FilterSet others;
    std::list<norvale::tamber::systemdata::ipseccfg::common::CertificatePtr> certificates;
};

/// The pre-shared key of the parts above.
extern const std::string SECRET;

/// The parts as a client sends them. A shutdown is the scenario alone.
std::string requestText(const RequestParts& parts);
std::string startText(const std::string& settingFile);
std::string restartText(const std::string& settingFile);
std::string shutdownText(const std::string& settingFile = "");

/// An answer as a client reads it.
struct ReadAnswer {
    int status = -1; ///< -1 if the text is no answer
    std::string detail;
};
ReadAnswer readAnswer(const std::string& text);
/// "success: DETAIL", "failure: DETAIL" or "no answer: TEXT".
std::string inWords(const std::string& text);

/// A program that was started, with its standard input and output on one socket; ended and waited for at the
/// end.
class Process {
public:
    /// @param environment "NAME=VALUE"
    explicit Process(const std::vector<std::string>& command,
                     const std::vector<std::string>& environment = {});
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    pid_t pid() const { return pid_; }
    /// Returns whether the other side took all of it.
    bool send(const std::string& text);
    void endInput();
    /// Closes the socket.
    void hangUp();
    /// Whether the other side has read all that was sent.
    bool hasReadAll() const;
    /// Waits until the other side has sent something or has ended; says whether it did in that time.
    bool hasAnswered(std::chrono::milliseconds time) const;
    /// Reads until the other side ends; at most for a minute.
    std::string readAll();
    /// Waits for the end. The exit status, or minus the signal.
    int wait();
    /// Whether the end left a core, once waited for.
    bool hasLeftACore() const;
    void signal(int number);

private:
    pid_t pid_ = -1;
    int socket_ = -1;
    int status_ = -1;
};

/// Waits until the system says that a process that was just spawned runs another program than this one:
/// posix_spawn may return a moment earlier.
void waitForProgramOf(pid_t pid);
/// Whether the process exists and is no zombie.
bool lives(pid_t pid);
/// What a pid file says; -1 if nothing.
pid_t pidIn(const std::string& file);

} // namespace tests

#endif
