#ifndef TESTS_PROGRAMS_SERVERPROCESS_H
#define TESTS_PROGRAMS_SERVERPROCESS_H

// The real server with the real standalone engine, as processes: SERVER, STANDALONE and SYSLOG_CAPTURE_LIBRARY are
// their paths.

#include "server_support.h"

#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include <vector>

namespace tests {

/// A configuration, a setting folder and a log of a test's own; the engine is gone at the end.
class ServerProcess : public ::testing::Test {
protected:
    ServerProcess()
    {
        std::filesystem::remove("/tmp/quicksec.ready");
        configure();
    }

    ~ServerProcess() override
    {
        const pid_t pid = enginePid();
        if (pid > 0 && engineLives())
            kill(pid, SIGKILL);
        std::filesystem::remove("/tmp/quicksec.ready");
    }

    void configure(const std::string& top = "", const std::string& end = "")
    {
        writeFile(file, "engine = \"standalone\"\nsetting-directory = \"" + directory + "\"\n" + top +
                            "[service]\ncommand = \"" STANDALONE "\"\npid-file = \"" + pidFile +
                            "\"\nstop-signal = \"TERM\"\nreconfigure-signal = \"HUP\"\n" + end);
    }

    /// Configures a script as the engine, started once.
    void configureScript(const std::string& script)
    {
        writeFile(folder / "engine", "#!/bin/sh\n" + script);
        std::filesystem::permissions(folder / "engine", std::filesystem::perms::owner_all);
        configure();
        std::string text = readFile(file);
        replaceAll(text, STANDALONE, folder / "engine");
        writeFile(file, text + "[modules]\nretry = 1\ninterval-us = 0\n");
    }

    std::vector<std::string> environment() const
    {
        return {"IPSECCFG_SERVER_CONFIG=" + file,
                std::string("LD_PRELOAD=") + SYSLOG_CAPTURE_LIBRARY,
                "SYSLOG_CAPTURE=" + logFile,
                "ASAN_OPTIONS=verify_asan_link_order=0",
                "PATH=/nowhere",
                "IFS=x",
                "ENV=" + (folder / "env")};
    }

    /// What the server answers to a request, in words. Its exit status is 0 for any answer.
    /// @param caller what starts the server
    std::string ask(const std::string& request, std::vector<std::string> caller = {})
    {
        caller.emplace_back(SERVER);
        Process server(caller, environment());
        std::thread writer([&] {
            server.send(request);
            server.endInput();
        });
        const std::string answer = server.readAll();
        writer.join();
        EXPECT_EQ(0, server.wait());
        return inWords(answer);
    }

    std::string start() { return ask(startText(settingFile)); }
    std::string restart() { return ask(restartText(settingFile)); }
    std::string shutDown() { return ask(shutdownText()); }

    pid_t enginePid() const { return pidIn(pidFile); }
    bool engineLives() const
    {
        std::error_code none;
        const pid_t pid = enginePid();
        return pid > 0 && lives(pid) &&
               std::filesystem::read_symlink("/proc/" + std::to_string(pid) + "/exe", none) == STANDALONE;
    }
    std::vector<std::string> files() const { return namesIn(directory); }

    TemporaryFolder folder;
    const std::string file = folder / "server.toml";
    const std::string directory = folder / "settings";
    const std::string settingFile = directory + "/engine.conf";
    const std::string pidFile = folder / "engine.pid";
    const std::string logFile = folder / "log";
};

} // namespace tests

#endif
