#ifndef IPSECCFG_SERVER_SERVER_H
#define IPSECCFG_SERVER_SERVER_H

/// @file
/// Carrying out of a request: what happens to the engine, its setting file and its kernel modules, and what
/// is taken back when a step fails.

#include "Configuration.h"
#include "EngineProcess.h"
#include "EngineSettingManager.h"
#include "Request.h"
#include "ServerLock.h"
#include "SettingFolder.h"
#include "Undo.h"
#include "UnfinishedChange.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string>
#include <sys/types.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

/// How long the server waits for others, once it has its request. A client waits a minute for its answer, and
/// the engine has 40 seconds of it to get ready.
struct Limits {
    std::chrono::milliseconds answer = std::chrono::seconds(10); ///< for the client to take it
    std::chrono::milliseconds lock = std::chrono::seconds(15);   ///< for other servers
    std::chrono::milliseconds pidFile =
        std::chrono::seconds(2);                               ///< for the engine's pid file once it is ready
    std::chrono::milliseconds stop = std::chrono::seconds(10); ///< for the engine to end
    std::chrono::milliseconds putBack =
        std::chrono::seconds(5); ///< for the engine to take its old settings again
};

/// One server, for one request. No other one works on the same setting directory while it exists.
///
/// The engine is told only what the configuration says; nothing of a request is ever part of a command line.
/// SIGTERM and the like end the process at once except while the setting file and the record of it change.
class Server {
public:
    /// Opens the setting directory, waits for its turn and clears up what a killed server has left.
    /// @throws std::runtime_error of SettingFolder and ServerLock
    explicit Server(const Configuration& configuration, const Limits& limits = Limits());

    /// Carries out a request that checkRequest accepted.
    ///
    /// - start: writes the setting file, loads the modules, starts the engine and waits until it is ready. If
    ///   that fails, the engine is stopped, the modules that were not loaded before are removed, and the
    ///   setting file is as it was before.
    /// - restart: writes the setting file, has the engine read it and waits until it is ready. If that fails,
    ///   the setting file is as it was before and the engine is told to read it again.
    /// - shutdown: stops the engine, removes the modules and deletes the setting file. Its path may be empty:
    ///   the file in use is meant.
    ///
    /// A setting file that is not in use any more because another one is, is deleted.
    /// @return what was done, in words for the client; a text that needs no memory, as it is done then
    /// @throws std::exception with the words of what failed: "the engine is already running" and "the engine
    ///         is not running" (nothing has changed then), those of ModuleService, followed by ": " and the
    ///         engine's own words if it left any, those of the setting manager.
    const char* carryOut(const Request& request);

private:
    const char* start_(const Request& request);
    const char* restart_(const Request& request);
    const char* shutdown_(const Request& request);

    pid_t runningEngine_() const;
    void clearUpModules_();
    void clearTheWay_();
    void writeSettings_(const Request& request, Undo& undo);
    std::optional<SettingFile> superseded_() const;
    void acceptSettings_(std::optional<SettingFile>& superseded);
    void launch_();
    void reconfigure_();
    void takeOldSettings_();
    void stopStartedEngine_();
    void chooseFileToDelete_(const std::string& requested);
    void deleteSettings_();
    template <class Step>
    void withEnginesWords_(Step step);

    Configuration configuration_;
    Limits limits_;
    SettingFolder folder_;
    ServerLock lock_;
    UnfinishedChange change_;
    std::unique_ptr<EngineSettingManager> manager_;
    EngineProcess engine_;
};

} // namespace norvale::tamber::systemdata::ipseccfg::configserver

#endif
