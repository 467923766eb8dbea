// A small name server: answers the names of a hosts file, asks others for the rest.
//
//     names -a ADDRESS -h HOSTS [-s SERVER]... [-g ADDRESS]
//
// -a: where it listens; -s: servers asked in turn for other names, those that do not answer are passed over;
// -g: that address for every name. Without either, other names do not exist.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <optional>
#include <sstream>

#include "bench/live/inside/tool.h"

namespace live_tool {

namespace {

constexpr int kPort = 53;
constexpr int kPatience = 500;  // milliseconds for each server
constexpr size_t kHead = 12;

struct Choice {
    std::string address;
    std::string hosts;
    Words servers;
    std::string everything;
};

sockaddr_in place(const std::string &address, int port)
{
    sockaddr_in where = {};
    where.sin_family = AF_INET;
    where.sin_port = htons(static_cast<uint16_t>(port));
    inet_pton(AF_INET, address.c_str(), &where.sin_addr);
    return where;
}

// The name asked for, and where the question ends; none for a damaged question.
std::optional<std::string> question(const std::string &packet, size_t &end)
{
    std::string name;
    size_t at = kHead;
    while (at < packet.size() && packet[at] != 0) {
        const auto length = static_cast<size_t>(static_cast<unsigned char>(packet[at]));
        if (length > 63 || at + 1 + length > packet.size()) {
            return std::nullopt;
        }
        name += (name.empty() ? "" : ".") + packet.substr(at + 1, length);
        at += length + 1;
    }
    end = at + 5;
    return end <= packet.size() ? std::optional(name) : std::nullopt;
}

std::string address_in_hosts(const Choice &choice, const std::string &name)
{
    std::istringstream lines(read_file(choice.hosts));
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string address;
        words >> address;
        for (std::string host; words >> host;) {
            if (strcasecmp(host.c_str(), name.c_str()) == 0) {
                return address;
            }
        }
    }
    return choice.everything;
}

// One address record, or "no such name" for an empty address.
std::string answer(const std::string &packet, size_t end, const std::string &address)
{
    std::string text = packet.substr(0, end);
    text[2] = static_cast<char>(0x85);
    text[3] = static_cast<char>(address.empty() ? 0x83 : 0x80);
    text[6] = 0;
    text[7] = address.empty() ? 0 : 1;
    text[8] = text[9] = text[10] = text[11] = 0;
    if (!address.empty()) {
        in_addr bytes = {};
        inet_pton(AF_INET, address.c_str(), &bytes);
        text += std::string("\xc0\x0c\0\x01\0\x01\0\0\0\x3c\0\x04", 12);
        text.append(reinterpret_cast<const char *>(&bytes), 4);
    }
    return text;
}

std::string ask(const std::string &server, const std::string &packet)
{
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in where = place(server, kPort);
    char bytes[1500];
    ssize_t got = -1;
    pollfd asked = {fd, POLLIN, 0};
    if (connect(fd, reinterpret_cast<const sockaddr *>(&where), sizeof where) == 0 &&
        send(fd, packet.data(), packet.size(), 0) > 0 && poll(&asked, 1, kPatience) > 0) {
        got = recv(fd, bytes, sizeof bytes, 0);
    }
    close(fd);
    return got > 0 ? std::string(bytes, static_cast<size_t>(got)) : "";
}

std::string reply_to(const Choice &choice, const std::string &packet)
{
    size_t end = 0;
    const std::optional<std::string> name = packet.size() > kHead ? question(packet, end) : std::nullopt;
    if (!name) {
        return "";
    }
    const std::string address = address_in_hosts(choice, *name);
    if (!address.empty() || choice.servers.empty()) {
        return answer(packet, end, address);
    }
    for (const std::string &server : choice.servers) {
        std::string reply = ask(server, packet);
        if (!reply.empty()) {
            return reply;
        }
    }
    return "";
}

Choice read_choice(const Words &words)
{
    Choice choice;
    for (size_t i = 0; i + 1 < words.size(); i += 2) {
        const std::string &value = words[i + 1];
        if (words[i] == "-a") {
            choice.address = value;
        } else if (words[i] == "-h") {
            choice.hosts = value;
        } else if (words[i] == "-s") {
            choice.servers.push_back(value);
        } else if (words[i] == "-g") {
            choice.everything = value;
        }
    }
    return choice;
}

}  // namespace

int names(const Words &words)
{
    const Choice choice = read_choice(words);
    const int fd = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    const sockaddr_in where = place(choice.address, kPort);
    if (bind(fd, reinterpret_cast<const sockaddr *>(&where), sizeof where) != 0) {
        perror("names");
        return 1;
    }
    for (;;) {
        char bytes[1500];
        sockaddr_in from = {};
        socklen_t length = sizeof from;
        const ssize_t got =
            recvfrom(fd, bytes, sizeof bytes, 0, reinterpret_cast<sockaddr *>(&from), &length);
        const std::string reply = got > 0 ? reply_to(choice, {bytes, static_cast<size_t>(got)}) : "";
        if (!reply.empty()) {
            (void)sendto(fd, reply.data(), reply.size(), 0, reinterpret_cast<sockaddr *>(&from), length);
        }
    }
}

}  // namespace live_tool
