// /usr/sbin/rc and /sbin/rc in the root: a run of rc started by a command. It is only recorded, or really
// run with a standard output file of its own, as the caller of the bench chose.
#include "bench/run/inside/inside.h"

namespace {

// Gives the run its own standard output when it would write to that of the run it was started by; a pipe
// or another file stays.
void move_output(const char *parent, const char *child)
{
    char path[64];
    inside::output_path(path, parent);
    struct stat ours = {};
    struct stat parents = {};
    if (fstat(STDOUT_FILENO, &ours) != 0 || stat(path, &parents) != 0 || ours.st_ino != parents.st_ino ||
        ours.st_dev != parents.st_dev) {
        return;
    }
    inside::output_path(path, child);
    const int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd >= 0) {
        dup2(fd, STDOUT_FILENO);
        close(fd);
    }
}

void record_words(int count, char **words)
{
    // The words of a process stand one after the other in memory, each ended by NUL.
    const char *end = count > 0 ? words[count - 1] + strlen(words[count - 1]) + 1 : nullptr;
    inside::write_record(inside::kEntryTool, count > 0 ? words[0] : "",
                         count > 0 ? static_cast<size_t>(end - words[0]) : 0);
}

}  // namespace

int main(int count, char **words)
{
    record_words(count, words);
    static inside::Program program;
    inside::read_program(program);
    if (!program.nested || program.path == nullptr) {
        return 0;
    }
    char child[24];
    snprintf(child, sizeof child, "%lu", inside::next_count("runs"));
    const char *parent = inside::environment(inside::kRunName, "0");
    inside::write_record(inside::kEntryRun, child);
    move_output(parent, child);
    setenv(inside::kRunName, child, 1);
    setenv(inside::kCommandName, "0", 1);
    setenv(inside::kDirectName, "1", 1);
    inside::run_program(program, program.path, words);
    perror("bench_rc_recorder: cannot run rc");
    return 127;
}
