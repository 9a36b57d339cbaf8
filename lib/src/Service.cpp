// Starting, stopping and reconfiguring of the engine service.

#include "Service.h"

#include "Proc.h"
#include "ShellCommand.h"

#include <csignal>
#include <fstream>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::server {

namespace {

// A service that did not run at all counts as started: the wait for its ready file judges it.
constexpr int NOT_RUN = 0;

int readPid(std::istream& pidFile)
{
    std::string content;
    char piece[64];
    while (pidFile.read(piece, sizeof piece), pidFile.gcount() > 0)
        content.append(piece, static_cast<std::size_t>(pidFile.gcount()));
    return std::stoi(content, nullptr, 10);
}

int findPid(const std::string& command)
{
    const std::string name = command.substr(command.rfind('/') + 1);
    const int pid = Proc::find(name);
    if (pid == -1)
        throw std::runtime_error("Can't get pid from /proc: cmdname: " + name);
    return pid;
}

} // namespace

Service::Service(const std::string& cmd)
    : cmd_(cmd)
{}

Service::~Service() = default;

int Service::launch(const std::string& option)
{
    return doLaunch_(option);
}

int Service::shutdown(const std::string& pidFilePath, int signal)
{
    return doShutdown_(pidFilePath, signal);
}

int Service::reconfig(const std::string& pidFilePath, int signal)
{
    return doReconfig_(pidFilePath, signal);
}

int Service::doLaunch_(const std::string& option)
{
    return runCommand(cmd_ + " " + option, "Abnormal termination: signal number: ", NOT_RUN);
}

int Service::doShutdown_(const std::string& pidFilePath, int signal)
{
    return doShutdownAndReconfig_(pidFilePath, signal);
}

int Service::doReconfig_(const std::string& pidFilePath, int signal)
{
    return doShutdownAndReconfig_(pidFilePath, signal);
}

int Service::doShutdownAndReconfig_(const std::string& pidFilePath, int signal)
{
    std::ifstream pidFile(pidFilePath);
    const int pid = pidFile.is_open() ? readPid(pidFile) : findPid(cmd_);
    // A failure is returned, not thrown: it is one failed attempt of a step that may be tried again.
    return kill(pid, signal);
}

} // namespace norvale::tamber::systemdata::ipseccfg::server
