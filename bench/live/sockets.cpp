#include "bench/live/sockets.h"

#include <arpa/inet.h>
#include <netinet/ip_icmp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "bench/router.h"

namespace live {

namespace {

using bench::Error;

void set_option(int fd, int level, int name)
{
    const int on = 1;
    (void)setsockopt(fd, level, name, &on, sizeof on);
}

uint16_t checksum(const std::string &bytes)
{
    uint32_t sum = 0;
    for (size_t i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        sum += i % 2 == 0 ? static_cast<uint32_t>(byte) << 8 : byte;
    }
    while (sum >> 16 != 0) {
        sum = (sum & 0xffff) + (sum >> 16);
    }
    return static_cast<uint16_t>(~sum);
}

std::string echo_request(unsigned number)
{
    std::string bytes = {ICMP_ECHO, 0, 0, 0, static_cast<char>(number >> 8), static_cast<char>(number), 0, 1};
    bytes += "live";
    const uint16_t sum = checksum(bytes);
    bytes[2] = static_cast<char>(sum >> 8);
    bytes[3] = static_cast<char>(sum);
    return bytes;
}

}  // namespace

Socket::~Socket()
{
    if (fd_ >= 0) {
        close(fd_);
    }
}

int Socket::release()
{
    const int fd = fd_;
    fd_ = -1;
    return fd;
}

sockaddr_in socket_address(const std::string &address, int port)
{
    sockaddr_in where = {};
    where.sin_family = AF_INET;
    where.sin_port = htons(static_cast<uint16_t>(port));
    if (!address.empty() && inet_pton(AF_INET, address.c_str(), &where.sin_addr) != 1) {
        throw Error("not an address: " + address);
    }
    return where;
}

std::string text_of(const sockaddr_in &where)
{
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &where.sin_addr, text, sizeof text);
    return text;
}

int make_socket(const Place &place, int type, int protocol, const std::string &address, int port)
{
    enter_network(place);
    const int fd = socket(AF_INET, type | SOCK_NONBLOCK | SOCK_CLOEXEC, protocol);
    if (fd < 0) {
        throw Error("cannot make a socket in " + place.name + ": " + strerror(errno));
    }
    set_option(fd, SOL_SOCKET, SO_REUSEADDR);
    set_option(fd, IPPROTO_IP, IP_FREEBIND);
    set_option(fd, IPPROTO_IP, IP_TRANSPARENT);
    const sockaddr_in where = socket_address(address, port);
    if ((!address.empty() || port != 0) &&
        bind(fd, reinterpret_cast<const sockaddr *>(&where), sizeof where) != 0) {
        const std::string why = strerror(errno);
        close(fd);
        throw Error("cannot use " + address + ":" + std::to_string(port) + " in " + place.name + ": " + why);
    }
    return fd;
}

void close_hard(int fd)
{
    const linger none = {1, 0};
    (void)setsockopt(fd, SOL_SOCKET, SO_LINGER, &none, sizeof none);
}

int milliseconds_until(Clock::time_point end)
{
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

Clock::time_point in(int milliseconds)
{
    return Clock::now() + std::chrono::milliseconds(milliseconds);
}

bool wait_readable(int fd, int milliseconds)
{
    const auto end = in(milliseconds);
    pollfd asked = {fd, POLLIN, 0};
    int ready = 0;
    while ((ready = poll(&asked, 1, milliseconds_until(end))) < 0 && errno == EINTR) {
    }
    return ready > 0;
}

std::string unique_word()
{
    static unsigned count = 0;
    return "live packet " + std::to_string(++count);
}

int make_listener(const Talk &talk, int room)
{
    Socket fd(make_socket(*talk.listener, SOCK_STREAM, 0, talk.at.address, talk.at.port));
    if (listen(fd, room) != 0) {
        throw Error(std::string("cannot listen: ") + strerror(errno));
    }
    return fd.release();
}

int begin(const Talk &talk)
{
    Socket fd(make_socket(*talk.from, SOCK_STREAM, 0, talk.source, talk.source_port));
    const sockaddr_in where = socket_address(talk.to.address, talk.to.port);
    if (connect(fd, reinterpret_cast<const sockaddr *>(&where), sizeof where) != 0 && errno != EINPROGRESS) {
        throw Error(std::string("cannot begin a connection: ") + strerror(errno));
    }
    close_hard(fd);
    return fd.release();
}

int send_echo_request(int fd, const Talk &talk)
{
    static unsigned number = 0x4000;
    ++number;
    const std::string request = echo_request(number);
    const sockaddr_in where = socket_address(talk.to.address, 0);
    const bool sent = sendto(fd, request.data(), request.size(), 0,
                             reinterpret_cast<const sockaddr *>(&where), sizeof where) >= 0;
    return sent ? static_cast<int>(number) : -1;
}

int echo_reply(int fd)
{
    unsigned char bytes[256] = {};
    const ssize_t got = recv(fd, bytes, sizeof bytes, 0);
    const size_t head = static_cast<size_t>(bytes[0] & 15) * 4;
    const bool is_reply = got >= static_cast<ssize_t>(head + 8) && bytes[head] == ICMP_ECHOREPLY;
    return is_reply ? bytes[head + 4] << 8 | bytes[head + 5] : -1;
}

}  // namespace live
