#include "bench/run/watch.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace bench {

namespace {

fs::path place_of(pid_t process)
{
    return fs::path("/proc") / std::to_string(process);
}

struct Activity {
    long ticks = 0;      // of processor time used, by children already waited for too
    bool wants = false;  // runs, waits for its turn or for a disk
};

// Of one process; nothing when there is no such process.
Activity own_activity(pid_t process)
{
    std::string text;
    std::getline(std::ifstream(place_of(process) / "stat"), text, '\0');
    const size_t after_name = text.rfind(')');
    char state = '\0';
    long user = 0;
    long system = 0;
    long children_user = 0;
    long children_system = 0;
    if (after_name == std::string::npos ||
        sscanf(text.c_str() + after_name + 1, " %c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %ld %ld %ld %ld",
               &state, &user, &system, &children_user, &children_system) != 5) {
        return {};
    }
    return {user + system + children_user + children_system, state == 'R' || state == 'D'};
}

std::vector<pid_t> children_of(pid_t process)
{
    std::vector<pid_t> all;
    std::error_code error;
    for (const fs::directory_entry &thread : fs::directory_iterator(place_of(process) / "task", error)) {
        std::ifstream children(thread.path() / "children");
        pid_t child = 0;
        while (children >> child) {
            all.push_back(child);
        }
    }
    return all;
}

// A process and all it started that still live, each behind the one that started it.
void add_tree(pid_t process, std::vector<pid_t> &all, int depth = 0)
{
    constexpr int kDeepest = 200;
    all.push_back(process);
    if (depth < kDeepest) {
        for (const pid_t child : children_of(process)) {
            add_tree(child, all, depth + 1);
        }
    }
}

std::vector<pid_t> tree(pid_t process)
{
    std::vector<pid_t> all;
    add_tree(process, all);
    return all;
}

// Of a process and all it started that still live.
Activity activity(pid_t process)
{
    Activity all;
    for (const pid_t one : tree(process)) {
        const Activity own = own_activity(one);
        all.ticks += own.ticks;
        all.wants = all.wants || own.wants;
    }
    return all;
}

// Whether the process behind the descriptor has ended, or ends within so many seconds.
bool ends_within(int fd, double seconds)
{
    pollfd asked = {fd, POLLIN, 0};
    return poll(&asked, 1, static_cast<int>(seconds * 1000)) > 0;
}

}  // namespace

Outcome wait_for(pid_t process, double seconds)
{
    const int fd = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (fd < 0) {
        return Outcome::kEnded;  // an old kernel: the caller waits for as long as it takes
    }
    const double step = std::clamp(seconds / 4, 0.01, 0.25);
    const auto tick = static_cast<double>(sysconf(_SC_CLK_TCK));
    long used = 0;
    long last = 0;
    double still = 0;  // seconds; what this process itself waits for its turn does not count
    Outcome outcome = Outcome::kEnded;
    while (outcome == Outcome::kEnded && !ends_within(fd, step)) {
        const Activity now = activity(process);
        if (now.wants || now.ticks != last) {
            last = now.ticks;
            used = std::max(used, now.ticks);
            still = 0;
        } else {
            still += step;
        }
        if (static_cast<double>(used) / tick > seconds || still > seconds) {
            outcome = Outcome::kOverLimit;
        }
    }
    close(fd);
    return outcome;
}

void kill_all(pid_t process)
{
    constexpr int kMostLooks = 50;
    constexpr useconds_t kPauseUs = 10000;
    std::vector<pid_t> all;
    // What is stopped starts nothing more: two looks that are the same have found everything.
    for (int look = 0; look < kMostLooks; ++look) {
        const std::vector<pid_t> now = tree(process);
        if (now == all) {
            break;
        }
        all = now;
        for (size_t i = 1; i < all.size(); ++i) {
            kill(all[i], SIGSTOP);
        }
        usleep(kPauseUs);
    }
    for (const pid_t one : all) {
        kill(one, SIGKILL);
    }
}

}  // namespace bench
