// The first process of a run: process 1 of the run's namespaces, or the subreaper of a run without them.
// Makes the network interfaces, starts the program, and ends only when every process of the run has ended, so
// that commands in the background finish and are recorded. When the library says so, or dies, it kills what
// is left.
#include <poll.h>
#include <sys/resource.h>
#include <sys/signalfd.h>
#include <sys/wait.h>

#include <cerrno>
#include <csignal>

#include "bench/run/inside/inside.h"
#include "bench/run/inside/interfaces.h"
#include "bench/run/inside/shared.h"

namespace {

struct Plan {
    char *words[inside::kMostWords + 1];
    size_t count;
    long most_output;  // MiB
};

// What kind of place this is.
struct Sandbox {
    bool shared = false;  // processes and network are the workstation's
    int questions = -1;   // about signals, see guard_calls
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
    for (int run = 0; !full; ++run) {
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
    if (program.first != nullptr && program.bare) {
        execv(program.first, plan.words);
    } else if (program.first != nullptr) {
        inside::run_program(program, program.first, plan.words);
    }
    fprintf(stderr, "bench_init: cannot run %s: %s\n", program.first == nullptr ? "nothing" : program.first,
            strerror(errno));
    _exit(127);
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

// Where the library stands while the run lasts: it says when the run is over its limit, and its end of the
// pipe closes when it dies.
constexpr int kControl = 3;

bool take_control_pipe()
{
    return dup2(STDIN_FILENO, kControl) == kControl && fcntl(kControl, F_SETFD, FD_CLOEXEC) == 0;
}

// Reads what the library says; the run is to be ended.
void note_end()
{
    char word = 0;
    if (read(kControl, &word, 1) == 1 && word == inside::kControlLimit) {
        inside::write_record(inside::kEntryLimit, "time");
    }
}

void end_all(const Sandbox &sandbox)
{
    if (sandbox.shared) {
        inside::end_descendants();
    } else {
        kill(-1, SIGKILL);
    }
}

void wait_for_all(pid_t program, const Sandbox &sandbox, const sigset_t &child_signal)
{
    const int children = signalfd(-1, &child_signal, SFD_CLOEXEC | SFD_NONBLOCK);
    pollfd watched[] = {{children, POLLIN, 0}, {sandbox.questions, POLLIN, 0}, {kControl, POLLIN, 0}};
    constexpr int kAgainMs = 20;  // until all that were started meanwhile have been found
    bool ended = false;
    while (!collect(program)) {
        if (ended) {
            end_all(sandbox);
        }
        if (poll(watched, 3, ended ? kAgainMs : -1) <= 0) {
            continue;
        }
        signalfd_siginfo signals;
        (void)!read(children, &signals, sizeof signals);  // several children may stand behind one signal
        if ((watched[1].revents & POLLIN) != 0) {
            inside::answer_signal(sandbox.questions);
        }
        if (watched[2].revents != 0) {
            note_end();
            ended = true;
            watched[2].fd = -1;
        }
    }
}

// How this process was started: alone, it is process 1 of new namespaces; "chroot DIRECTORY" and "shared" say
// that it shares the workstation's, with or without the root directory still to be entered.
bool enter(Sandbox &sandbox, int count, char **words)
{
    if (count == 1) {
        inside::loopback_up();
        return true;
    }
    sandbox.shared = true;
    clearenv();
    const bool changes_root = count == 3 && strcmp(words[1], "chroot") == 0;
    if (!inside::leave_workstation(changes_root ? words[2] : nullptr)) {
        return false;
    }
    sandbox.questions = inside::guard_calls();
    return true;
}

}  // namespace

int main(int count, char **words)
{
    static Plan plan;
    plan.most_output = 32;
    Sandbox sandbox;
    sigset_t child_signal;
    sigset_t before;
    sigemptyset(&child_signal);
    sigaddset(&child_signal, SIGCHLD);
    sigprocmask(SIG_BLOCK, &child_signal, &before);
    umask(022);
    if (!take_control_pipe() || !enter(sandbox, count, words) || !read_plan(plan) ||
        !redirect(STDIN_FILENO, "/dev/null", O_RDONLY) ||
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
    wait_for_all(program, sandbox, child_signal);
    report_full_output(plan);
    return 0;
}
