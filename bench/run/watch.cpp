#include "bench/run/watch.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace fs = std::filesystem;

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point begin)
{
    return std::chrono::duration<double>(Clock::now() - begin).count();
}

fs::path place_of(pid_t process)
{
    return fs::path("/proc") / std::to_string(process);
}

// Processor time of one process and of the children it has already waited for, in clock ticks.
long own_ticks(const fs::path &process)
{
    std::string text;
    std::getline(std::ifstream(process / "stat"), text, '\0');
    const size_t after_name = text.rfind(')');
    long user = 0;
    long system = 0;
    long children_user = 0;
    long children_system = 0;
    if (after_name == std::string::npos ||
        sscanf(text.c_str() + after_name + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %ld %ld %ld %ld",
               &user, &system, &children_user, &children_system) != 4) {
        return 0;
    }
    return user + system + children_user + children_system;
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

long all_ticks(pid_t process)
{
    long ticks = 0;
    for (const pid_t one : tree(process)) {
        ticks += own_ticks(place_of(one));
    }
    return ticks;
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
    Clock::time_point moved = Clock::now();
    Outcome outcome = Outcome::kEnded;
    while (outcome == Outcome::kEnded && !ends_within(fd, step)) {
        const long now = all_ticks(process);
        if (now != last) {
            last = now;
            used = std::max(used, now);
            moved = Clock::now();
        }
        if (static_cast<double>(used) / tick > seconds || seconds_since(moved) > seconds) {
            outcome = Outcome::kOverLimit;
        }
    }
    close(fd);
    return outcome;
}

void kill_all(pid_t process)
{
    constexpr int kMostLooks = 50;  // what is started meanwhile is there at the next look
    constexpr useconds_t kPauseUs = 10000;
    std::vector<pid_t> all = tree(process);
    for (int look = 0; all.size() > 1 && look < kMostLooks; look++) {
        for (size_t i = all.size() - 1; i > 0; i--) {
            kill(all[i], SIGKILL);
        }
        usleep(kPauseUs);
        all = tree(process);
    }
    kill(process, SIGKILL);
}

}  // namespace bench
