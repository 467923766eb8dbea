// bubblewrap makes the namespaces and mounts; bench_init inside makes the interfaces, starts the program and
// waits for everything it left in the background.
#include "bench/run/sandbox.h"

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>

#include "bench/run/files.h"
#include "bench/run/inside/inside.h"
#include "bench/run/platform.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

constexpr const char *kSandbox = "/usr/bin/bwrap";
// The init inside ends a run at its limit; should it fail to, the sandbox is killed this much later.
constexpr double kGrace = 10;

// Whether the sandbox needs a user namespace: an ordinary user's always, root's where the plain way failed.
std::atomic<bool> with_user_namespace = geteuid() != 0;

void add_words(std::vector<std::string> &words, std::initializer_list<std::string> more)
{
    words.insert(words.end(), more);
}

// Mount points are made by the sandbox where they are missing; all are in /.bench or prepared by build().
std::vector<std::string> sandbox_words(const Target &target, const fs::path &root, const Run &run)
{
    std::vector<std::string> words = {kSandbox};
    add_words(words, {"--unshare-pid", "--unshare-net", "--unshare-uts", "--unshare-ipc", "--as-pid-1",
                      "--die-with-parent", "--clearenv"});
    if (with_user_namespace) {
        add_words(words, {"--unshare-user", "--uid", "0", "--gid", "0"});
    }
    add_words(words, {"--cap-drop", "ALL"});
    for (const char *capability :
         {"CAP_NET_ADMIN", "CAP_NET_RAW", "CAP_DAC_OVERRIDE", "CAP_FOWNER", "CAP_KILL"}) {
        add_words(words, {"--cap-add", capability});
    }
    add_words(words, {"--bind", root, "/"});
    add_words(words, {"--dev-bind", "/dev/null", "/dev/null", "--dev-bind", "/dev/full", "/dev/full"});
    add_words(words, {"--ro-bind", target.helpers, "/.bench/bin"});
    add_words(words, {"--ro-bind", platform().shell, inside::kShell});
    add_words(words, {"--ro-bind", platform().busybox, "/.bench/busybox"});
    add_words(words, {"--ro-bind", target.preload, "/.bench/preload"});
    if (!run.guest.empty()) {
        add_words(words, {"--ro-bind", fs::absolute(run.guest), "/.bench/guest"});
    }
    add_words(words, {"--ro-bind", target.program, "/.bench/rc"});
    if (!run.program.empty()) {
        add_words(words, {"--ro-bind", fs::absolute(run.program), "/.bench/program"});
    }
    if (!target.emulator.empty()) {
        add_words(words, {"--ro-bind", target.emulator, "/.bench/emulator"});
        add_words(words, {"--ro-bind", target.library, "/.bench/library/lib"});
    }
    if (!platform().loader.empty()) {
        add_words(words, {"--ro-bind", platform().libraries, platform().libraries});
        add_words(words, {"--ro-bind", fs::canonical(platform().loader), platform().loader});
    }
    if (run.system_view || !run.wrapper.empty()) {
        add_words(words, {"--ro-bind", "/", "/.bench/workstation", "--proc", "/.bench/proc"});
    }
    add_words(words, {"--chdir", "/", "/.bench/bin/bench_init"});
    return words;
}

// Waits for the process to end, at most so long; false when it has not.
bool wait_for(pid_t process, double seconds)
{
    const int fd = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    if (fd < 0) {
        return true;  // an old kernel: the limit inside must do
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    bool ended = false;
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now());
        pollfd asked = {fd, POLLIN, 0};
        const int ready = poll(&asked, 1, static_cast<int>(std::max<long>(left.count(), 0)));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        ended = ready > 0;
        break;
    }
    close(fd);
    return ended;
}

// Runs the sandbox to its end; its messages go to /.bench/sandbox.
void run_sandbox(const std::vector<std::string> &words, const fs::path &root, double limit)
{
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string &word : words) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (root / ".bench/sandbox").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    char *no_environment[] = {nullptr};
    pid_t process = 0;
    const int error = posix_spawn(&process, kSandbox, &actions, nullptr, arguments.data(), no_environment);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw Error(std::string("cannot run ") + kSandbox + ": " + strerror(error) + ": run scripts/setup");
    }
    if (!wait_for(process, limit + kGrace)) {
        kill(process, SIGKILL);
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
}

// Whether the init inside got as far as starting the program.
bool has_begun(const fs::path &root)
{
    return read_whole(root / ".bench/record").starts_with(inside::kEntryReady);
}

}  // namespace

void run_in_sandbox(const Target &target, const fs::path &root, const Run &run)
{
    run_sandbox(sandbox_words(target, root, run), root, run.limit);
    if (!has_begun(root) && !with_user_namespace) {
        with_user_namespace = true;
        run_sandbox(sandbox_words(target, root, run), root, run.limit);
        with_user_namespace = has_begun(root);
    }
    if (!has_begun(root)) {
        throw Error("the sandbox did not start: " + read_whole(root / ".bench/sandbox"));
    }
}

}  // namespace bench
