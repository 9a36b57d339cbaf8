// A listener between the engine's control program and its daemon.

#include "vici_proxy.h"

#include "server_support.h"

#include <array>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tests {

namespace vici = norvale::tamber::systemdata::ipseccfg::vici;

namespace {

sockaddr_un addressOf(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path))
        throw std::runtime_error(path + " is too long");
    std::memcpy(address.sun_path, path.c_str(), path.size());
    return address;
}

// Passes on what there is; false at the end.
bool pass(int from, int to, std::string* kept)
{
    std::array<char, 65536> buffer = {};
    const ssize_t count = read(from, buffer.data(), buffer.size());
    if (count <= 0)
        return false;
    if (kept != nullptr)
        kept->append(buffer.data(), static_cast<std::size_t>(count));
    return send(to, buffer.data(), static_cast<std::size_t>(count), MSG_NOSIGNAL) == count;
}

} // namespace

ViciProxy::ViciProxy(const std::string& path, const std::string& server)
    : server_(server)
    , listener_(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0))
{
    const sockaddr_un address = addressOf(path);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as the system takes it
    if (bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 ||
        listen(listener_, 4) != 0)
        throw std::runtime_error(path + " cannot be listened at");
    thread_ = std::thread([this] { serve_(); });
}

ViciProxy::~ViciProxy()
{
    shutdown(listener_, SHUT_RDWR);
    thread_.join();
    close(listener_);
}

ViciProxy::Requests ViciProxy::takeRequests()
{
    constexpr std::size_t LENGTH = 4;
    if (!eventually([this] { return !busy_.load(); }))
        throw std::runtime_error("a client is still connected");
    Requests requests;
    std::size_t at = 0;
    while (at + LENGTH <= sent_.size()) {
        std::size_t size = 0;
        for (std::size_t i = 0; i < LENGTH; ++i)
            size = size << 8U | static_cast<unsigned char>(sent_[at + i]);
        const std::string body = sent_.substr(at + LENGTH, size);
        at += LENGTH + size;
        const std::size_t name = static_cast<unsigned char>(body.at(1));
        if (body[0] == 0)
            requests.emplace_back(body.substr(2, name), vici::Element::decode(body.substr(2 + name)));
    }
    sent_.clear();
    return requests;
}

void ViciProxy::serve_()
{
    for (;;) {
        const int client = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            return;
        busy_ = true;
        relay_(client);
        close(client);
        busy_ = false;
    }
}

void ViciProxy::relay_(int client)
{
    const int server = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const sockaddr_un address = addressOf(server_);
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as the system takes it
    bool open = connect(server, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    while (open) {
        std::array<pollfd, 2> ready = {pollfd{client, POLLIN, 0}, pollfd{server, POLLIN, 0}};
        if (poll(ready.data(), ready.size(), -1) < 0)
            continue;
        if (ready[1].revents != 0)
            open = pass(server, client, nullptr);
        if (open && ready[0].revents != 0)
            open = pass(client, server, &sent_);
    }
    close(server);
}

} // namespace tests
