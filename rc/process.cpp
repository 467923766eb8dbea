// The process as a run needs it: standard descriptors and signals, whatever its caller left.
//
// Needs:  /dev/null
//
// Daemons, web pages and scripts start rc with whatever they have themselves. Its commands find the same as
// they would have without all this.

#include "rc/process.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>

namespace {

// A file opened on a free descriptor 0 to 2 would take what rc and its commands print.
void open_missing_descriptors()
{
    for (int fd = STDIN_FILENO; fd <= STDERR_FILENO; ++fd) {
        if (fcntl(fd, F_GETFD) < 0) {
            (void)!open("/dev/null", O_RDWR);
        }
    }
}

// When nothing reads the output any more, the work is still to be done. Where the signal was ignored it stays
// so, and a handler, unlike that, is not passed on to commands.
void outlive_readers()
{
    struct sigaction action = {};
    if (sigaction(SIGPIPE, nullptr, &action) == 0 && action.sa_handler == SIG_DFL) {
        action.sa_handler = [](int) {};
        action.sa_flags = SA_RESTART;
        (void)sigaction(SIGPIPE, &action, nullptr);
    }
}

}  // namespace

void prepare_process()
{
    open_missing_descriptors();
    // With this signal ignored, the status of a command is lost.
    (void)signal(SIGCHLD, SIG_DFL);
    outlive_readers();
}
