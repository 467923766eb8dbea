#include "bench/live/flows.h"

#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "bench/live/sockets.h"
#include "bench/router.h"

namespace live {

namespace {

using bench::Error;

// What can be taken from a socket until nothing comes for a while; `take` says whether it counts.
template <typename Take>
int count_until_silence(int fd, const Take &take)
{
    int count = 0;
    while (wait_readable(fd, kSilence)) {
        count += take() ? 1 : 0;
    }
    return count;
}

int count_connections(const Talk &talk, int count)
{
    const Socket listener(make_listener(talk, count));
    std::vector<std::unique_ptr<Socket>> clients;
    clients.reserve(static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
        clients.push_back(std::make_unique<Socket>(begin(talk)));
    }
    return count_until_silence(listener, [&] {
        const Socket server(accept4(listener, nullptr, nullptr, SOCK_CLOEXEC));
        close_hard(server);
        return server >= 0;
    });
}

// Two ends for datagrams: the sender's knows where they go.
struct Ends {
    explicit Ends(const Talk &talk)
        : client(make_socket(*talk.from, SOCK_DGRAM, 0, talk.source, talk.source_port)),
          server(make_socket(*talk.listener, SOCK_DGRAM, 0, talk.at.address, talk.at.port))
    {
        const sockaddr_in where = socket_address(talk.to.address, talk.to.port);
        if (connect(client, reinterpret_cast<const sockaddr *>(&where), sizeof where) != 0) {
            throw Error("there is no way to " + talk.to.address);
        }
    }
    Socket client;
    Socket server;
};

void send_numbers(int client, int count)
{
    for (int i = 0; i < count; ++i) {
        (void)send(client, &i, sizeof i, MSG_NOSIGNAL);
    }
}

int count_datagrams(const Talk &talk, int count)
{
    const Ends ends(talk);
    send_numbers(ends.client, count);
    return count_until_silence(ends.server, [&] {
        int number = 0;
        return recv(ends.server, &number, sizeof number, 0) == sizeof number;
    });
}

void answer_all(int server)
{
    (void)count_until_silence(server, [&] {
        int number = 0;
        sockaddr_in seen = {};
        socklen_t length = sizeof seen;
        return recvfrom(server, &number, sizeof number, 0, reinterpret_cast<sockaddr *>(&seen), &length) >
                   0 &&
               sendto(server, &number, sizeof number, 0, reinterpret_cast<sockaddr *>(&seen), length) > 0;
    });
}

int count_answers(const Talk &talk, int count)
{
    const Ends ends(talk);
    send_numbers(ends.client, count);
    answer_all(ends.server);
    return count_until_silence(ends.client, [&] {
        int number = 0;
        return recv(ends.client, &number, sizeof number, 0) == sizeof number;
    });
}

int count_pings(const Talk &talk, int count)
{
    const Socket fd(make_socket(*talk.from, SOCK_RAW, IPPROTO_ICMP, talk.source, 0));
    for (int i = 0; i < count; ++i) {
        (void)send_echo_request(fd, talk);
    }
    return count_until_silence(fd, [&] { return echo_reply(fd) >= 0; });
}

// The option "maximum segment size" of a packet that begins a connection to `port`; 0: it is not such a one.
int segment_in(const unsigned char *bytes, size_t size, int port)
{
    const size_t head = static_cast<size_t>(bytes[0] & 15) * 4;
    if (size < head + sizeof(tcphdr) || (bytes[head + 2] << 8 | bytes[head + 3]) != port ||
        (bytes[head + 13] & (TH_SYN | TH_ACK)) != TH_SYN) {
        return 0;
    }
    const size_t end = std::min(size, head + static_cast<size_t>(bytes[head + 12] >> 4) * 4);
    for (size_t at = head + sizeof(tcphdr); at + 3 < end && bytes[at] != TCPOPT_EOL;) {
        if (bytes[at] == TCPOPT_MAXSEG) {
            return bytes[at + 2] << 8 | bytes[at + 3];
        }
        at += bytes[at] == TCPOPT_NOP ? 1U : std::max<size_t>(bytes[at + 1], 1);
    }
    return 0;
}

// A datagram on its way.
struct Sent {
    Clock::time_point at;
    bool arrived = false;
};

void take_arrived(int server, std::vector<Sent> &sent)
{
    int number = 0;
    while (recv(server, &number, sizeof number, 0) == sizeof number) {
        sent.at(static_cast<size_t>(number)).arrived = true;
    }
}

void send_until(const std::atomic<bool> &ended, const Ends &ends, std::vector<Sent> &sent)
{
    while (!ended) {
        const int number = static_cast<int>(sent.size());
        sent.push_back({Clock::now()});
        (void)send(ends.client, &number, sizeof number, MSG_NOSIGNAL);
        take_arrived(ends.server, sent);
        usleep(1000);
    }
    poll(nullptr, 0, kSilence);
    take_arrived(ends.server, sent);
}

// From the first of a row of lost ones to the next that arrived.
double longest_gap(const std::vector<Sent> &sent)
{
    double longest = 0;
    for (size_t i = 0; i < sent.size();) {
        const size_t first = i;
        while (i < sent.size() && !sent[i].arrived) {
            ++i;
        }
        const Clock::time_point end = sent[std::min(i, sent.size() - 1)].at;
        longest = std::max(longest, std::chrono::duration<double, std::milli>(end - sent[first].at).count());
        ++i;
    }
    return longest;
}

}  // namespace

int count_reaching(const Talk &talk, int count)
{
    return talk.protocol == "tcp" ? count_connections(talk, count) : count_datagrams(talk, count);
}

int count_returning(const Talk &talk, int count)
{
    return talk.protocol == "ping" ? count_pings(talk, count) : count_answers(talk, count);
}

int announced_segment(const Talk &talk, Outcome &outcome)
{
    const Socket wire(make_socket(*talk.listener, SOCK_RAW, IPPROTO_TCP, "", 0));
    outcome = live::talk(talk);
    unsigned char bytes[2048];
    ssize_t got = 0;
    int segment = 0;
    while (segment == 0 && (got = recv(wire, bytes, sizeof bytes, 0)) > 0) {
        segment = segment_in(bytes, static_cast<size_t>(got), talk.at.port);
    }
    return segment;
}

double longest_dark(const Talk &talk, const std::function<void()> &during)
{
    const Ends ends(talk);
    int number = 0;
    if (send(ends.client, &number, sizeof number, MSG_NOSIGNAL) < 0 ||
        !wait_readable(ends.server, kPatience) ||
        recv(ends.server, &number, sizeof number, 0) != sizeof number) {
        throw Error("nothing passes before");
    }
    std::vector<Sent> sent;
    std::atomic<bool> ended = false;
    std::thread sender([&] { send_until(ended, ends, sent); });
    try {
        during();
    } catch (...) {
        ended = true;
        sender.join();
        throw;
    }
    ended = true;
    sender.join();
    return longest_gap(sent);
}

}  // namespace live
