// The clock can stand still.
#include <sys/time.h>

#include <ctime>

#include "bench/run/preload/real.h"

using preload::real;

namespace {

// The time that stands still; false when the clock runs.
bool fixed_clock(long long &seconds)
{
    const char *text = getenv("BENCH_CLOCK");
    if (text == nullptr) {
        return false;
    }
    seconds = atoll(text);
    return true;
}

bool is_wall_clock(clockid_t clock)
{
    return clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE;
}

}  // namespace

// The C library's names, with its types and linkage. On a 32-bit target programs built for 64-bit time
// call the names with 64. The names, and those of the parameters in the headers, are reserved.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

time_t time(time_t *result) noexcept
{
    long long seconds = 0;
    if (!fixed_clock(seconds)) {
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
    long long seconds = 0;
    if (is_wall_clock(clock) && fixed_clock(seconds)) {
        result->tv_sec = static_cast<time_t>(seconds);
        result->tv_nsec = 0;
        return 0;
    }
    return real<int(clockid_t, timespec *)>("clock_gettime")(clock, result);
}

int gettimeofday(timeval *result, void *zone) noexcept
{
    long long seconds = 0;
    if (fixed_clock(seconds)) {
        result->tv_sec = static_cast<time_t>(seconds);
        result->tv_usec = 0;
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
    if (!fixed_clock(seconds)) {
        seconds = real<int64_t(int64_t *)>("__time64")(nullptr);
    }
    if (result != nullptr) {
        *result = seconds;
    }
    return seconds;
}

int __clock_gettime64(clockid_t clock, bench_timespec64 *result)
{
    long long seconds = 0;
    if (is_wall_clock(clock) && fixed_clock(seconds)) {
        *result = {};
        result->seconds = seconds;
        return 0;
    }
    return real<int(clockid_t, bench_timespec64 *)>("__clock_gettime64")(clock, result);
}

int __gettimeofday64(bench_timeval64 *result, void *zone)
{
    long long seconds = 0;
    if (fixed_clock(seconds)) {
        *result = {seconds, 0};
        return 0;
    }
    return real<int(bench_timeval64 *, void *)>("__gettimeofday64")(result, zone);
}
#endif
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
