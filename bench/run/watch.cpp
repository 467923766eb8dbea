#include "bench/run/watch.h"

#include <poll.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace fs = std::filesystem;

namespace bench {

namespace {

using Clock = std::chrono::steady_clock;

double seconds_since(Clock::time_point begin)
{
    return std::chrono::duration<double>(Clock::now() - begin).count();
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

// Of a process and all it started that still live.
long all_ticks(const std::string &process, int depth = 0)
{
    constexpr int kDeepest = 200;
    const fs::path place = fs::path("/proc") / process;
    long ticks = own_ticks(place);
    std::error_code error;
    for (const fs::directory_entry &thread : fs::directory_iterator(place / "task", error)) {
        std::ifstream children(thread.path() / "children");
        std::string child;
        while (depth < kDeepest && children >> child) {
            ticks += all_ticks(child, depth + 1);
        }
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
        const long now = all_ticks(std::to_string(process));
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

}  // namespace bench
