#include "bench/live/process.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <filesystem>

#include "bench/live/router.h"
#include "bench/router.h"
#include "bench/run/files.h"

namespace live {

namespace {

using bench::Error;
using Clock = std::chrono::steady_clock;

constexpr const char *kPath = "PATH=/usr/sbin:/usr/bin:/sbin:/bin";

[[noreturn]] void become(const Words &words, const Words &environment)
{
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    std::vector<char *> variables = {const_cast<char *>(kPath)};
    for (const std::string &word : words) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    for (const std::string &variable : environment) {
        variables.push_back(const_cast<char *>(variable.c_str()));
    }
    arguments.push_back(nullptr);
    variables.push_back(nullptr);
    execvpe(arguments[0], arguments.data(), variables.data());
    perror(arguments[0]);
    _exit(127);
}

// Standard input from nowhere, standard output and error to `out`, nothing else open.
void redirect(int out)
{
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(out, STDERR_FILENO);
    close_range(3, ~0U, 0);
}

int open_log(const std::string &place)
{
    std::filesystem::create_directories("/run/log");
    return open(("/run/log/" + place).c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
}

int exit_status(int status)
{
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Waits for a child, at most so long; past that it is killed and the status is 128 + SIGKILL.
int wait_for(pid_t child, double seconds)
{
    const int watched = static_cast<int>(syscall(SYS_pidfd_open, child, 0));
    pollfd asked = {watched, POLLIN, 0};
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    int ready = 0;
    do {
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - Clock::now()).count();
        ready = poll(&asked, 1, left > 0 ? static_cast<int>(left) : 0);
    } while (ready < 0 && errno == EINTR);
    close(watched);
    if (ready == 0) {
        kill(child, SIGKILL);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return exit_status(status);
}

// Runs a program, in a place unless that is null; what it writes is the result's text.
Result collect(const Place *place, const Words &words)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw Error("cannot make a pipe");
    }
    const pid_t process = fork();
    if (process == 0) {
        if (place != nullptr && setns(place->network, CLONE_NEWNET) != 0) {
            _exit(126);
        }
        redirect(ends[1]);
        become(words, {});
    }
    close(ends[1]);
    Result result;
    char piece[4096];
    ssize_t got = 0;
    while ((got = read(ends[0], piece, sizeof piece)) > 0 || (got < 0 && errno == EINTR)) {
        result.output.append(piece, got > 0 ? static_cast<size_t>(got) : 0);
    }
    close(ends[0]);
    result.status = wait_for(process, 60);
    return result;
}

// Into the router's namespaces and its root, as a child of its process 1 or of nobody there.
pid_t fork_into_router(const Place &router)
{
    const int keeper = static_cast<int>(syscall(SYS_pidfd_open, router.keeper, 0));
    if (keeper < 0 || setns(keeper, CLONE_NEWNET | CLONE_NEWUTS | CLONE_NEWNS | CLONE_NEWPID) != 0) {
        perror("rcbench: cannot enter the router");
        _exit(126);
    }
    close(keeper);
    if (chroot(kRouterRoot) != 0 || chdir("/") != 0) {
        perror("rcbench: cannot enter the router's root");
        _exit(126);
    }
    return fork();
}

pid_t launch_in_router(const Place &router, const RouterRun &run, bool waits)
{
    const int log = open_log("router");
    const pid_t between = fork();
    if (between != 0) {
        close(log);
        return between;
    }
    const pid_t inside = fork_into_router(router);
    if (inside == 0) {
        setsid();
        redirect(log);
        become(run.words, run.environment);
    }
    int status = 0;
    if (waits) {
        while (waitpid(inside, &status, 0) < 0 && errno == EINTR) {
        }
    }
    _exit(exit_status(status));
}

std::string read_log(const std::string &place)
{
    const std::string file = "/run/log/" + place;
    return access(file.c_str(), R_OK) == 0 ? bench::read_whole(file) : "";
}

}  // namespace

Result run_outside(const Words &words)
{
    return collect(nullptr, words);
}

Result run_in(const Place &place, const Words &words)
{
    return collect(&place, words);
}

void start_in(const Place &place, const Words &words)
{
    const int log = open_log(place.name);
    const pid_t child = fork();
    if (child == 0) {
        setsid();
        if (setns(place.network, CLONE_NEWNET) == 0) {
            redirect(log);
            become(words, {});
        }
        _exit(126);
    }
    close(log);
}

Result run_in_router(const Place &router, const RouterRun &run)
{
    const size_t before = read_log("router").size();
    Result result;
    result.status = wait_for(launch_in_router(router, run, true), run.limit);
    result.output = read_log("router").substr(before);
    return result;
}

void start_in_router(const Place &router, const RouterRun &run)
{
    (void)wait_for(launch_in_router(router, run, false), 60);
}

std::string log_tail(const std::string &place, size_t lines)
{
    const std::string text = read_log(place);
    size_t from = text.size();
    for (size_t i = 0; i <= lines && from != 0 && from != std::string::npos; ++i) {
        from = text.rfind('\n', from - 1);
    }
    return from == std::string::npos || from == 0 ? text : text.substr(from + 1);
}

}  // namespace live
