// Runs a program as in a container with its usual restrictions:
//
//     confined [--user] PROGRAM WORDS...
//
// Root keeps only the privileges a container usually has, so neither those over the system nor those over the
// network; unshare, setns, mount, umount2, pivot_root, and clone with new namespaces are refused. With --user
// it becomes an ordinary user first (nobody), when it is root.
#include <grp.h>
#include <linux/audit.h>
#include <linux/capability.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sched.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

constexpr unsigned kNewNamespaces =
    CLONE_NEWNS | CLONE_NEWCGROUP | CLONE_NEWUTS | CLONE_NEWIPC | CLONE_NEWUSER | CLONE_NEWPID | CLONE_NEWNET;

constexpr int kKept[] = {CAP_CHOWN,  CAP_DAC_OVERRIDE, CAP_FOWNER,     CAP_FSETID,           CAP_KILL,
                         CAP_SETGID, CAP_SETUID,       CAP_SETPCAP,    CAP_NET_BIND_SERVICE, CAP_NET_RAW,
                         CAP_MKNOD,  CAP_SYS_CHROOT,   CAP_AUDIT_WRITE};

bool is_kept(int capability)
{
    for (const int kept : kKept) {
        if (kept == capability) {
            return true;
        }
    }
    return false;
}

bool drop_privileges()
{
    __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[2] = {};
    for (int capability = 0; capability <= CAP_LAST_CAP; ++capability) {
        if (!is_kept(capability) && prctl(PR_CAPBSET_DROP, capability, 0, 0, 0) != 0 && errno != EINVAL) {
            return false;
        }
    }
    for (const int kept : kKept) {
        sets[kept / 32].permitted |= 1U << (kept % 32);
    }
    for (__user_cap_data_struct &set : sets) {
        set.effective = set.permitted;
    }
    return syscall(SYS_capset, &header, sets) == 0;
}

bool become_nobody()
{
    constexpr unsigned kNobody = 65534;
    return setgroups(0, nullptr) == 0 && setgid(kNobody) == 0 && setuid(kNobody) == 0;
}

bool refuse_namespaces()
{
    constexpr unsigned kAllow = SECCOMP_RET_ALLOW;
    constexpr unsigned kRefuse = SECCOMP_RET_ERRNO | EPERM;
    constexpr unsigned kUnknown = SECCOMP_RET_ERRNO | ENOSYS;
    constexpr unsigned kFlagsLow =
        offsetof(seccomp_data, args) + (__BYTE_ORDER__ == __ORDER_BIG_ENDIAN__ ? 4 : 0);
    sock_filter steps[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_unshare, 9, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_setns, 8, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_mount, 7, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_umount2, 6, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pivot_root, 5, 0),
        // The C library falls back to clone, whose flags can be looked at.
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone3, 5, 0),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_clone, 0, 2),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kFlagsLow),
        BPF_JUMP(BPF_JMP | BPF_JSET | BPF_K, kNewNamespaces, 1, 0),
        BPF_STMT(BPF_RET | BPF_K, kAllow),
        BPF_STMT(BPF_RET | BPF_K, kRefuse),
        BPF_STMT(BPF_RET | BPF_K, kUnknown),
    };
    const sock_fprog program = {static_cast<unsigned short>(std::size(steps)), steps};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 &&
           syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, 0, &program) == 0;
}

}  // namespace

int main(int count, char **words)
{
    const bool as_user = count > 1 && strcmp(words[1], "--user") == 0;
    char **command = words + (as_user ? 2 : 1);
    if (count < (as_user ? 3 : 2)) {
        fputs("usage: confined [--user] PROGRAM WORDS...\n", stderr);
        return 2;
    }
    if (geteuid() == 0 && !(as_user ? become_nobody() : drop_privileges())) {
        perror("confined: cannot give up privileges");
        return 3;
    }
    if (!refuse_namespaces()) {
        perror("confined: cannot refuse system calls");
        return 3;
    }
    execv(command[0], command);
    fprintf(stderr, "confined: cannot run %s: %s\n", command[0], strerror(errno));
    return 3;
}
