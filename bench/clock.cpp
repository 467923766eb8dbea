// Preloaded into rc: pauses return at once and are recorded, the clock can stand still, calls that would
// change the machine (host and domain name, kernel log, signals) are recorded in place of being done, and
// local time follows the root's /etc/TZ as the router's C library does (the workstation's looks only at
// the variable TZ). Built for the processor of rc; never loaded into anything else.
//
// Environment, set by the bench: BENCH_CLOCK, seconds since 1970; BENCH_FAIL, recorded calls fail;
// BENCH_PAUSES, the most pauses of one run.
#include <dlfcn.h>
#include <poll.h>
#include <spawn.h>
#include <sys/klog.h>
#include <sys/time.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include "bench/inside.h"

namespace {

// The C library's own function of that name.
template <typename Function>
Function *real(const char *name)
{
    void *found = dlsym(RTLD_NEXT, name);
    Function *function = nullptr;
    memcpy(&function, &found, sizeof function);
    return function;
}

void record_number(char kind, long number)
{
    char text[24];
    snprintf(text, sizeof text, "%ld", number);
    inside::write_record(kind, text);
}

// What a recorded call answers.
int recorded_result()
{
    if (getenv("BENCH_FAIL") == nullptr) {
        return 0;
    }
    errno = EPERM;
    return -1;
}

// ---- commands in the background -------------------------------------------------------------------------
//
// A pause returns at once, but what rc waits for in it is often done by a command in the background. So a
// pause first lets the commands given so far end. They inherit the writing end of a pipe; when its reading
// end sees no writer any more, they have ended.

struct Watch {
    int reading = -1;
    int writing = -1;
    int patience_ms = 3000;  // for all pauses of this process together
};

Watch watch;

// Moves a descriptor out of the way of the program's own.
int move_up(int fd, int command)
{
    const int moved = fcntl(fd, command, 200);
    close(fd);
    return moved;
}

void watch_commands()
{
    int ends[2];
    if (watch.writing >= 0 || pipe(ends) != 0) {
        return;
    }
    watch.reading = move_up(ends[0], F_DUPFD_CLOEXEC);
    watch.writing = move_up(ends[1], F_DUPFD);
}

// Milliseconds since some point in the past.
long now_ms()
{
    timespec now = {};
    (void)real<int(clockid_t, timespec *)>("clock_gettime")(CLOCK_MONOTONIC, &now);
    return static_cast<long>(now.tv_sec * 1000L + now.tv_nsec / 1000000L);
}

void await_commands()
{
    if (watch.writing < 0) {
        return;
    }
    close(watch.writing);
    watch.writing = -1;
    const long begin = now_ms();
    pollfd asked = {watch.reading, 0, 0};
    while (poll(&asked, 1, watch.patience_ms) < 0 && errno == EINTR) {
    }
    const long took = now_ms() - begin;
    watch.patience_ms = took > watch.patience_ms ? 0 : watch.patience_ms - static_cast<int>(took);
    close(watch.reading);
    watch.reading = -1;
}

// ---- pauses ---------------------------------------------------------------------------------------------

// Runs what is planned for this pause of the outer run, with a command's environment and its output out
// of the way of rc's.
void run_planned(int pause_number)
{
    char path[48];
    snprintf(path, sizeof path, "/.bench/pause/%d", pause_number);
    if (access(path, R_OK) != 0) {
        return;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, STDERR_FILENO, STDOUT_FILENO);
    char shell[] = "sh";
    char *words[] = {shell, path, nullptr};
    char search[] = "PATH=/bin:/sbin:/usr/sbin:/usr/bin";
    char run[] = "BENCH_RUN=0";
    char *variables[] = {search, run, nullptr};
    pid_t child = 0;
    if (posix_spawn(&child, inside::kShell, &actions, nullptr, words, variables) == 0) {
        int status = 0;
        while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
        }
    }
    posix_spawn_file_actions_destroy(&actions);
}

void pause_passed()
{
    static int pauses = 0;
    pauses++;
    if (pauses > atoi(inside::environment("BENCH_PAUSES", "5000"))) {
        inside::write_record(inside::kEntryLimit, "");
        (void)raise(SIGKILL);
    }
    if (strcmp(inside::environment(inside::kRunName, "0"), "0") == 0) {
        run_planned(pauses);
    }
}

// ---- the clock ------------------------------------------------------------------------------------------

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

// While one of these lives, TZ is the text of /etc/TZ (unless the program has a TZ of its own).
class RouterZone {
  public:
    RouterZone()
    {
        char rule[128];
        if (getenv("TZ") != nullptr || !read_rule(rule, sizeof rule)) {
            return;
        }
        setenv("TZ", rule, 1);
        set_ = true;
    }
    ~RouterZone()
    {
        if (set_) {
            unsetenv("TZ");
        }
    }
    RouterZone(const RouterZone &) = delete;
    RouterZone &operator=(const RouterZone &) = delete;

  private:
    static bool read_rule(char *rule, size_t size)
    {
        const int fd = open("/etc/TZ", O_RDONLY | O_CLOEXEC);
        if (fd < 0) {
            return false;
        }
        const ssize_t length = read(fd, rule, size - 1);
        close(fd);
        rule[length > 0 ? length : 0] = '\0';
        rule[strcspn(rule, "\r\n")] = '\0';
        return rule[0] != '\0';
    }

    bool set_ = false;
};

}  // namespace

// The C library's names, with its types and linkage. On a 32-bit target programs built for 64-bit time
// call the names with 64.
// The names, and those of the parameters in the headers, are reserved ones.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

// Done as ever; its end is noted, so that what rc prints afterwards never stands before what the command
// led to in the background.
int system(const char *command)
{
    watch_commands();
    const int status = real<int(const char *)>("system")(command);
    const int saved_errno = errno;
    inside::write_record(inside::kEntryEnd, "");
    errno = saved_errno;
    return status;
}

FILE *popen(const char *command, const char *mode)
{
    watch_commands();
    return real<FILE *(const char *, const char *)>("popen")(command, mode);
}

unsigned sleep(unsigned seconds)
{
    record_number(inside::kEntrySleep, static_cast<long>(seconds));
    await_commands();
    pause_passed();
    return 0;
}

int usleep(useconds_t microseconds)
{
    record_number(inside::kEntryUsleep, static_cast<long>(microseconds));
    if (microseconds >= 1000) {
        await_commands();
    }
    if (microseconds >= 10) {
        pause_passed();
    }
    return 0;
}

int sethostname(const char *name, size_t length) noexcept
{
    inside::write_record(inside::kEntryHostname, name, length);
    return recorded_result();
}

int setdomainname(const char *name, size_t length) noexcept
{
    inside::write_record(inside::kEntryDomainname, name, length);
    return recorded_result();
}

int klogctl(int action, char *, int) noexcept
{
    record_number(inside::kEntryKlog, action);
    return recorded_result();
}

int kill(pid_t process, int signal) noexcept
{
    char text[48];
    snprintf(text, sizeof text, "%ld %d", static_cast<long>(process), signal);
    inside::write_record(inside::kEntryKill, text);
    return recorded_result();
}

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

tm *localtime(const time_t *when) noexcept
{
    const RouterZone zone;
    return real<tm *(const time_t *)>("localtime")(when);
}

tm *localtime_r(const time_t *when, tm *result) noexcept
{
    const RouterZone zone;
    tzset();  // localtime_r itself need not look at TZ again
    return real<tm *(const time_t *, tm *)>("localtime_r")(when, result);
}

time_t mktime(tm *local) noexcept
{
    const RouterZone zone;
    return real<time_t(tm *)>("mktime")(local);
}

void tzset() noexcept
{
    const RouterZone zone;
    real<void()>("tzset")();
}

// A program built with the address sanitizer asks for these when it starts. In a root without the real
// /proc it cannot read its environment or look for leaks, and this library stands before its own.
const char *__asan_default_options()
{
    return "detect_leaks=0:verify_asan_link_order=0";
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

tm *__localtime64(const int64_t *when)
{
    const RouterZone zone;
    return real<tm *(const int64_t *)>("__localtime64")(when);
}

tm *__localtime64_r(const int64_t *when, tm *result)
{
    const RouterZone zone;
    tzset();
    return real<tm *(const int64_t *, tm *)>("__localtime64_r")(when, result);
}

int64_t __mktime64(tm *local)
{
    const RouterZone zone;
    return real<int64_t(tm *)>("__mktime64")(local);
}
#endif
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
