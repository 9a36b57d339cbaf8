#ifndef TESTS_PROGRAMS_ENGINE_PROGRAM_H
#define TESTS_PROGRAMS_ENGINE_PROGRAM_H

// An engine's program, run with files of the test's own.

#include "server_support.h"

#include <csignal>
#include <gtest/gtest.h>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tests {

class EngineProgram : public ::testing::Test {
protected:
    explicit EngineProgram(const std::string& program)
        : program_(program)
    {}

    ~EngineProgram() override
    {
        const pid_t pid = enginePid();
        if (pid > 0 && lives(pid))
            kill(pid, SIGKILL);
    }

    /// Starts the engine; its status when the process that was started has ended.
    int start(const std::vector<std::string>& more = {})
    {
        Process process(command(more), environment());
        process.readAll();
        return process.wait();
    }

    std::vector<std::string> command(const std::vector<std::string>& more = {}) const
    {
        std::vector<std::string> words = {program_,     "--setting-file", settingFile,
                                          "--pid-file", pidFile,          "--ready-file",
                                          readyFile,    "--reason-file",  reasonFile};
        words.insert(words.end(), more.begin(), more.end());
        return words;
    }

    std::vector<std::string> environment() const
    {
        return {std::string("LD_PRELOAD=") + SYSLOG_CAPTURE_LIBRARY, "SYSLOG_CAPTURE=" + logFile,
                "ASAN_OPTIONS=verify_asan_link_order=0"};
    }

    pid_t enginePid() const { return pidIn(pidFile); }
    bool ready() const { return exists(readyFile); }
    std::string reason() const { return readFile(reasonFile); }
    std::string log() const { return readFile(logFile); }

    TemporaryFolder folder;
    const std::string settingFile = folder / "engine.conf";
    const std::string pidFile = folder / "engine.pid";
    const std::string readyFile = folder / "ready";
    const std::string reasonFile = folder / "reason";
    const std::string logFile = folder / "log";

private:
    std::string program_;
};

} // namespace tests

#endif
