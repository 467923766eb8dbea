// Runs commands again and again, in turns, and notes what each run cost.
//
//     measure [-n RUNS] [-l FILES] [-k] [-p] -o RESULTS -- WORDS... [-- WORDS...]...
//
// One line a run in RESULTS: number of the command (from 0), processor time (user and system, nanoseconds)
// of the process alone, the same with its children, wall time, exit status (or -1), peak of the resident
// memory in KiB, and the peak of the pages of which the process has written a copy of its own (private,
// dirty).
//
//     -n  runs of each command
//     -l  limit of open files
//     -k  keep LD_PRELOAD for the commands
//     -p  measure peak memory (each command is traced up to its exit) and no time. Own pages become fewer
//         only by a few system calls, so they are counted before each of these and at the exit.
//
// Static and small, so that nothing of it shows in what it measures.

#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <time.h>
#include <unistd.h>

enum { kMostCommands = 16 };

extern char **environ;

struct options {
    int runs;
    int files;
    int keep_preload;
    int peak;
    const char *results;
};

struct cost {
    long long own;
    long long all;
    long long wall;
    long peak;
    long own_pages;
    int status;
};

static void fail(const char *what)
{
    fprintf(stderr, "measure: %s: %s\n", what, strerror(errno));
    exit(2);
}

static long long nanoseconds(const struct timespec *time)
{
    return time->tv_sec * 1000000000LL + time->tv_nsec;
}

static long long microseconds(const struct timeval *time)
{
    return time->tv_sec * 1000000LL + time->tv_usec;
}

static long long now(clockid_t clock)
{
    struct timespec time;
    if (clock_gettime(clock, &time) != 0) {
        fail("cannot read a clock");
    }
    return nanoseconds(&time);
}

// Time of a process that has ended but is not collected yet, without its children.
static long long own_time(pid_t process)
{
    clockid_t clock;
    const int error = clock_getcpuclockid(process, &clock);
    if (error != 0) {
        errno = error;
        fail("cannot find the clock of a process");
    }
    return now(clock);
}

static void collect(pid_t process, struct cost *cost)
{
    struct rusage usage;
    int status = 0;
    if (wait4(process, &status, 0, &usage) != process) {
        fail("cannot collect a process");
    }
    cost->all = (microseconds(&usage.ru_utime) + microseconds(&usage.ru_stime)) * 1000;
    cost->status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

static void run_timed(char **words, struct cost *cost)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    const long long begin = now(CLOCK_MONOTONIC);
    pid_t process = 0;
    const int error = posix_spawn(&process, words[0], &actions, NULL, words, environ);
    if (error != 0) {
        errno = error;
        fail(words[0]);
    }
    siginfo_t info;
    if (waitid(P_PID, (id_t)process, &info, WEXITED | WNOWAIT) != 0) {
        fail("cannot wait for a process");
    }
    cost->wall = now(CLOCK_MONOTONIC) - begin;
    cost->own = own_time(process);
    collect(process, cost);
    posix_spawn_file_actions_destroy(&actions);
}

// The number after `name` in a file of the process, in KiB.
static long read_memory(pid_t process, const char *file_name, const char *name)
{
    char path[64];
    snprintf(path, sizeof path, "/.bench/proc/%d/%s", (int)process, file_name);
    FILE *file = fopen(path, "r");
    if (file == NULL) {
        fail(path);
    }
    char line[256];
    long number = 0;
    while (fgets(line, sizeof line, file) != NULL) {
        if (strncmp(line, name, strlen(name)) == 0) {
            number = atol(line + strlen(name));
        }
    }
    fclose(file);
    return number;
}

static void count_own_pages(pid_t process, struct cost *cost)
{
    const long now = read_memory(process, "smaps_rollup", "Private_Dirty:");
    cost->own_pages = now > cost->own_pages ? now : cost->own_pages;
}

// Whether the process is about to give memory back.
static int gives_back(pid_t process)
{
    struct __ptrace_syscall_info info;
    if (ptrace(PTRACE_GET_SYSCALL_INFO, process, (void *)sizeof info, &info) <= 0 ||
        info.op != PTRACE_SYSCALL_INFO_ENTRY) {
        return 0;
    }
    switch (info.entry.nr) {
        case SYS_brk:
        case SYS_munmap:
        case SYS_mmap:
        case SYS_mremap:
        case SYS_madvise:
            return 1;
        default:
            return 0;
    }
}

static void run_traced(char **words, struct cost *cost)
{
    const pid_t process = fork();
    if (process < 0) {
        fail("cannot start a process");
    }
    if (process == 0) {
        const int null = open("/dev/null", O_WRONLY);
        if (null < 0 || dup2(null, STDOUT_FILENO) < 0 || ptrace(PTRACE_TRACEME, 0, NULL, NULL) != 0) {
            _exit(126);
        }
        execv(words[0], words);
        _exit(127);
    }
    int status = 0;
    int begun = 0;
    while (waitpid(process, &status, 0) == process && WIFSTOPPED(status)) {
        int signal = WSTOPSIG(status);
        if (!begun) {
            // The stop that every traced program makes at its start.
            begun = 1;
            signal = 0;
            (void)ptrace(PTRACE_SETOPTIONS, process, NULL,
                         (void *)(PTRACE_O_TRACEEXIT | PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL));
        } else if (status >> 8 == (SIGTRAP | PTRACE_EVENT_EXIT << 8)) {
            cost->peak = read_memory(process, "status", "VmHWM:");
            count_own_pages(process, cost);
            signal = 0;
        } else if (signal == (SIGTRAP | 0x80)) {
            if (gives_back(process)) {
                count_own_pages(process, cost);
            }
            signal = 0;
        }
        if (ptrace(PTRACE_SYSCALL, process, NULL, (void *)(long)signal) != 0) {
            fail("cannot go on with a traced process");
        }
    }
    cost->status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

static int read_options(int count, char **words, struct options *options)
{
    int letter;
    while ((letter = getopt(count, words, "+n:l:o:kp")) != -1) {
        switch (letter) {
            case 'n':
                options->runs = atoi(optarg);
                break;
            case 'l':
                options->files = atoi(optarg);
                break;
            case 'o':
                options->results = optarg;
                break;
            case 'k':
                options->keep_preload = 1;
                break;
            case 'p':
                options->peak = 1;
                break;
            default:
                exit(2);
        }
    }
    return optind;
}

// Cuts the words into commands at each "--".
static int split(char **words, char **commands[kMostCommands])
{
    int count = 0;
    while (*words != NULL && count < kMostCommands) {
        commands[count++] = words;
        while (*words != NULL && strcmp(*words, "--") != 0) {
            ++words;
        }
        if (*words != NULL) {
            *words++ = NULL;
        }
    }
    return count;
}

int main(int count, char **words)
{
    struct options options = {1, 0, 0, 0, NULL};
    char **commands[kMostCommands];
    const int command_count = split(words + read_options(count, words, &options), commands);
    FILE *results = options.results == NULL ? NULL : fopen(options.results, "w");
    if (results == NULL || command_count == 0) {
        fprintf(stderr, "measure: needs -o RESULTS and a command\n");
        return 2;
    }
    (void)fcntl(fileno(results), F_SETFD, FD_CLOEXEC);
    if (!options.keep_preload) {
        unsetenv("LD_PRELOAD");
    }
    const struct rlimit files = {(rlim_t)options.files, (rlim_t)options.files};
    if (options.files > 0 && setrlimit(RLIMIT_NOFILE, &files) != 0) {
        fail("cannot limit open files");
    }
    for (int run = 0; run < options.runs; ++run) {
        for (int i = 0; i < command_count; ++i) {
            struct cost cost = {0, 0, 0, 0, 0, 0};
            if (options.peak) {
                run_traced(commands[i], &cost);
            } else {
                run_timed(commands[i], &cost);
            }
            fprintf(results, "%d %lld %lld %lld %d %ld %ld\n", i, cost.own, cost.all, cost.wall, cost.status,
                    cost.peak, cost.own_pages);
        }
    }
    return fclose(results) == 0 ? 0 : 2;
}
