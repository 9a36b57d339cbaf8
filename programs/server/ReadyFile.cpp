// Removing of the ready file.

#include "ReadyFile.h"

#include "Text.h"
#include "Waiting.h"

#include <cerrno>
#include <stdexcept>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

constexpr const char* READY_FILE = "/tmp/quicksec.ready";

[[noreturn]] void refuse(const std::string& why)
{
    throw std::runtime_error(std::string(READY_FILE) + ": " + why);
}

} // namespace

void removeReadyFile()
{
    struct stat status = {};
    if (lstat(READY_FILE, &status) != 0) {
        if (errno == ENOENT)
            return;
        refuse(programs::systemText(errno));
    }
    if (status.st_uid != 0 && status.st_uid != geteuid())
        refuse("belongs to user " + std::to_string(status.st_uid) + ", neither root nor the server's user");
    if (unlink(READY_FILE) != 0 && errno != ENOENT)
        refuse(programs::systemText(errno));
}

void consumeReadyFile(std::chrono::milliseconds time)
{
    struct stat status = {};
    if (waitUntil([&status] { return lstat(READY_FILE, &status) == 0; }, time))
        unlink(READY_FILE);
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
