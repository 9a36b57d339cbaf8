// Reading of the daemon's log.

#include "Troubles.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/eventfd.h>
#include <sys/stat.h>
#include <syslog.h>
#include <system_error>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::strongswan {

namespace {

constexpr std::size_t LONGEST_LINE = 1024;

// What a line has in it that tells why there is no tunnel.
constexpr const char* TROUBLES[] = {"giving up after ", "peer not responding",  "notify error",
                                    "error notify",     "no CHILD_SA built",    "no shared key found",
                                    "MAC mismatched",   "no private key found", "no trusted ",
                                    "constraint check", "unable to install "};
constexpr const char* TUNNEL[] = {"CHILD_SA ", " established with SPIs "};

bool holds(const std::string& text, const char* part)
{
    return text.find(part) != std::string::npos;
}

[[noreturn]] void fail(const std::string& path)
{
    throw std::runtime_error(path + ": " + std::generic_category().message(errno));
}

} // namespace

Troubles::Troubles(const std::string& pipe, const std::string& file)
    : file_(file)
{
    try {
        if (mkfifo(pipe.c_str(), S_IRUSR | S_IWUSR) != 0)
            fail(pipe);
        // For writing too, so that it has no end when the daemon's is closed.
        pipe_ = open(pipe.c_str(), O_RDWR | O_NONBLOCK | O_NOFOLLOW | O_CLOEXEC);
        end_ = eventfd(0, EFD_CLOEXEC);
        if (pipe_ < 0 || end_ < 0)
            fail(pipe);
        listener_ = std::thread([this] { listen_(); });
    } catch (...) {
        close(pipe_);
        close(end_);
        throw;
    }
}

Troubles::~Troubles()
{
    const std::uint64_t one = 1;
    while (write(end_, &one, sizeof(one)) < 0 && errno == EINTR)
        continue;
    listener_.join();
    close(pipe_);
    close(end_);
}

void Troubles::forget()
{
    const std::lock_guard<std::mutex> lock(mutex_);
    words_.clear();
    keep_();
}

// The daemon waits if nobody takes its words, so whatever happens to them they are taken.
void Troubles::listen_() noexcept
{
    std::string text;
    std::array<char, 4096> buffer = {};
    for (;;) {
        std::array<pollfd, 2> ready = {pollfd{pipe_, POLLIN, 0}, pollfd{end_, POLLIN, 0}};
        if (poll(ready.data(), ready.size(), -1) < 0)
            continue;
        if (ready[1].revents != 0)
            return;
        const ssize_t count = read(pipe_, buffer.data(), buffer.size());
        if (count <= 0)
            continue;
        try {
            text.append(buffer.data(), static_cast<std::size_t>(count));
            for (std::size_t end = text.find('\n'); end != std::string::npos; end = text.find('\n')) {
                take_(text.substr(0, end));
                text.erase(0, end + 1);
            }
            if (text.size() > LONGEST_LINE)
                text.clear();
        } catch (const std::exception& failure) {
            syslog(LOG_WARNING, "the daemon's words are lost: %s", failure.what());
        }
    }
}

// 06[IKE] <protect-0011223344556677|4> received AUTHENTICATION_FAILED notify error
void Troubles::take_(const std::string& line)
{
    const std::size_t begin = line.find("] <");
    const std::size_t bar = line.find('|', begin);
    const std::size_t end = line.find("> ", bar);
    if (begin == std::string::npos || bar == std::string::npos || end == std::string::npos)
        return;
    const std::string connection = line.substr(begin + 3, bar - begin - 3);
    const std::string words = line.substr(end + 2);
    const std::lock_guard<std::mutex> lock(mutex_);
    if (holds(words, TUNNEL[0]) && holds(words, TUNNEL[1])) {
        if (words_.erase(connection) != 0)
            keep_();
    } else if (std::any_of(std::begin(TROUBLES), std::end(TROUBLES),
                           [&words](const char* trouble) { return holds(words, trouble); })) {
        words_[connection] = words;
        keep_();
    }
}

// Whoever reads the file finds all of it.
void Troubles::keep_() const
{
    std::string text;
    for (const auto& [connection, words] : words_)
        text += connection + " " + words + "\n";
    const std::string newFile = file_ + ".new";
    const int fd =
        open(newFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd < 0)
        fail(newFile);
    const bool written = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    if (!written || rename(newFile.c_str(), file_.c_str()) != 0)
        fail(newFile);
}

} // namespace norvale::tamber::systemdata::ipseccfg::strongswan
