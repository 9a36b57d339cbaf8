// Packets to and from the control socket: a length of four bytes, a type, for some types a name, a message.

#include "Connection.h"

#include <array>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace norvale::tamber::systemdata::ipseccfg::vici {

namespace {

enum Type {
    CommandRequest,
    CommandResponse,
    CommandUnknown,
    EventRegister,
    EventUnregister,
    EventConfirm,
    EventUnknown,
    Event
};

constexpr std::size_t LONGEST_PACKET = 512UL * 1024;
constexpr unsigned BITS = 8;

[[noreturn]] void fail(const std::string& why)
{
    throw std::runtime_error("the engine's control interface: " + why);
}

std::string systemText(int error)
{
    return std::generic_category().message(error);
}

bool isNamed(int type)
{
    return type == CommandRequest || type == EventRegister || type == EventUnregister || type == Event;
}

int open(const std::string& path)
{
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof(address.sun_path))
        throw std::runtime_error(path + ": " + systemText(ENAMETOOLONG));
    std::memcpy(address.sun_path, path.c_str(), path.size());
    const int descriptor = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (descriptor < 0)
        throw std::runtime_error(path + ": " + systemText(errno));
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-reinterpret-cast): as the system takes it
    if (connect(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0) {
        const std::string why = systemText(errno);
        close(descriptor);
        throw std::runtime_error(path + ": " + why);
    }
    return descriptor;
}

} // namespace

Connection::Connection(const std::string& path, std::chrono::milliseconds time)
    : socket_(open(path))
    , time_(time)
{}

Connection::~Connection()
{
    close(socket_);
}

Element Connection::request(const std::string& command, const Element& message)
{
    std::vector<Element> events;
    send_(CommandRequest, command, message.encoded());
    return collect_(events);
}

std::vector<Element> Connection::stream(const std::string& command, const std::string& event,
                                        const Element& message)
{
    std::vector<Element> events;
    send_(EventRegister, event, "");
    expect_(EventConfirm);
    send_(CommandRequest, command, message.encoded());
    collect_(events);
    send_(EventUnregister, event, "");
    expect_(EventConfirm);
    return events;
}

// The answer to a command; events on the way to it are appended.
Element Connection::collect_(std::vector<Element>& events)
{
    for (;;) {
        Packet packet = receive_();
        if (packet.type == CommandResponse)
            return packet.message;
        if (packet.type != Event)
            fail("the command is not known");
        events.push_back(packet.message);
    }
}

void Connection::expect_(int type)
{
    if (receive_().type != type)
        fail("the event is not known");
}

void Connection::send_(int type, const std::string& name, const std::string& content)
{
    std::string body(1, static_cast<char>(type));
    body += static_cast<char>(name.size());
    body += name + content;
    std::string packet;
    for (unsigned i = sizeof(std::uint32_t); i-- > 0;)
        packet += static_cast<char>(body.size() >> i * BITS & 0xFFU);
    packet += body;
    std::size_t sent = 0;
    while (sent < packet.size()) {
        const ssize_t count = ::send(socket_, packet.data() + sent, packet.size() - sent, MSG_NOSIGNAL);
        if (count < 0 && errno != EINTR)
            fail(systemText(errno));
        sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

Connection::Packet Connection::receive_()
{
    const auto deadline = std::chrono::steady_clock::now() + time_;
    std::string length(sizeof(std::uint32_t), '\0');
    readExactly_(length, deadline);
    std::size_t size = 0;
    for (const char byte : length)
        size = size << BITS | static_cast<unsigned char>(byte);
    if (size == 0 || size > LONGEST_PACKET)
        fail("a malformed packet");
    std::string body(size, '\0');
    readExactly_(body, deadline);

    Packet packet;
    packet.type = static_cast<unsigned char>(body[0]);
    std::size_t begin = 1;
    if (isNamed(packet.type)) {
        const std::size_t nameLength = body.size() > 1 ? static_cast<unsigned char>(body[1]) : body.size();
        if (nameLength + 2 > body.size())
            fail("a malformed packet");
        packet.name = body.substr(2, nameLength);
        begin = 2 + nameLength;
    }
    packet.message = Element::decode(body.substr(begin));
    return packet;
}

void Connection::readExactly_(std::string& bytes, std::chrono::steady_clock::time_point deadline)
{
    using std::chrono::milliseconds;
    std::size_t size = 0;
    while (size < bytes.size()) {
        const auto left =
            std::chrono::ceil<milliseconds>(deadline - std::chrono::steady_clock::now()).count();
        pollfd ready = {socket_, POLLIN, 0};
        const int polled = left <= 0 ? 0 : poll(&ready, 1, static_cast<int>(left));
        if (polled == 0)
            fail("no answer in time");
        if (polled < 0 && errno == EINTR)
            continue;
        const ssize_t count = read(socket_, &bytes[size], bytes.size() - size);
        if (count == 0)
            fail("the engine hung up");
        if (count < 0 && errno != EINTR)
            fail(systemText(errno));
        size += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
}

} // namespace norvale::tamber::systemdata::ipseccfg::vici
