// Process 1 of a run's namespace: makes the network interfaces, starts the program, and ends only when
// every process of the namespace has ended, so that commands in the background finish and are recorded.
// After the time limit it kills what is left.
#include <sys/resource.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>
#include <ctime>

#include "bench/run/inside/inside.h"
#include "bench/run/inside/interfaces.h"

namespace {

struct Plan {
    char *words[inside::kMostWords + 1];
    size_t count;
    long limit_ms;
    long most_output;  // MiB
};

bool read_plan(Plan &plan)
{
    inside::Fields fields = inside::read_fields(inside::kRunFile);
    char *letter = nullptr;
    char *value = nullptr;
    size_t length = 0;
    bool interfaces = false;
    while (inside::next_field(fields, letter, length) && inside::next_field(fields, value, length)) {
        if (*letter == 'a' && plan.count < inside::kMostWords) {
            plan.words[plan.count++] = value;
        } else if (*letter == 'l') {
            plan.limit_ms = atol(value);
        } else if (*letter == 'o') {
            plan.most_output = atol(value);
        } else if (*letter == 'i') {
            interfaces = true;
            if (!inside::make_interface(value)) {
                return false;
            }
        }
    }
    if (interfaces) {
        inside::forbid_sending();
    }
    return true;
}

bool redirect(int fd, const char *path, int flags)
{
    const int opened = open(path, flags, 0600);
    if (opened < 0 || dup2(opened, fd) < 0) {
        fprintf(stderr, "bench_init: cannot open %s: %s\n", path, strerror(errno));
        return false;
    }
    if (opened != fd) {
        close(opened);
    }
    return true;
}

rlim_t output_bytes(const Plan &plan)
{
    return static_cast<rlim_t>(plan.most_output) << 20;
}

// Who writes more into one file is killed, so that no run fills the workstation's memory.
void limit_output(const Plan &plan)
{
    const rlimit files = {output_bytes(plan), output_bytes(plan)};
    (void)setrlimit(RLIMIT_FSIZE, &files);
}

bool is_full(const char *path, const Plan &plan)
{
    struct stat file = {};
    return stat(path, &file) == 0 && static_cast<rlim_t>(file.st_size) >= output_bytes(plan);
}

// Notes it when some run's output or standard error has reached the limit.
void report_full_output(const Plan &plan)
{
    bool full = is_full(inside::kErrors, plan);
    for (int run = 0; !full; run++) {
        char name[16];
        char path[64];
        snprintf(name, sizeof name, "%d", run);
        inside::output_path(path, name);
        if (access(path, F_OK) != 0) {
            return;
        }
        full = is_full(path, plan);
    }
    inside::write_record(inside::kEntryLimit, "output");
}

[[noreturn]] void become_program(const Plan &plan, const sigset_t &mask)
{
    static inside::Program program;
    inside::read_program(program);
    setenv(inside::kRunName, "0", 1);
    setenv(inside::kCommandName, "0", 1);
    setenv(inside::kDirectName, "1", 1);
    sigprocmask(SIG_SETMASK, &mask, nullptr);
    limit_output(plan);
    if (program.first != nullptr) {
        inside::run_program(program, program.first, plan.words);
    }
    fprintf(stderr, "bench_init: cannot run %s: %s\n", program.first == nullptr ? "nothing" : program.first,
            strerror(errno));
    _exit(127);
}

// Milliseconds since some point in the past.
long now_ms()
{
    timespec now = {};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long>(now.tv_sec * 1000 + now.tv_nsec / 1000000);
}

// Collects every process that has ended; true when none is left.
bool collect(pid_t program)
{
    for (;;) {
        int status = 0;
        const pid_t ended = waitpid(-1, &status, WNOHANG);
        if (ended == program) {
            char text[16];
            snprintf(text, sizeof text, "%d", status);
            inside::write_record(inside::kEntryExit, text);
        } else if (ended < 0) {
            return errno == ECHILD;
        } else if (ended == 0) {
            return false;
        }
    }
}

void wait_for_all(pid_t program, long limit_ms, const sigset_t &child_signal)
{
    const long end = now_ms() + limit_ms;
    bool killed = false;
    while (!collect(program)) {
        const long left = end - now_ms();
        if (left <= 0 && !killed) {
            inside::write_record(inside::kEntryLimit, "time");
            kill(-1, SIGKILL);
            killed = true;
        }
        const long wait_ms = killed || left <= 0 ? 1000 : left;
        const timespec wait = {wait_ms / 1000, (wait_ms % 1000) * 1000000};
        (void)sigtimedwait(&child_signal, nullptr, &wait);  // woken by a child or by time: both look again
    }
}

}  // namespace

int main()
{
    static Plan plan;
    plan.limit_ms = 20000;
    plan.most_output = 32;
    sigset_t child_signal;
    sigset_t before;
    sigemptyset(&child_signal);
    sigaddset(&child_signal, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child_signal, &before);
    umask(022);
    inside::loopback_up();
    if (!read_plan(plan)) {
        return 2;
    }
    if (!redirect(STDIN_FILENO, "/dev/null", O_RDONLY) ||
        !redirect(STDOUT_FILENO, "/.bench/out.0", O_WRONLY | O_APPEND | O_CREAT) ||
        !redirect(STDERR_FILENO, inside::kErrors, O_WRONLY | O_APPEND | O_CREAT)) {
        return 2;
    }
    inside::write_record(inside::kEntryReady, "");
    const pid_t program = fork();
    if (program == 0) {
        become_program(plan, before);
    }
    if (program < 0) {
        perror("bench_init: cannot start a process");
        return 2;
    }
    wait_for_all(program, plan.limit_ms, child_signal);
    report_full_output(plan);
    return 0;
}
