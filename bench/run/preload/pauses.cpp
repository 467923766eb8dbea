// Pauses return at once and are recorded; what rc waits for in them is waited for.
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include "bench/run/preload/clock.h"
#include "bench/run/preload/real.h"

using preload::real;

namespace {

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
    ++pauses;
    if (pauses > atoi(inside::environment("BENCH_PAUSES", "5000"))) {
        inside::write_record(inside::kEntryLimit, "pauses");
        (void)raise(SIGKILL);
    }
    if (strcmp(inside::environment(inside::kRunName, "0"), "0") == 0) {
        run_planned(pauses);
    }
}

}  // namespace

// The C library's names, with its types and linkage.
// The names, and those of the parameters in the headers, are reserved ones.
// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" {

// Done as ever; its end is noted, so that what rc prints afterwards never stands before what the command
// led to in the background.
int system(const char *command)
{
    watch_commands();
    preload::command_begins(command);
    const int status = real<int(const char *)>("system")(command);
    const int saved_errno = errno;
    inside::write_record(inside::kEntryEnd, "");
    preload::command_ended();
    errno = saved_errno;
    return status;
}

FILE *popen(const char *command, const char *mode)
{
    watch_commands();
    preload::command_begins(command);
    return real<FILE *(const char *, const char *)>("popen")(command, mode);
}

unsigned sleep(unsigned seconds)
{
    preload::record_number(inside::kEntrySleep, static_cast<long>(seconds));
    preload::time_passes(1000000LL * seconds);
    await_commands();
    pause_passed();
    return 0;
}

int usleep(useconds_t microseconds)
{
    preload::record_number(inside::kEntryUsleep, static_cast<long>(microseconds));
    preload::time_passes(microseconds);
    if (microseconds >= 1000) {
        await_commands();
    }
    if (microseconds >= 10) {
        pause_passed();
    }
    return 0;
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name,bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
