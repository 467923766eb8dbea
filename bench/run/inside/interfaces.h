// The network interfaces of a run, made in its own network namespace.
#pragma once

namespace inside {

// An interface as the run file describes it; false, with a message, when it cannot be made.
bool make_interface(const char *text);

void loopback_up();

// Nothing that a run sends leaves for anywhere but its own addresses: a resolver asked for a name gets its
// error at once in place of waiting for an answer that cannot come.
void forbid_sending();

}  // namespace inside
