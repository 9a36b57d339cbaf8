// Starting, stopping and reconfiguring of the engine service.

#include "Exceptions.h"
#include "Host.h"
#include "Service.h"

#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <unistd.h>

namespace tests {
namespace {

using norvale::tamber::systemdata::ipseccfg::server::Service;

class EngineService : public HostTest {
protected:
    ~EngineService() override { std::filesystem::remove(pidFile_); }

    void writePidFile(const std::string& content) { std::ofstream(pidFile_) << content; }

    const std::string pidFile_ = ::testing::TempDir() + "engine-" + std::to_string(getpid()) + ".pid";
    Service service_{"/usr/sbin/engine"};
};

// Both send a signal to the service; the caller chooses which.
const struct {
    const char* name;
    int (Service::*send)(const std::string&, int);
} SENDERS[] = {{"shutdown", &Service::shutdown}, {"reconfig", &Service::reconfig}};

TEST_F(EngineService, IsLaunchedByItsCommandAndOption)
{
    EXPECT_EQ(0, service_.launch("-d"));
    EXPECT_EQ(0, service_.launch(""));
    EXPECT_EQ((Asked{"/usr/sbin/engine -d", "/usr/sbin/engine "}), host.asked());
}

TEST_F(EngineService, ReturnsTheCommandsExitCode)
{
    for (const int code : {0, 1, 127, 255}) {
        host.reset();
        host.exits("/usr/sbin/engine ", {code});
        EXPECT_EQ(code, service_.launch(""));
    }
}

TEST_F(EngineService, ReportsASignalThatEndedOrStoppedTheCommand)
{
    const struct {
        int status;
        const char* text;
    } rows[] = {{15, "Abnormal termination: signal number: 15"},
                {6 | 0x80, "Abnormal termination: signal number: 6"},
                {(20 << 8) | 0x7f, "Child stopped: signal number: %d20"}};
    for (const auto& row : rows) {
        host.reset();
        host.returns("/usr/sbin/engine ", row.status);
        EXPECT_EQ(row.text, textThrownBy<std::runtime_error>([this] { service_.launch(""); }));
    }
}

TEST_F(EngineService, CountsACommandThatDidNotRunAsLaunched)
{
    host.returns("/usr/sbin/engine ", -1);
    EXPECT_EQ(0, service_.launch(""));
}

TEST_F(EngineService, SignalsTheProcessOfThePidFile)
{
    const struct {
        const char* content;
        const char* asked;
    } rows[] = {{"123\n", "kill 123 15"}, {"123", "kill 123 15"},    {" \n 42 rest", "kill 42 15"},
                {"7x", "kill 7 15"},      {"007\n8\n", "kill 7 15"}, {"-1", "kill -1 15"}};
    for (const auto& sender : SENDERS) {
        for (const auto& row : rows) {
            host.reset();
            writePidFile(row.content);
            EXPECT_EQ(0, (service_.*sender.send)(pidFile_, 15)) << sender.name;
            EXPECT_EQ((Asked{row.asked}), host.asked()) << sender.name;
        }
    }
}

TEST_F(EngineService, PassesTheSignalOnThatItIsGiven)
{
    writePidFile("5");
    for (const auto& sender : SENDERS) {
        host.reset();
        (service_.*sender.send)(pidFile_, 1);
        EXPECT_EQ((Asked{"kill 5 1"}), host.asked()) << sender.name;
    }
}

TEST_F(EngineService, RefusesAFolderAsAPidFileThatIsEmpty)
{
    std::filesystem::remove(pidFile_);
    std::filesystem::create_directory(pidFile_);
    for (const auto& sender : SENDERS)
        EXPECT_EQ("stoi", textThrownBy<std::invalid_argument>([&] { (service_.*sender.send)(pidFile_, 15); }))
            << sender.name;
    EXPECT_EQ(Asked{}, host.asked());
}

TEST_F(EngineService, RefusesAPidFileWithoutAUsableNumber)
{
    for (const auto& sender : SENDERS) {
        for (const char* const content : {"", "\n", "engine"}) {
            writePidFile(content);
            EXPECT_EQ("stoi",
                      textThrownBy<std::invalid_argument>([&] { (service_.*sender.send)(pidFile_, 15); }))
                << sender.name << content;
        }
        writePidFile("99999999999");
        EXPECT_EQ("stoi", textThrownBy<std::out_of_range>([&] { (service_.*sender.send)(pidFile_, 15); }));
    }
    EXPECT_EQ(Asked(), host.asked());
}

TEST_F(EngineService, IsFoundByItsNameWithoutAPidFile)
{
    const struct {
        const char* command;
        const char* name;
    } rows[] = {{"/usr/sbin/engine", "engine"},
                {"engine", "engine"},
                {"/usr/sbin/engine -d", "engine -d"},
                {"/usr/sbin/engine -c /etc/engine.conf", "engine.conf"}};
    for (const auto& sender : SENDERS) {
        for (const auto& row : rows) {
            host.reset();
            host.prints(std::string("pidof ") + row.name, "321\n");
            Service service(row.command);
            EXPECT_EQ(0, (service.*sender.send)(pidFile_, 15)) << row.command;
            EXPECT_EQ((Asked{std::string("popen pidof ") + row.name, "pclose", "kill 321 15"}), host.asked());
        }
    }
}

TEST_F(EngineService, ReportsAProcessThatIsNotFound)
{
    host.prints("pidof engine -d", "");
    Service service("/usr/sbin/engine -d");
    for (const auto& sender : SENDERS)
        EXPECT_EQ("Can't get pid from /proc: cmdname: engine -d",
                  textThrownBy<std::runtime_error>([&] { (service.*sender.send)("/no/such.pid", 15); }))
            << sender.name;
}

TEST_F(EngineService, ReturnsAFailedSignalAndDoesNotThrowIt)
{
    writePidFile("123");
    host.killResults({-1});
    for (const auto& sender : SENDERS)
        EXPECT_EQ(-1, (service_.*sender.send)(pidFile_, 15)) << sender.name;
}

} // namespace
} // namespace tests
