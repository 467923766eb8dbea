#include "bench/live/probe.h"

#include <arpa/inet.h>
#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>

#include "bench/live/sockets.h"

namespace live {

namespace {

// ---- tcp --------------------------------------------------------------------------------------------------

// 1 connected, 0 nothing came back, -1 refused.
int connected(int fd, int milliseconds)
{
    const auto end = in(milliseconds);
    pollfd asked = {fd, POLLOUT, 0};
    int ready = 0;
    while ((ready = poll(&asked, 1, milliseconds_until(end))) < 0 && errno == EINTR) {
    }
    int error = 0;
    socklen_t length = sizeof error;
    (void)getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &length);
    return error != 0 ? -1 : ready > 0 ? 1 : 0;
}

bool passes_word(int from, int to)
{
    const std::string word = unique_word();
    char bytes[64];
    return send(from, word.data(), word.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(word.size()) &&
           wait_readable(to, kPatience) &&
           recv(to, bytes, sizeof bytes, 0) == static_cast<ssize_t>(word.size()) &&
           word.compare(0, word.size(), bytes, word.size()) == 0;
}

Outcome reach_listener(int client, int listener)
{
    Outcome outcome;
    sockaddr_in seen = {};
    socklen_t length = sizeof seen;
    if (!wait_readable(listener, kPatience)) {
        outcome.what = Outcome::kAnswered;
        return outcome;
    }
    const Socket server(
        accept4(listener, reinterpret_cast<sockaddr *>(&seen), &length, SOCK_NONBLOCK | SOCK_CLOEXEC));
    close_hard(server);
    outcome.seen_as = text_of(seen);
    outcome.what =
        passes_word(client, server) && passes_word(server, client) ? Outcome::kReached : Outcome::kOneWay;
    return outcome;
}

Outcome talk_tcp(const Talk &talk)
{
    const Socket listener(talk.listener == nullptr ? -1 : make_listener(talk));
    const Socket client(begin(talk));
    const int result = connected(client, talk.patience);
    if (result != 1) {
        return {result < 0 ? Outcome::kRefused : Outcome::kSilent, ""};
    }
    return talk.listener == nullptr ? Outcome{Outcome::kAnswered, ""} : reach_listener(client, listener);
}

// ---- udp --------------------------------------------------------------------------------------------------

Outcome answer_datagram(int server, int client, int patience)
{
    Outcome outcome;
    char bytes[64];
    sockaddr_in seen = {};
    socklen_t length = sizeof seen;
    const ssize_t got =
        recvfrom(server, bytes, sizeof bytes, 0, reinterpret_cast<sockaddr *>(&seen), &length);
    outcome.what = Outcome::kOneWay;
    outcome.seen_as = text_of(seen);
    const bool sent = got > 0 && sendto(server, bytes, static_cast<size_t>(got), 0,
                                        reinterpret_cast<sockaddr *>(&seen), length) == got;
    if (sent && wait_readable(client, patience) && recv(client, bytes, sizeof bytes, 0) == got) {
        outcome.what = Outcome::kReached;
    }
    return outcome;
}

Outcome talk_udp(const Talk &talk)
{
    const Socket server(talk.listener == nullptr
                            ? -1
                            : make_socket(*talk.listener, SOCK_DGRAM, 0, talk.at.address, talk.at.port));
    const Socket client(make_socket(*talk.from, SOCK_DGRAM, 0, talk.source, talk.source_port));
    const sockaddr_in where = socket_address(talk.to.address, talk.to.port);
    const std::string word = unique_word();
    if (connect(client, reinterpret_cast<const sockaddr *>(&where), sizeof where) != 0 ||
        send(client, word.data(), word.size(), 0) < 0) {
        return {Outcome::kRefused, ""};
    }
    if (server >= 0 && wait_readable(server, talk.patience)) {
        return answer_datagram(server, client, talk.patience);
    }
    if (!wait_readable(client, server >= 0 ? 0 : talk.patience)) {
        return {Outcome::kSilent, ""};
    }
    char byte = 0;
    return {recv(client, &byte, 1, 0) < 0 ? Outcome::kRefused : Outcome::kAnswered, ""};
}

// ---- ping -------------------------------------------------------------------------------------------------

Outcome talk_ping(const Talk &talk)
{
    const Socket fd(make_socket(*talk.from, SOCK_RAW, IPPROTO_ICMP, talk.source, 0));
    const int number = send_echo_request(fd, talk);
    if (number < 0) {
        return {Outcome::kRefused, ""};
    }
    const auto end = in(talk.patience);
    while (wait_readable(fd, milliseconds_until(end))) {
        if (echo_reply(fd) == number) {
            return {Outcome::kAnswered, ""};
        }
    }
    return {Outcome::kSilent, ""};
}

// ---- questions --------------------------------------------------------------------------------------------

std::string base64(const std::string &text)
{
    constexpr const char *kDigits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    for (size_t i = 0; i < text.size(); i += 3) {
        uint32_t value = 0;
        for (size_t j = 0; j < 3; ++j) {
            value = value << 8 | (i + j < text.size() ? static_cast<unsigned char>(text[i + j]) : 0U);
        }
        for (size_t j = 0; j < 4; ++j) {
            out += i + j <= text.size() ? kDigits[value >> (18 - 6 * j) & 63] : '=';
        }
    }
    return out;
}

std::string name_question(const std::string &name)
{
    std::string packet("\x4b\x51\x01\x00\x00\x01\x00\x00\x00\x00\x00\x00", 12);
    for (size_t at = 0; at <= name.size();) {
        const size_t end = std::min(name.find('.', at), name.size());
        packet += static_cast<char>(end - at) + name.substr(at, end - at);
        at = end + 1;
    }
    return packet + std::string("\0\0\1\0\1", 5);
}

}  // namespace

Outcome talk(const Talk &talk)
{
    if (talk.protocol == "tcp") {
        return talk_tcp(talk);
    }
    return talk.protocol == "udp" ? talk_udp(talk) : talk_ping(talk);
}

std::string outcome_text(const Outcome &outcome)
{
    switch (outcome.what) {
        case Outcome::kReached:
            return "reached, from " + outcome.seen_as;
        case Outcome::kAnswered:
            return "answered";
        case Outcome::kRefused:
            return "refused";
        case Outcome::kSilent:
            return "silent";
        case Outcome::kOneWay:
            return "reached, but the answer did not come back";
    }
    return "";
}

std::string fetch(const Talk &talk, const std::string &path)
{
    const Socket client(begin(talk));
    if (connected(client, talk.patience) != 1) {
        return "";
    }
    const std::string request = "GET " + path +
                                " HTTP/1.0\r\nHost: www.example.net\r\nAuthorization: Basic " +
                                base64("admin:password") + "\r\n\r\n";
    (void)send(client, request.data(), request.size(), MSG_NOSIGNAL);
    std::string answer;
    char bytes[4096];
    ssize_t got = 0;
    while (wait_readable(client, talk.patience) && (got = recv(client, bytes, sizeof bytes, 0)) > 0) {
        answer.append(bytes, static_cast<size_t>(got));
    }
    return answer;
}

std::string look_up(const Talk &talk, const std::string &name)
{
    const Socket client(make_socket(*talk.from, SOCK_DGRAM, 0, talk.source, 0));
    const sockaddr_in where = socket_address(talk.to.address, talk.to.port);
    const std::string question = name_question(name);
    if (connect(client, reinterpret_cast<const sockaddr *>(&where), sizeof where) != 0) {
        return "";
    }
    // Asked again as a resolver does: a relay that was started a moment ago does not listen yet.
    constexpr int kTries = 10;
    char bytes[1500];
    ssize_t got = -1;
    for (int i = 0; i < kTries && got < 0; ++i) {
        const bool sent = send(client, question.data(), question.size(), 0) >= 0;
        got =
            sent && wait_readable(client, talk.patience / kTries) ? recv(client, bytes, sizeof bytes, 0) : -1;
        if (got < 0 && errno == ECONNREFUSED) {
            poll(nullptr, 0, talk.patience / kTries);
        }
    }
    if (got < static_cast<ssize_t>(question.size()) || bytes[7] == 0) {
        return got < 0 ? "" : "no such name";
    }
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, bytes + got - 4, text, sizeof text);
    return text;
}

OpenTalk::OpenTalk(const Talk &talk) : listener_(make_listener(talk))
{
    client_ = begin(talk);
    if (connected(client_, kPatience) == 1 && wait_readable(listener_, kPatience)) {
        server_ = accept4(listener_, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    }
}

OpenTalk::~OpenTalk()
{
    for (const int fd : {client_, server_, listener_}) {
        if (fd >= 0) {
            close(fd);
        }
    }
}

bool OpenTalk::passes(int milliseconds)
{
    const std::string word = unique_word();
    char bytes[1024];
    return server_ >= 0 && send(client_, word.data(), word.size(), MSG_NOSIGNAL) > 0 &&
           wait_readable(server_, milliseconds) && recv(server_, bytes, sizeof bytes, 0) > 0;
}

}  // namespace live
