// Namespaces of one's own: everything made in them ends with the process that asked for them, however it
// ends.
#pragma once

#include <sys/types.h>

#include <functional>
#include <string>

namespace live {

// Runs `work` in user, mount, process, network, host-name and IPC namespaces of its own, as their root, with
// a /proc, /sys and an empty /run of theirs; the result is its result. When this process ends, by whatever
// signal, so does everything in them. Throws Error when this machine does not allow it.
int in_own_namespaces(const std::function<int()> &work);

// The number, outside, of the first process in the namespaces, by which nsenter finds them.
pid_t first_process();

// What this machine lacks for a live network; empty: nothing.
std::string what_is_missing();

// A network namespace and a process that keeps it, with the name as its host name; also as
// /run/netns/NAME, where ip finds it.
struct Place {
    std::string name;
    pid_t keeper = -1;
    int network = -1;  // descriptor of the namespace
};

Place make_place(const std::string &name);

// The same with mount and process namespaces beside; `init` runs as process 1 of it and never returns.
Place make_place_with_init(const std::string &name, const std::function<void()> &init);

// From now on this process makes its sockets in that place.
void enter_network(const Place &place);

}  // namespace live
