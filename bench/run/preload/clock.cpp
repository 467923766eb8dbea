// The clock is the bench's when it says so.
#include "bench/run/preload/clock.h"

#include <sys/time.h>

#include <ctime>

#include "bench/run/preload/real.h"

using preload::real;

namespace {

constexpr long long kSecond = 1000000;

// The clock of this run, in microseconds since 1970.
struct Clock {
    bool ours = false;
    bool asked = false;
    long long now = 0;
    unsigned commands = 0;  // given so far
    char end[64] = "";      // where this run leaves its times
    char command[64] =
        "";  // where what the present command starts leaves its times; empty: in the background
};

Clock clock_of_run;

void leave_time(const char *path, long long time)
{
    char line[32];
    const int length = snprintf(line, sizeof line, "%lld\n", time);
    const int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd >= 0) {
        (void)!write(fd, line, static_cast<size_t>(length));
        close(fd);
    }
}

// The last time in such a file; 0 when there is none.
long long last_time(const char *path)
{
    char text[64] = "";
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return 0;
    }
    const off_t size = lseek(fd, 0, SEEK_END);
    const off_t from =
        size > static_cast<off_t>(sizeof text) - 1 ? size - static_cast<off_t>(sizeof text) + 1 : 0;
    const ssize_t got = pread(fd, text, sizeof text - 1, from);
    close(fd);
    for (ssize_t i = got - 2; i >= 0; --i) {
        if (text[i] == '\n') {
            return atoll(text + i + 1);
        }
    }
    return got > 0 ? atoll(text) : 0;
}

// Asked for the first time, a run begins when its command did, or when what that command started before it
// had ended.
Clock &own_clock()
{
    Clock &clock = clock_of_run;
    const char *start = clock.asked ? nullptr : getenv(inside::kClockName);
    clock.asked = true;
    if (start != nullptr) {
        clock.ours = true;
        snprintf(clock.end, sizeof clock.end, "%s", inside::environment(inside::kClockEndName, ""));
        const long long before = clock.end[0] == '\0' ? 0 : last_time(clock.end);
        clock.now = atoll(start) > before ? atoll(start) : before;
    }
    return clock;
}

void set_number(const char *name, long long number)
{
    char text[32];
    snprintf(text, sizeof text, "%lld", number);
    setenv(name, text, 1);
}

bool in_background(const char *command)
{
    size_t length = strlen(command);
    while (length > 0 && (command[length - 1] == ' ' || command[length - 1] == '\n')) {
        --length;
    }
    return length > 0 && command[length - 1] == '&';
}

// The time of the run; false when the clock is the machine's.
bool clock_time(long long &microseconds)
{
    const Clock &clock = own_clock();
    microseconds = clock.now;
    return clock.ours;
}

bool is_wall_clock(clockid_t clock)
{
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
}

}  // namespace

namespace preload {

void time_passes(long long microseconds)
{
    Clock &clock = own_clock();
    clock.now += microseconds;
    if (clock.ours && microseconds > 0) {
        // Nobody waits for what a command in the background leads to.
        leave_time(clock.end[0] == '\0' ? "/.bench/clock/apart" : clock.end, clock.now);
    }
}

void command_begins(const char *command)
{
    Clock &clock = own_clock();
    if (!clock.ours) {
        return;
    }
    clock.command[0] = '\0';
    if (!in_background(command)) {
        snprintf(clock.command, sizeof clock.command, "/.bench/clock/%d.%u", static_cast<int>(getpid()),
                 ++clock.commands);
    }
    set_number(inside::kClockName, clock.now);
    setenv(inside::kClockEndName, clock.command, 1);
}

void command_ended()
{
    Clock &clock = own_clock();
    const long long end = clock.ours && clock.command[0] != '\0' ? last_time(clock.command) : 0;
    if (end > clock.now) {
        time_passes(end - clock.now);
    }
}

}  // namespace preload

// The C library's names, with its types and linkage. On a 32-bit target programs built for 64-bit time
// call the names with 64. The names, and those of the parameters in the headers, are reserved.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

time_t time(time_t *result) noexcept
{
    long long seconds = 0;
    if (clock_time(seconds)) {
        seconds /= kSecond;
    } else {
        timespec now = {};
        real<int(clockid_t, timespec *)>("clock_gettime")(CLOCK_REALTIME, &now);
        seconds = now.tv_sec;
    }
    if (result != nullptr) {
        *result = static_cast<time_t>(seconds);
    }
    return static_cast<time_t>(seconds);
}

int clock_gettime(clockid_t clock, timespec *result) noexcept
{
    long long time = 0;
    if (is_wall_clock(clock) && clock_time(time)) {
        result->tv_sec = static_cast<time_t>(time / kSecond);
        result->tv_nsec = static_cast<long>(time % kSecond * 1000);
        return 0;
    }
    return real<int(clockid_t, timespec *)>("clock_gettime")(clock, result);
}

int gettimeofday(timeval *result, void *zone) noexcept
{
    long long time = 0;
    if (clock_time(time)) {
        result->tv_sec = static_cast<time_t>(time / kSecond);
        result->tv_usec = static_cast<suseconds_t>(time % kSecond);
        return 0;
    }
    return real<int(timeval *, void *)>("gettimeofday")(result, zone);
}

#if defined(__mips__) && !defined(__LP64__)
struct bench_timespec64 {
    int64_t seconds;
#if __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    int32_t padding;
    int32_t nanoseconds;
#else
    int32_t nanoseconds;
    int32_t padding;
#endif
};
struct bench_timeval64 {
    int64_t seconds;
    int64_t microseconds;
};

int64_t __time64(int64_t *result)
{
    long long seconds = 0;
    if (clock_time(seconds)) {
        seconds /= kSecond;
    } else {
        seconds = real<int64_t(int64_t *)>("__time64")(nullptr);
    }
    if (result != nullptr) {
        *result = seconds;
    }
    return seconds;
}

int __clock_gettime64(clockid_t clock, bench_timespec64 *result)
{
    long long time = 0;
    if (is_wall_clock(clock) && clock_time(time)) {
        *result = {};
        result->seconds = time / kSecond;
        result->nanoseconds = static_cast<int32_t>(time % kSecond * 1000);
        return 0;
    }
    return real<int(clockid_t, bench_timespec64 *)>("__clock_gettime64")(clock, result);
}

int __gettimeofday64(bench_timeval64 *result, void *zone)
{
    long long time = 0;
    if (clock_time(time)) {
        *result = {time / kSecond, time % kSecond};
        return 0;
    }
    return real<int(bench_timeval64 *, void *)>("__gettimeofday64")(result, zone);
}
#endif
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
