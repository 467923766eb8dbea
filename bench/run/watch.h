// Watches a run from outside, so that it ends also when rc or a command of it never would.
#pragma once

#include <sys/types.h>

namespace bench {

enum class Outcome {
    kEnded,
    kOverLimit,
};

// Waits for the process to end, or for it and all it started to have used so many seconds of processor time,
// or to have used none for so long. So a run that waits its turn on a busy machine is not ended, one that
// waits for nothing is.
Outcome wait_for(pid_t process, double seconds);

// Kills all that the process started and still lives, then the process: what proot watches would outlive it.
// Who has left the process's tree is not found.
void kill_all(pid_t process);

}  // namespace bench
