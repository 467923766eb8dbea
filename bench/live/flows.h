// Many packets as proof: how many of a crowd come through, what a connection announces, and how long a flow
// is dark while something happens.
#pragma once

#include <functional>

#include "bench/live/probe.h"

namespace live {

// Sends so many first packets (tcp, ping) or datagrams at once; how many reach the listener.
int count_reaching(const Talk &talk, int count);

// The same; how many answers come back: of a listener that answers datagrams, or of what answers pings.
int count_returning(const Talk &talk, int count);

// The largest segment that the first packet of a connection announces where it arrives, in bytes; 0: none.
// `outcome` is what became of the connection.
int announced_segment(const Talk &talk, Outcome &outcome);

// Sends a datagram every millisecond while `during` runs; the longest time in which none came through, in
// milliseconds. Throws Error when they do not pass before.
double longest_dark(const Talk &talk, const std::function<void()> &during);

}  // namespace live
