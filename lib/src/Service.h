#ifndef IPSECCFG_SERVICE_H
#define IPSECCFG_SERVICE_H

/// @file
/// Starting, stopping and reconfiguring of the engine service.

#include <string>

namespace norvale::tamber::systemdata::ipseccfg::server {

/// The engine's service process. Its command runs through a shell (system(3)) as it is, so it must come from
/// whom you trust. Not synchronised; launch blocks until the command has ended, which a service does by going
/// to the background.
class Service {
public:
    /// @param cmd the command line of the service's executable, copied
    explicit Service(const std::string& cmd);
    virtual ~Service();

    /// Runs the command line with an option, a blank between them.
    /// @return the command's exit code, 0 to 255; 0 also if it did not run: the wait for the ready file
    ///         (ModuleService) tells
    /// @throws std::runtime_error "Abnormal termination: signal number: N" or
    ///         "Child stopped: signal number: %dN" (the "%d" stands in the text) if signal N ended or stopped
    ///         the command.
    int launch(const std::string& option);

    /// Sends a signal to the service: to the process that the pid file names or, if the file cannot be
    /// opened, to the one that Proc::find finds by the command's name (what follows its last "/", arguments
    /// included).
    /// @param pidFilePath a file that begins with the process id in decimal; whether that process is the
    ///        service is not looked at
    /// @param signal its number
    /// @return the result of kill(2): 0, or -1 with errno set
    /// @throws std::runtime_error "Can't get pid from /proc: cmdname: NAME" if no process is found.
    /// @throws std::invalid_argument "stoi" for a pid file without a number.
    /// @throws std::out_of_range "stoi" for a pid file with a number too large for int.
    int shutdown(const std::string& pidFilePath, int signal);

    /// The same as shutdown; they differ in the signal that the caller chooses.
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
