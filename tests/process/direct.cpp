// Operations that change the process they run in, or start another one.
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "rc/nvram.h"
#include "rc/rc.h"
#include "tests/direct.h"

namespace {

// lock_and_write PATH OWN OTHERS: holds the lock of the file while another process writes OTHERS into it with
// writeFileBin, puts OWN into it and lets the lock go. What the other writes comes after that.
int direct_lock_and_write(int count, char **words)
{
    const int fd = count == 3 ? open(words[0], O_RDWR) : -1;
    if (fd < 0 || lockf(fd, F_LOCK, 0) != 0) {
        return 2;
    }
    const pid_t other = fork();
    if (other == 0) {
        _exit(writeFileBin(words[0], words[2]));
    }
    // The other one empties the file before it asks for the lock; a tenth of a second is more than it takes
    // to write what it has to.
    struct stat state = {};
    while (fstat(fd, &state) == 0 && state.st_size != 0 && waitpid(other, nullptr, WNOHANG) == 0) {
        (void)sched_yield();
    }
    (void)poll(nullptr, 0, 100);
    (void)fstat(fd, &state);
    (void)printf("%ld bytes while locked\n", static_cast<long>(state.st_size));
    (void)!write(fd, words[1], strlen(words[1]));
    (void)lseek(fd, 0, SEEK_SET);
    (void)!lockf(fd, F_ULOCK, 0);
    int status = 0;
    (void)waitpid(other, &status, 0);
    (void)close(fd);
    (void)printf("%d\n", status);
    return 0;
}

// Lets no descriptor be opened any more, and error messages go to standard output.
void run_out_of_descriptors()
{
    (void)dup2(STDOUT_FILENO, STDERR_FILENO);
    rlimit limit = {};
    (void)getrlimit(RLIMIT_NOFILE, &limit);
    limit.rlim_cur = 3;
    (void)setrlimit(RLIMIT_NOFILE, &limit);
}

// getIPAddress_no_socket INTERFACE
int direct_address_no_socket(int count, char **words)
{
    run_out_of_descriptors();
    if (count != 1) {
        return 2;
    }
    const std::optional<std::string> address = getIPAddress(words[0]);
    (void)puts(address ? address->c_str() : "(none)");
    return 0;
}

// nvram_set_full SIZE KEY VALUE: nvram_set on a disk that takes only SIZE bytes of a file.
int direct_nvram_set_full(int count, char **words)
{
    if (count != 3) {
        return 2;
    }
    const rlim_t size = strtoul(words[0], nullptr, 10);
    const rlimit limit = {size, size};
    if (signal(SIGXFSZ, SIG_IGN) == SIG_ERR || setrlimit(RLIMIT_FSIZE, &limit) != 0) {
        return 2;
    }
    nvram_set(words[1], words[2]);
    return 0;
}

// Standard output that is not read.
bool leave_unread()
{
    int ends[2];
    return pipe(ends) == 0 && dup2(ends[1], STDOUT_FILENO) == STDOUT_FILENO && close(ends[0]) == 0 &&
           close(ends[1]) == 0;
}

// caller KIND WORDS: becomes the program WORDS as a caller would start it that has closed its output
// ("closed"), does not read it ("unread"), ignores that ("unread-ignored"), or ignores its children
// ("children").
int direct_caller(int count, char **words)
{
    if (count < 2) {
        return 2;
    }
    const std::string_view kind = words[0];
    const bool made = kind == "closed"           ? close(STDOUT_FILENO) == 0
                      : kind == "children"       ? signal(SIGCHLD, SIG_IGN) != SIG_ERR
                      : kind == "unread"         ? leave_unread()
                      : kind == "unread-ignored" ? leave_unread() && signal(SIGPIPE, SIG_IGN) != SIG_ERR
                                                 : false;
    if (made) {
        execv(words[1], words + 1);
    }
    return 2;
}

}  // namespace

const DirectOperation kProcessOperations[] = {
    {"lock_and_write", direct_lock_and_write},
    {"getIPAddress_no_socket", direct_address_no_socket},
    {"nvram_set_full", direct_nvram_set_full},
    {"caller", direct_caller},
    {nullptr, nullptr},
};
