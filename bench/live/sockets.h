// The sockets of conversations: made in the network of a place, with any address for their own.
#pragma once

#include <netinet/in.h>

#include <chrono>
#include <string>

#include "bench/live/probe.h"

namespace live {

using Clock = std::chrono::steady_clock;

// A descriptor that closes itself.
class Socket {
  public:
    explicit Socket(int fd) : fd_(fd) {}
    ~Socket();
    Socket(const Socket &) = delete;
    Socket &operator=(const Socket &) = delete;
    operator int() const { return fd_; }
    int release();

  private:
    int fd_;
};

sockaddr_in socket_address(const std::string &address, int port);
std::string text_of(const sockaddr_in &where);

// A socket in a place, bound to an address that need not be the place's own.
int make_socket(const Place &place, int type, int protocol, const std::string &address, int port);

// Closed without the long goodbye, so that the port is free at once.
void close_hard(int fd);

Clock::time_point in(int milliseconds);
int milliseconds_until(Clock::time_point end);
bool wait_readable(int fd, int milliseconds);

// A word that no other conversation of this process has.
std::string unique_word();

// The listener of a conversation, with room for so many connections at once.
int make_listener(const Talk &talk, int room = 4);

// Begins a connection; the client's end.
int begin(const Talk &talk);

// Sends an echo request; its number, -1: it could not be sent. A number is never used again, because a known
// one belongs to an open conversation.
int send_echo_request(int fd, const Talk &talk);

// The number of the echo reply that is there; -1: it is something else.
int echo_reply(int fd);

}  // namespace live
