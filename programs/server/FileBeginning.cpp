// Reading of small files.

#include "FileBeginning.h"

#include "Descriptor.h"
#include "Text.h"

#include <cerrno>
#include <fcntl.h>
#include <stdexcept>
#include <sys/stat.h>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::configserver {

namespace {

// Whether the error says something about the file, and not only that there is no way to tell.
bool isOfFile(int error)
{
    switch (error) {
    case EINTR:
    case EIO:
    case EMFILE:
    case ENFILE:
    case ENOMEM:
        return false;
    default:
        return true;
    }
}

[[noreturn]] void fail(const std::string& path)
{
    throw std::runtime_error(path + ": " + programs::systemText(errno));
}

} // namespace

std::string beginningOf(int folder, const std::string& path, std::size_t most)
{
    const Descriptor file(openat(folder, path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    if (!file && !isOfFile(errno))
        fail(path);
    struct stat status = {};
    if (!file || fstat(file.get(), &status) != 0 || !S_ISREG(status.st_mode))
        return std::string();
    std::string content(most, '\0');
    std::size_t size = 0;
    while (size < most) {
        const ssize_t count = read(file.get(), &content[size], most - size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count < 0 && !isOfFile(errno))
            fail(path);
        if (count <= 0)
            break;
        size += static_cast<std::size_t>(count);
    }
    content.resize(size);
    return content;
}

} // namespace norvale::tamber::systemdata::ipseccfg::configserver
