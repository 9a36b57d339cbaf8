#ifndef TESTS_PROGRAMS_SERVER_CARRY_OUT_H
#define TESTS_PROGRAMS_SERVER_CARRY_OUT_H

// A server whose host is a fake one, and the requests that it carries out.

#include "server_host.h"

#include "Server.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace tests {

class ServerCarryOut : public ::testing::Test {
protected:
    ServerCarryOut();

    /// Carries out a request; "success: WORDS" or "failure: WORDS".
    std::string carryOut(const std::string& request);

    std::string start() { return carryOut(startText(settingFile)); }
    std::string restart() { return carryOut(restartText(settingFile)); }
    std::string shutDown() { return carryOut(shutdownText()); }

    /// The engine's command line.
    std::string launch() const;

    /// Has the configuration name two modules.
    void addModules();

    std::string settings() const { return readFile(settingFile); }
    std::vector<std::string> files() const { return namesIn(directory); }

    ServerHost host;
    const std::string directory = host.folder / "settings";
    const std::string settingFile = directory + "/engine.conf";
    const std::string otherFile = directory + "/other.conf";
    norvale::tamber::systemdata::ipseccfg::configserver::Configuration configuration;
    norvale::tamber::systemdata::ipseccfg::configserver::Limits limits;
};

} // namespace tests

#endif
