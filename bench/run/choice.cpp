// Which sandbox is used: the strongest that works on this workstation, or the one that BENCH_SANDBOX names.
#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/ptrace.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "bench/run/place.h"
#include "bench/run/sandbox.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

// What a child process that tries something ends with: 0, or the error's number.
template <typename Try>
int error_in_child(const Try &attempt)
{
    const pid_t child = fork();
    if (child == 0) {
        _exit(attempt() ? 0 : errno);
    }
    int status = 0;
    while (child > 0 && waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return child > 0 && WIFEXITED(status) ? WEXITSTATUS(status) : EAGAIN;
}

int namespaces_error(int more)
{
    return error_in_child([&] {
        return unshare(CLONE_NEWNS | CLONE_NEWPID | CLONE_NEWNET | CLONE_NEWUTS | CLONE_NEWIPC | more) == 0 &&
               mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0;
    });
}

std::string refused(const char *what, int error)
{
    return std::string(what) + ": " + strerror(error);
}

struct Way {
    Sandbox sandbox;
    const char *name;
    bool (*works)(std::string &why);
};

constexpr std::array kWays = {
    Way{Sandbox::kNamespaces, "namespaces", can_use_namespaces},
    Way{Sandbox::kChroot, "chroot", can_use_chroot},
    Way{Sandbox::kProot, "proot", can_use_proot},
};

Sandbox forced(const std::string &name)
{
    for (const Way &way : kWays) {
        std::string why;
        if (name != way.name) {
            continue;
        }
        if (!way.works(why)) {
            throw Error("BENCH_SANDBOX=" + name + " does not work here: " + why);
        }
        return way.sandbox;
    }
    throw Error("BENCH_SANDBOX=" + name + ": no such sandbox; use namespaces, chroot or proot");
}

Sandbox strongest()
{
    std::string missing;
    for (const Way &way : kWays) {
        std::string why;
        if (way.works(why)) {
            return way.sandbox;
        }
        missing += (missing.empty() ? "" : "; ") + std::string(way.name) + " (" + why + ")";
    }
    throw Error("no sandbox works here: " + missing);
}

}  // namespace

bool needs_user_namespace()
{
    static const bool needed = geteuid() != 0 || namespaces_error(0) != 0;
    return needed;
}

bool can_use_namespaces(std::string &why)
{
    if (access(kBubblewrap, X_OK) != 0) {
        why = "bubblewrap is not installed";
        return false;
    }
    const int error = needs_user_namespace() ? namespaces_error(CLONE_NEWUSER) : 0;
    why = refused("new namespaces", error);
    return error == 0;
}

bool can_hold_devices(const fs::path &directory)
{
    const fs::path device = directory / (".bench-device." + std::to_string(getpid()));
    const int error = error_in_child([&] {
        return mknod(device.c_str(), S_IFCHR | 0600, makedev(1, 3)) == 0 &&
               open(device.c_str(), O_WRONLY) >= 0;
    });
    unlink(device.c_str());
    return error == 0;
}

bool can_use_chroot(std::string &why)
{
    if (geteuid() != 0) {
        why = "needs root";
        return false;
    }
    if (const int error = error_in_child([] { return chroot("/") == 0; }); error != 0) {
        why = refused("chroot", error);
        return false;
    }
    why = "no directory in which device files can be made: set TMPDIR to one";
    return has_place_for_roots(true);
}

bool can_use_proot(std::string &why)
{
    if (access(kProot, X_OK) != 0) {
        why = "proot is not installed";
        return false;
    }
    const int error = error_in_child([] { return ptrace(PTRACE_TRACEME, 0, nullptr, nullptr) == 0; });
    why = refused("tracing", error);
    return error == 0;
}

Sandbox sandbox()
{
    static const Sandbox chosen = [] {
        const char *name = getenv("BENCH_SANDBOX");
        return name == nullptr || *name == '\0' ? strongest() : forced(name);
    }();
    return chosen;
}

const char *sandbox_name(Sandbox sandbox)
{
    return kWays.at(static_cast<size_t>(sandbox)).name;
}

}  // namespace bench
