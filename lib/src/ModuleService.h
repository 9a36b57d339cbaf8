#ifndef IPSECCFG_MODULESERVICE_H
#define IPSECCFG_MODULESERVICE_H

/// @file
/// Bringing the engine up and down on the host.

#include "Module.h"
#include "Service.h"

#include <cstddef>
#include <list>
#include <memory>
#include <string>

namespace norvale::tamber::systemdata::ipseccfg::server {

/// Loads the engine's kernel modules in order, starts its service and waits until it is ready; stops and
/// unloads in reverse; reconfigures.
///
/// A step is attempted until it returns 0, `retry` times at most, with a pause after every failed attempt.
/// Nothing is undone after a failure, and nothing here remembers whether the engine is up. The engine is
/// ready when it has made the file "/tmp/quicksec.ready", which is deleted then; the wait lasts 40 seconds at
/// most. Exceptions of Module and Service (signals, extensions, pids) end an operation at once and pass
/// unchanged. Not synchronised; every operation blocks.
class ModuleService {
public:
    /// Nothing is run or looked at here.
    /// @param serviceCommand the service's command line, as for Service
    /// @param modulePaths the modules' files in the order in which they are loaded
    /// @param interval the pause in microseconds
    /// @param retry attempts of each step; with 0 no step is attempted, which counts as success
    ModuleService(const std::string& serviceCommand, const std::list<std::string>& modulePaths,
                  std::size_t interval, std::size_t retry);
    virtual ~ModuleService();

    /// Loads the modules, starts the service and waits until it is ready.
    /// @param serviceOption what the service's command line ends in; may be empty
    /// @param moduleOptions one for each module, in the order of the modules
    /// @return 0
    /// @throws std::runtime_error
    ///         "number of modules and options mismatch in launch" before anything is run;
    ///         "Can't install module" if the last module could not be loaded (the others are not judged);
    ///         "Can't start service"; "wait limit reached"; "Cant't remove ready file".
    int launch(const std::string& serviceOption, const std::list<std::string>& moduleOptions);

    /// Stops the service, then unloads the modules, the last one first, each with its own option. The ready
    /// file is not waited for.
    /// @param pidFilePath the service's pid file, as for Service::shutdown
    /// @param moduleOptions one for each module, in the order of the modules
    /// @param signal what the service ends at, SIGTERM for example
    /// @return 0
    /// @throws std::runtime_error
    ///         "Can't stop service"; then
    ///         "number of modules and options mismatch in shutdown" with no module unloaded;
    ///         "Can't remove module" if the first module of the list could not be unloaded (the others are
    ///         not judged).
    int shutdown(const std::string& pidFilePath, const std::list<std::string>& moduleOptions, int signal);

    /// Signals the service and waits until it is ready again.
    /// @param pidFilePath the service's pid file, as for Service::reconfig
    /// @param signal what the service reads its settings again at, SIGHUP for example
    /// @return 0
    /// @throws std::runtime_error
    ///         "Can't re-configure service"; "wait limit reached"; "Cant't remove ready file".
    int reconfig(const std::string& pidFilePath, int signal);

private:
    ModuleService(const ModuleService&) = delete;
    ModuleService& operator=(const ModuleService&) = delete;

    template <class Step>
    int retried_(Step step) const;
    int waitReady_(int limit);

    Service srv_;
    std::list<std::shared_ptr<Module>> modList_;
    const std::size_t interval_;
    const std::size_t retry_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::server

#endif
