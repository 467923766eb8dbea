// What is common to all ways to keep a run apart: the files that come from outside, starting it, its end.
#include "bench/run/sandbox.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>

#include "bench/run/files.h"
#include "bench/run/inside/inside.h"
#include "bench/run/platform.h"
#include "bench/run/watch.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

SandboxCommand command_for(const Target &target, const fs::path &root, const Run &run)
{
    switch (sandbox()) {
        case Sandbox::kChroot:
            return chroot_command(target, root, run);
        case Sandbox::kProot:
            return proot_command(target, root, run);
        default:
            return namespaces_command(target, root, run);
    }
}

std::vector<char *> pointers(const std::vector<std::string> &words)
{
    std::vector<char *> all;
    all.reserve(words.size() + 1);
    for (const std::string &word : words) {
        all.push_back(const_cast<char *>(word.c_str()));
    }
    all.push_back(nullptr);
    return all;
}

// The pipe by which init inside learns that the run is to end; see inside::kControlLimit.
struct Control {
    int ends[2] = {-1, -1};

    Control()
    {
        if (pipe2(ends, O_CLOEXEC) != 0) {
            throw Error(std::string("cannot make a pipe: ") + strerror(errno));
        }
    }
    ~Control()
    {
        close(ends[0]);
        close(ends[1]);
    }
    Control(const Control &) = delete;
    Control &operator=(const Control &) = delete;
};

// Starts the sandbox, in a session of its own: nothing that signals its group reaches the caller. Its
// messages go to /.bench/sandbox.
pid_t start(const SandboxCommand &command, const fs::path &root, int control)
{
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, control, STDIN_FILENO);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (root / ".bench/sandbox").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSID);
    pid_t process = 0;
    const int error = posix_spawn(&process, command.words[0].c_str(), &actions, &attributes,
                                  pointers(command.words).data(), pointers(command.environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0) {
        throw Error("cannot run " + command.words[0] + ": " + strerror(error) + ": run scripts/setup");
    }
    return process;
}

}  // namespace

std::vector<Guest> guests(const Target &target, const Run &run)
{
    std::vector<Guest> all = {
        {target.helpers, "/.bench/bin"},         {platform().shell, inside::kShell},
        {platform().busybox, "/.bench/busybox"}, {target.preload, "/.bench/preload"},
        {target.program, "/.bench/rc"},
    };
    if (!run.guest.empty()) {
        all.push_back({fs::absolute(run.guest), "/.bench/guest"});
    }
    if (!run.program.empty()) {
        all.push_back({fs::absolute(run.program), "/.bench/program"});
    }
    if (!target.emulator.empty()) {
        all.push_back({target.emulator, "/.bench/emulator"});
        all.push_back({target.library, "/.bench/library/lib"});
    }
    if (!platform().loader.empty()) {
        all.push_back({platform().libraries, "/.bench/libraries"});
    }
    for (const Guest &guest : all) {
        if (!fs::exists(guest.outside)) {
            throw Error("no such file: " + guest.outside.string());
        }
    }
    return all;
}

void run_in_sandbox(const Target &target, const fs::path &root, const Run &run)
{
    const SandboxCommand command = command_for(target, root, run);
    const Control control;
    const pid_t process = start(command, root, control.ends[0]);
    if (wait_for(process, run.limit) != Outcome::kEnded) {
        (void)!write(control.ends[1], &inside::kControlLimit, 1);
        constexpr double kGrace = 30;  // should init fail to end the run, the sandbox is killed
        if (wait_for(process, kGrace) != Outcome::kEnded) {
            kill_all(process);
        }
    }
    int status = 0;
    while (waitpid(process, &status, 0) < 0 && errno == EINTR) {
    }
    // Whether the init inside got as far as starting the program.
    if (!read_whole(root / ".bench/record").starts_with(inside::kEntryReady)) {
        throw Error("the sandbox did not start: " + read_whole(root / ".bench/sandbox"));
    }
}

}  // namespace bench
