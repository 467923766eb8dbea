#include "bench/run/inside/shared.h"

#include <dirent.h>
#include <fcntl.h>
#include <linux/audit.h>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/ioctl.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "bench/run/inside/inside.h"

namespace inside {

namespace {

int proc = -1;  // the workstation's /proc, which a root does not have

bool failed(const char *what)
{
    fprintf(stderr, "bench_init: cannot %s: %s\n", what, strerror(errno));
    return false;
}

// ---- processes ------------------------------------------------------------------------------------------

// The parent of a process; 0 when there is no such process.
pid_t parent_of(pid_t process)
{
    char path[32];
    snprintf(path, sizeof path, "%d/stat", static_cast<int>(process));
    const int fd = openat(proc, path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return 0;
    }
    char text[512];
    const ssize_t length = read(fd, text, sizeof text - 1);
    close(fd);
    text[length > 0 ? length : 0] = '\0';
    // The name of the program stands in brackets and may hold anything.
    const char *after_name = strrchr(text, ')');
    int parent = 0;
    return after_name != nullptr && sscanf(after_name + 1, " %*c %d", &parent) == 1 ? parent : 0;
}

bool is_of_this_run(pid_t process)
{
    const pid_t self = getpid();
    for (int steps = 0; process > 1 && steps < 1000; ++steps) {
        if (process == self) {
            return true;
        }
        process = parent_of(process);
    }
    return false;
}

void end_process(pid_t process)
{
    (void)syscall(SYS_tgkill, process, process, SIGKILL);  // kill() itself is guarded
}

// Ends the children of a process and theirs. What one look misses (more than fit here, deeper ones, children
// of other threads) comes to the subreaper when its parent has ended. False when the kernel lists no
// children.
bool end_children(pid_t of, int depth)
{
    constexpr int kDeepest = 100;
    char path[48];
    snprintf(path, sizeof path, "%d/task/%d/children", static_cast<int>(of), static_cast<int>(of));
    const int fd = openat(proc, path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return false;
    }
    char text[4096];
    const ssize_t length = read(fd, text, sizeof text - 1);
    close(fd);
    text[length > 0 ? length : 0] = '\0';
    char *last = strrchr(text, ' ');  // a number cut off has no blank behind it
    if (last != nullptr) {
        *last = '\0';
    }
    const char *at = last == nullptr ? "" : text;
    while (*at != '\0') {
        char *end = nullptr;
        const auto child = static_cast<pid_t>(strtol(at, &end, 10));
        at = end;
        if (child > 1) {
            end_process(child);
            (void)(depth < kDeepest && end_children(child, depth + 1));
        }
    }
    return true;
}

// The same by looking at every process of the machine.
void end_all_found()
{
    const int fd = openat(proc, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    DIR *all = fd < 0 ? nullptr : fdopendir(fd);
    if (all == nullptr) {
        return;
    }
    const pid_t self = getpid();
    while (const dirent *entry = readdir(all)) {
        const pid_t process = atoi(entry->d_name);
        if (process > 1 && process != self && is_of_this_run(process)) {
            end_process(process);
        }
    }
    closedir(all);
}

// ---- privileges -----------------------------------------------------------------------------------------

// What a run of rc as the router's root needs of the workstation: every file of the root is its own.
bool keep_file_privileges()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct now[2] = {};
    if (syscall(SYS_capget, &header, now) != 0) {
        return failed("read privileges");
    }
    const unsigned files = 1U << CAP_DAC_OVERRIDE | 1U << CAP_FOWNER;
    const unsigned kept = now[0].permitted & files;
    const __user_cap_data_struct wanted[2] = {{kept, kept, 0}, {0, 0, 0}};
    return syscall(SYS_capset, &header, wanted) == 0 || failed("give up privileges");
}

// ---- system calls ---------------------------------------------------------------------------------------

#if defined(__x86_64__)
constexpr unsigned kMachine = AUDIT_ARCH_X86_64;
#elif defined(__aarch64__)
constexpr unsigned kMachine = AUDIT_ARCH_AARCH64;
#elif defined(__riscv) && __riscv_xlen == 64
constexpr unsigned kMachine = AUDIT_ARCH_RISCV64;
#elif defined(__s390x__)
constexpr unsigned kMachine = AUDIT_ARCH_S390X;
#else
constexpr unsigned kMachine = 0;  // none of those the calls' numbers are known for
#endif

constexpr unsigned kAllow = SECCOMP_RET_ALLOW;
constexpr unsigned kNoNetwork = SECCOMP_RET_ERRNO | ENETUNREACH;
constexpr unsigned kNoProcess = SECCOMP_RET_ERRNO | ESRCH;

// Filter of system calls; `signals` is what is answered to kill().
int install_filter(unsigned signals, unsigned flags)
{
    const auto load = [](size_t place) {
        return sock_filter BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<unsigned>(place));
    };
    const auto unless = [](unsigned value, unsigned char skip) {
        return sock_filter BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, value, 0, skip);
    };
    const auto answer = [](unsigned action) { return sock_filter BPF_STMT(BPF_RET | BPF_K, action); };
    constexpr size_t kAddress = offsetof(seccomp_data, args) + 4 * sizeof(seccomp_data::args[0]);
    sock_filter steps[] = {
        load(offsetof(seccomp_data, arch)),
        unless(kMachine, 14),
        load(offsetof(seccomp_data, nr)),
        unless(SYS_kill, 1),
        answer(signals),
        unless(SYS_connect, 1),
        answer(kNoNetwork),
        unless(SYS_sendmsg, 1),
        answer(kNoNetwork),
        unless(SYS_sendmmsg, 1),
        answer(kNoNetwork),
        unless(SYS_sendto, 4),
        // Without an address it is a plain write.
        load(kAddress),
        unless(0, 1),
        answer(kAllow),
        answer(kNoNetwork),
        answer(kAllow),
    };
    const sock_fprog program = {static_cast<unsigned short>(std::size(steps)), steps};
    return static_cast<int>(syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, flags, &program));
}

}  // namespace

bool leave_workstation(const char *directory)
{
    proc = open(directory == nullptr ? "/.bench/proc" : "/proc", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (proc < 0) {
        return failed("open /proc");
    }
    if (prctl(PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0) {
        return failed("become the subreaper");
    }
    (void)setsid();  // fails for one that leads its group, which then is its own already
    if (directory != nullptr && (chroot(directory) != 0 || chdir("/") != 0)) {
        return failed("change the root directory");
    }
    return keep_file_privileges();
}

int guard_calls()
{
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || kMachine == 0) {
        return -1;
    }
    const int questions = install_filter(SECCOMP_RET_USER_NOTIF, SECCOMP_FILTER_FLAG_NEW_LISTENER);
    if (questions < 0) {
        (void)install_filter(kNoProcess, 0);
    }
    return questions;
}

void answer_signal(int questions)
{
    seccomp_notif asked = {};
    if (ioctl(questions, SECCOMP_IOCTL_NOTIF_RECV, &asked) != 0) {
        return;
    }
    const auto process = static_cast<pid_t>(asked.data.args[0]);
    // 0 and negative numbers mean groups; a group's number is that of the process that made it.
    const bool ours = process == 0 || (process != -1 && is_of_this_run(process < 0 ? -process : process));
    seccomp_notif_resp answer = {};
    answer.id = asked.id;
    if (process > 0 && process == getpid()) {
        answer.val = 0;  // process 1 ignores what it does not wait for
    } else if (ours) {
        answer.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    } else {
        answer.error = -ESRCH;
    }
    (void)ioctl(questions, SECCOMP_IOCTL_NOTIF_SEND, &answer);  // fails when the asking process is gone
}

void end_descendants()
{
    if (!end_children(getpid(), 0)) {
        end_all_found();
    }
}

}  // namespace inside
