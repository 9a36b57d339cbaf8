// Taking of the lock.

#include "ServerLock.h"

#include "Text.h"
#include "Waiting.h"

#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/file.h>
#include <sys/stat.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

constexpr const char* LOCK = ".lock";

} // namespace

ServerLock::ServerLock(const SettingFolder& folder, std::chrono::milliseconds time)
    : file_(openat(folder.descriptor(), LOCK, O_RDWR | O_CREAT | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR))
{
    if (!file_)
        throw std::runtime_error(folder.path() + "/" + LOCK + ": " + programs::systemText(errno));
    if (!waitUntil([this] { return flock(file_.get(), LOCK_EX | LOCK_NB) == 0; }, time))
        throw std::runtime_error("another request is being carried out");
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
