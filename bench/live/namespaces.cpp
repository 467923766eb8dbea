#include "bench/live/namespaces.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <exception>
#include <filesystem>

#include "bench/router.h"
#include "bench/run/files.h"

namespace live {

namespace {

using bench::Error;

constexpr int kOwn = CLONE_NEWUSER | CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWUTS | CLONE_NEWIPC;
constexpr int kRefused = 240;  // exit status of a process that could not make its world

pid_t number_outside = -1;

std::string reason()
{
    return strerror(errno);
}

// The user and the group are root inside, and who they were outside.
void map_user(uid_t user, gid_t group)
{
    bench::write_whole("/proc/self/setgroups", "deny");
    bench::write_whole("/proc/self/uid_map", "0 " + std::to_string(user) + " 1");
    bench::write_whole("/proc/self/gid_map", "0 " + std::to_string(group) + " 1");
}

void mount_or_throw(const char *what, const char *where, const char *type, unsigned long flags)
{
    if (mount(what, where, type, flags, nullptr) != 0) {
        throw Error(std::string("cannot mount ") + type + " at " + where + ": " + reason());
    }
}

void mount_own()
{
    mount_or_throw("none", "/", "", MS_REC | MS_PRIVATE);
    mount_or_throw("proc", "/proc", "proc", MS_NOSUID | MS_NODEV | MS_NOEXEC);
    mount_or_throw("sysfs", "/sys", "sysfs", MS_NOSUID | MS_NODEV | MS_NOEXEC);
    mount_or_throw("tmpfs", "/run", "tmpfs", MS_NOSUID | MS_NODEV);
    std::filesystem::create_directories("/run/netns");
}

// Collects what ends until `worker` does; its exit status.
int reap_until(pid_t worker)
{
    for (;;) {
        int status = 0;
        const pid_t ended = waitpid(-1, &status, 0);
        if (ended == worker) {
            return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
        }
        if (ended < 0 && errno != EINTR) {
            return kRefused;
        }
    }
}

int status_of(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Runs `work` in a child, whose errors are printed there.
template <typename Work>
pid_t in_child(const Work &work)
{
    fflush(nullptr);
    const pid_t child = fork();
    if (child != 0) {
        return child;
    }
    int status = kRefused;
    try {
        status = work();
    } catch (const std::exception &problem) {
        fprintf(stderr, "rcbench: %s\n", problem.what());
    }
    fflush(nullptr);
    _exit(status);
}

// Process 1 of the namespaces. Killed together with the process outside, and with it everything inside.
int be_first(const std::function<int()> &work, int outside)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    pollfd asked = {outside, 0, 0};
    if (read(outside, &number_outside, sizeof number_outside) != sizeof number_outside ||
        (poll(&asked, 1, 0) > 0 && (asked.revents & POLLHUP) != 0)) {
        return kRefused;  // the process outside ended before it could be watched
    }
    close(outside);
    mount_own();
    return reap_until(in_child(work));
}

// Tries one thing after the other, as the network does later; the first that fails, with its reason.
std::string try_all()
{
    const uid_t user = geteuid();
    const gid_t group = getegid();
    if (unshare(kOwn) != 0) {
        return "namespaces are refused (" + reason() + ")";
    }
    map_user(user, group);
    return "";
}

constexpr const char *kTools[][3] = {
    {"ip", "/usr/sbin/ip", "iproute2"},    {"iptables-legacy", "/usr/sbin/iptables-legacy", "iptables"},
    {"ipset", "/usr/sbin/ipset", "ipset"}, {"busybox", "/usr/bin/busybox", "busybox-static"},
    {"dash", "/usr/bin/dash", "dash"},
};

// Run in namespaces of its own: what the kernel must have.
constexpr const char *kKernelTrial =
    "exec >/dev/null 2>&1\n"
    "ip link add br0 type bridge || exit 11\n"
    "ip link add trial0 type veth peer name trial1 || exit 12\n"
    "iptables-legacy -t nat -A POSTROUTING -j MASQUERADE || exit 13\n"
    "ipset create trial hash:net || exit 14\n"
    "iptables-legacy -A FORWARD -m set --match-set trial src -j ACCEPT || exit 15\n"
    "exit 0\n";

std::string kernel_lack(int status)
{
    switch (status) {
        case 0:
            return "";
        case 11:
            return "the kernel has no bridges";
        case 12:
            return "the kernel has no veth interfaces";
        case 13:
            return "the kernel has no legacy packet filter (table nat, target MASQUERADE)";
        case 14:
        case 15:
            return "the kernel has no address sets for the packet filter";
        default:
            return "namespaces, or mounts in them, are refused";
    }
}

int run_trial()
{
    const pid_t child = fork();
    if (child == 0) {
        execl("/usr/bin/dash", "dash", "-c", kKernelTrial, nullptr);
        _exit(127);
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : kRefused;
}

// Keeps a namespace until it is killed with everything else.
[[noreturn]] void keep_place(const std::string &name, int ready)
{
    (void)sethostname(name.c_str(), name.size());
    prctl(PR_SET_NAME, name.c_str());
    (void)!write(ready, "y", 1);
    close(ready);
    for (;;) {
        pause();
    }
}

void name_place(Place &place, int ready)
{
    char byte = 0;
    if (place.keeper < 0 || read(ready, &byte, 1) != 1) {
        throw Error("cannot make the network namespace of " + place.name + ": " + reason());
    }
    close(ready);
    const std::string source = "/proc/" + std::to_string(place.keeper) + "/ns/net";
    const std::string named = "/run/netns/" + place.name;
    place.network = open(source.c_str(), O_RDONLY | O_CLOEXEC);
    bench::write_whole(named, "");
    if (place.network < 0 || mount(source.c_str(), named.c_str(), nullptr, MS_BIND, nullptr) != 0) {
        throw Error("cannot name the network namespace of " + place.name + ": " + reason());
    }
}

pid_t clone_with(unsigned long flags)
{
    fflush(nullptr);
    return static_cast<pid_t>(syscall(SYS_clone, flags | SIGCHLD, 0, 0, 0, 0));
}

}  // namespace

int in_own_namespaces(const std::function<int()> &work)
{
    const std::string lack = try_all();
    if (!lack.empty()) {
        throw Error(lack);
    }
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw Error("cannot make a pipe: " + reason());
    }
    const pid_t first = in_child([&] {
        close(ends[1]);
        return be_first(work, ends[0]);
    });
    if (first < 0 || write(ends[1], &first, sizeof first) != sizeof first) {
        throw Error("namespaces are refused (" + reason() + ")");
    }
    close(ends[0]);
    return status_of(first);
}

pid_t first_process()
{
    return number_outside;
}

std::string what_is_missing()
{
    for (const auto &[name, path, package] : kTools) {
        if (access(path, X_OK) != 0) {
            return std::string("there is no ") + name + "; install the package " + package +
                   " (scripts/setup test)";
        }
    }
    const pid_t child = in_child([] {
        (void)!freopen("/dev/null", "w", stderr);
        return in_own_namespaces(run_trial);
    });
    return kernel_lack(status_of(child));
}

Place make_place(const std::string &name)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw Error("cannot make a pipe: " + reason());
    }
    Place place = {name, clone_with(CLONE_NEWNET | CLONE_NEWUTS)};
    if (place.keeper == 0) {
        keep_place(name, ends[1]);
    }
    close(ends[1]);
    name_place(place, ends[0]);
    return place;
}

Place make_place_with_init(const std::string &name, const std::function<void()> &init)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        throw Error("cannot make a pipe: " + reason());
    }
    Place place = {name, clone_with(CLONE_NEWNET | CLONE_NEWUTS | CLONE_NEWNS | CLONE_NEWPID)};
    if (place.keeper == 0) {
        (void)sethostname(name.c_str(), name.size());
        try {
            (void)!write(ends[1], "y", 1);
            init();
        } catch (const std::exception &problem) {
            fprintf(stderr, "rcbench: the router does not start: %s\n", problem.what());
        }
        fflush(nullptr);
        _exit(kRefused);
    }
    close(ends[1]);
    name_place(place, ends[0]);
    return place;
}

void enter_network(const Place &place)
{
    if (setns(place.network, CLONE_NEWNET) != 0) {
        throw Error("cannot enter the network of " + place.name + ": " + reason());
    }
}

}  // namespace live
