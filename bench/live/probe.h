// Packets as proof: one conversation from one place to an address, and what became of it.
//
// The sockets of both ends belong to this process, made in the networks of their places, so that nothing has
// to be started and every conversation is known at both ends.
#pragma once

#include <string>

#include "bench/live/network.h"

namespace live {

// How long is waited where silence is expected, and where an answer is.
constexpr int kSilence = 300;    // milliseconds
constexpr int kPatience = 5000;  // milliseconds

struct Destination {
    std::string address;
    int port = 0;
};

struct Talk {
    const Place *from = nullptr;
    std::string source;    // address of the sender; empty: the place's own
    int source_port = 0;   // 0: any
    std::string protocol;  // tcp, udp or ping
    Destination to;
    // Who waits for it; null: nobody but what runs there anyhow.
    const Place *listener = nullptr;
    Destination at;
    int patience = kPatience;  // milliseconds that nothing may come back
};

struct Outcome {
    enum What {
        kReached,   // the listener got it, and its answer came back
        kAnswered,  // something that runs there answered (ping: the echo came back)
        kRefused,   // a reset or "unreachable" came back
        kSilent,    // nothing came back
        kOneWay,    // the listener got it, but its answer did not come back
    };
    What what = kSilent;
    std::string seen_as;  // the sender's address as the listener saw it
};

Outcome talk(const Talk &talk);

// "reached", "refused"...
std::string outcome_text(const Outcome &outcome);

// Asks a web server for a page with the router's usual login; the whole answer, empty when there was none.
std::string fetch(const Talk &talk, const std::string &path);

// Asks a name server; the address, "no such name", or empty without an answer.
std::string look_up(const Talk &talk, const std::string &name);

// A connection that stays open.
class OpenTalk {
  public:
    explicit OpenTalk(const Talk &talk);
    ~OpenTalk();
    OpenTalk(const OpenTalk &) = delete;
    OpenTalk &operator=(const OpenTalk &) = delete;
    bool is_open() const { return server_ >= 0; }
    // Whether something sent now, or before, arrives within so many milliseconds.
    bool passes(int milliseconds);

  private:
    int client_ = -1;
    int server_ = -1;
    int listener_ = -1;
};

}  // namespace live
