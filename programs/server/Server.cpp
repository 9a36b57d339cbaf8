// The steps of a start, a restart and a shutdown.

#include "Server.h"

#include "KernelModules.h"
#include "ModuleService.h"
#include "ReadyFile.h"
#include "SettingManagers.h"
#include "SignalBlock.h"

#include <csignal>
#include <exception>
#include <list>
#include <stdexcept>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

// The engine as the library drives it.
struct Host {
    Host(EngineSettingManager& manager, const Configuration& configuration)
    {
        manager.getCommand(false, command, option);
        manager.getModuleCommand(true, modules, installOptions);
        manager.getModuleCommand(false, modules, removeOptions);
        service = std::make_unique<server::ModuleService>(
            command, modules, configuration.intervalMicroseconds, configuration.retry);
    }

    std::string command;
    std::string option;
    std::list<std::string> modules;
    std::list<std::string> installOptions;
    std::list<std::string> removeOptions;
    std::unique_ptr<server::ModuleService> service;
};

} // namespace

Server::Server(const Configuration& configuration, const Limits& limits)
    : configuration_(configuration)
    , limits_(limits)
    , folder_(configuration.settingDirectory)
    , lock_(folder_, limits.lock)
    , change_(folder_)
    , manager_(createSettingManager(configuration, folder_))
    , engine_(configuration.pidFile, configuration.serviceCommand)
{
    attempt([this] { change_.clearUp(); });
    attempt([this] { clearUpModules_(); });
}

const char* Server::carryOut(const Request& request)
{
    if (request.scenario == common::ScenarioCommand::Start) {
        if (engine_.find())
            throw std::runtime_error("the engine is already running");
        return start_(request);
    }
    runningEngine_();
    return request.scenario == common::ScenarioCommand::Restart ? restart_(request) : shutdown_(request);
}

const char* Server::start_(const Request& request)
{
    manager_->setSettingFilePath(request.settingFilePath);
    clearTheWay_();
    std::optional<SettingFile> old = superseded_();
    const KernelModules modules(configuration_.modules, folder_);
    Undo undo;
    writeSettings_(request, undo);
    undo.add([&modules] { modules.removeAdded(); });
    undo.add([this] { stopStartedEngine_(); });
    modules.note();
    launch_();
    undo.release();
    acceptSettings_(old);
    modules.dropNote();
    return "the engine was started";
}

const char* Server::restart_(const Request& request)
{
    manager_->setSettingFilePath(request.settingFilePath);
    clearTheWay_();
    std::optional<SettingFile> old = superseded_();
    Undo undo;
    writeSettings_(request, undo);
    try {
        reconfigure_();
    } catch (...) {
        undo.run();
        takeOldSettings_();
        throw;
    }
    undo.release();
    acceptSettings_(old);
    return "the engine took over the new settings";
}

const char* Server::shutdown_(const Request& request)
{
    chooseFileToDelete_(request.settingFilePath);
    const Host host(*manager_, configuration_);
    const pid_t pid = runningEngine_();
    const PidFileCopy pidFile(pid);
    const KernelModules modules = KernelModules::ofRunningEngine(configuration_.modules, folder_);
    modules.note();
    std::exception_ptr failure;
    try {
        host.service->shutdown(pidFile.path(), host.removeOptions, configuration_.stopSignal);
    } catch (...) {
        failure = std::current_exception();
    }
    if (!engine_.waitUntilGone(pid, limits_.stop)) {
        modules.dropNote();
        if (failure)
            std::rethrow_exception(failure);
        throw std::runtime_error("the engine does not end");
    }
    attempt([&modules] { modules.dropNoteOfRemoved(); });
    if (failure) {
        // Without its engine a setting file is nothing but a secret lying about, whatever became of the
        // modules.
        attempt([this] { deleteSettings_(); });
        std::rethrow_exception(failure);
    }
    deleteSettings_();
    return "the engine was shut down";
}

// What a killed server has loaded is nobody's, unless the engine has come up nevertheless.
void Server::clearUpModules_()
{
    if (!KernelModules::areNoted(folder_))
        return;
    const KernelModules modules(configuration_.modules, folder_);
    if (engine_.find())
        modules.dropNote();
    else
        modules.removeAdded();
}

pid_t Server::runningEngine_() const
{
    const auto pid = engine_.find();
    if (!pid)
        throw std::runtime_error("the engine is not running");
    return *pid;
}

// Removes what an earlier run may have left and somebody could take for something of this one.
void Server::clearTheWay_()
{
    removeReadyFile();
    folder_.clearReason();
}

void Server::writeSettings_(const Request& request, Undo& undo)
{
    const SignalBlock block;
    undo.add([this] { change_.end(); });
    change_.begin(request.settingFilePath);
    undo.add([this] { manager_->putSettingFileBack(); });
    manager_->setFipsMode(request.fipsMode);
    manager_->writeSettingFile(request.policy, request.defaultRules, request.certificates);
    undo.add([this, previous = folder_.inUse()] {
        if (previous)
            folder_.setInUse(*previous);
        else
            folder_.clearInUse();
    });
    folder_.setInUse(request.settingFilePath);
}

// The file that the new one takes the place of, if it is another one and can be deleted.
std::optional<SettingFile> Server::superseded_() const
{
    const auto used = folder_.inUse();
    if (!used || *used == manager_->getSettingFilePath())
        return std::nullopt;
    try {
        return folder_.locate(*used);
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
}

// Needs no memory: the engine has the new settings.
void Server::acceptSettings_(std::optional<SettingFile>& superseded)
{
    manager_->keepSettingFile();
    if (superseded)
        attempt([&superseded] { superseded->remove(); });
    change_.end();
}

void Server::launch_()
{
    withEnginesWords_([this] {
        const Host host(*manager_, configuration_);
        host.service->launch(host.option, host.installOptions);
        if (!engine_.waitUntilThere(limits_.pidFile))
            throw std::runtime_error("the engine ended after its start");
    });
}

void Server::reconfigure_()
{
    withEnginesWords_([this] {
        const Host host(*manager_, configuration_);
        const PidFileCopy pidFile(runningEngine_());
        host.service->reconfig(pidFile.path(), configuration_.reconfigureSignal);
        if (!engine_.find())
            throw std::runtime_error("the engine ended instead of taking over the new settings");
        // Anybody can make a ready file.
        if (!folder_.reason().empty())
            throw std::runtime_error("the engine refused the new settings");
    });
}

void Server::takeOldSettings_()
{
    const auto pid = engine_.find();
    if (pid && kill(*pid, configuration_.reconfigureSignal) == 0)
        consumeReadyFile(limits_.putBack);
}

// An engine that came up, but not as far as it should.
void Server::stopStartedEngine_()
{
    const auto pid = engine_.find();
    for (const int signal : {configuration_.stopSignal, SIGKILL}) {
        if (!pid || !engine_.is(*pid))
            break;
        kill(*pid, signal);
        engine_.waitUntilGone(*pid, limits_.stop);
    }
    removeReadyFile();
}

void Server::chooseFileToDelete_(const std::string& requested)
{
    const auto used = folder_.inUse();
    if (!requested.empty()) {
        manager_->setSettingFilePath(requested);
        if (used && requested != *used)
            throw std::runtime_error("setting-file-path: " + requested +
                                     ": is not the setting file in use, which is " + *used);
        return;
    }
    if (!used)
        return;
    try {
        manager_->setSettingFilePath(*used);
    } catch (const std::runtime_error&) { // NOLINT(bugprone-empty-catch)
        // Whatever became of the file in use, the engine is stopped.
    }
}

// Even without memory for a note.
void Server::deleteSettings_()
{
    attempt([this] {
        const std::string path = manager_->getSettingFilePath();
        if (!path.empty())
            change_.beginRemoval(path);
    });
    folder_.clearReason();
    folder_.clearInUse();
    try {
        manager_->deleteSettingFile();
    } catch (...) {
        change_.end();
        throw;
    }
    change_.end();
}

// Adds what the engine says about a failed step to what the library says.
template <class Step>
void Server::withEnginesWords_(Step step)
{
    try {
        step();
    } catch (const std::exception& failure) {
        std::string words;
        attempt([this, &words] { words = folder_.reason(); });
        folder_.clearReason();
        throw std::runtime_error(words.empty() ? failure.what() : failure.what() + (": " + words));
    }
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
