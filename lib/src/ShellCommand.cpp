// Running of a command line and judging of how it ended.

#include "ShellCommand.h"

#include <cstdlib>
#include <stdexcept>
#include <sys/wait.h>

namespace norvale::tamber::systemdata::ipseccfg::server {

int runCommand(const std::string& commandLine, const std::string& signalText, int fallback)
{
    const int status = std::system(commandLine.c_str());
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        throw std::runtime_error(signalText + std::to_string(WTERMSIG(status)));
    if (WIFSTOPPED(status))
        throw std::runtime_error("Child stopped: signal number: %d" + std::to_string(WSTOPSIG(status)));
    return fallback;
}

} // namespace norvale::tamber::systemdata::ipseccfg::server
