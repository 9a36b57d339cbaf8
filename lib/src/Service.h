#ifndef IPSECCFG_SERVICE_H
#define IPSECCFG_SERVICE_H

/// @file
/// Starting, stopping and reconfiguring of the engine service.

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::server {

/// The engine's service process. Its command runs through a shell as it is. Not synchronised.
class Service {
public:
    /// @param cmd the command line of the service's executable
    explicit Service(const std::string& cmd);
    virtual ~Service();

    /// Runs the command line with an option.
    /// @return the command's exit code; 0 if it did not run
    /// @throws std::runtime_error "Abnormal termination: signal number: N" or "Child stopped: signal number:
    /// %dN" (the "%d" stands
    ///         in the text) if a signal ended or stopped the command.
    int launch(const std::string& option);

    /// Sends a signal to the service: to the process that the pid file names or, if the file cannot be
    /// opened, to the one that Proc::find finds by the command's name (what follows its last "/", arguments
    /// included).
    /// @return the result of kill, 0 or -1
    /// @throws std::runtime_error "Can't get pid from /proc: cmdname: NAME" if no process is found.
    /// @throws std::invalid_argument, std::out_of_range of the number conversion for a pid file without a
    /// usable number.
    int shutdown(const std::string& pidFilePath, int signal);

    /// The same as shutdown; the caller chooses the signal.
    int reconfig(const std::string& pidFilePath, int signal);

private:
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    virtual int doLaunch_(const std::string& option);
    virtual int doShutdown_(const std::string& pidFilePath, int signal);
    virtual int doReconfig_(const std::string& pidFilePath, int signal);

    int doShutdownAndReconfig_(const std::string& pidFilePath, int signal);

    std::string cmd_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::server

#endif
