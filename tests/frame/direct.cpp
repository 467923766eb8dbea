// The command frame's helpers and the settings store, one call at a time.
//
// A number that a call gives back is printed as a line; a text too, "(none)" where there is none. A name
// given as "-" is a null pointer.
#include "tests/direct.h"

#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <cstring>

#include "rc/files.h"
#include "rc/frame.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/toolbox.h"

namespace {

const char *word_or_null(const char *word)
{
    return strcmp(word, "-") == 0 ? nullptr : word;
}

int print_number(long number)
{
    (void)printf("%ld\n", number);
    return 0;
}

int print_text(const std::optional<std::string> &text)
{
    (void)puts(text ? text->c_str() : "(none)");
    return 0;
}

// ---- settings store -------------------------------------------------------------------------------------

// nvram_get KEY
int direct_nvram_get(int count, char **words)
{
    return count == 1 ? print_text(nvram_get(words[0])) : 2;
}

// nvram_get_fun KEY PATH
int direct_nvram_get_fun(int count, char **words)
{
    return count == 2 ? print_text(nvram_get_fun(words[0], words[1])) : 2;
}

// nvram_get_buffer KEY SIZE: reads into a buffer of SIZE bytes that holds "old" before.
int direct_my_nvram_get(int count, char **words)
{
    if (count != 2) {
        return 2;
    }
    char buffer[64] = "old";
    const size_t size = strtoul(words[1], nullptr, 10);
    my_nvram_get(word_or_null(words[0]), buffer, size < sizeof buffer ? size : sizeof buffer);
    (void)puts(buffer);
    return 0;
}

// nvram_set KEY VALUE
int direct_nvram_set(int count, char **words)
{
    if (count != 2) {
        return 2;
    }
    nvram_set(words[0], words[1]);
    return 0;
}

// nvram_set_long KEY COUNT: a value of COUNT letters.
int direct_nvram_set_long(int count, char **words)
{
    if (count != 2) {
        return 2;
    }
    nvram_set(words[0], std::string(strtoul(words[1], nullptr, 10), 'x'));
    return 0;
}

// nvram_length KEY: the length of its value.
int direct_nvram_length(int count, char **words)
{
    return count == 1 ? print_number(static_cast<long>(nvram_text(words[0]).size())) : 2;
}

// nvram_int KEY
int direct_nvram_int(int count, char **words)
{
    return count == 1 ? print_number(nvram_int(words[0])) : 2;
}

int direct_nvram_commit(int count, char **)
{
    return count == 0 ? print_number(nvram_commit()) : 2;
}

int direct_nvram_load(int count, char **)
{
    return count == 0 ? print_number(nvram_load()) : 2;
}

// readFileBin PATH: the size.
int direct_read_file(int count, char **words)
{
    Bytes bytes;
    return count == 1 ? print_number(readFileBin(words[0], bytes)) : 2;
}

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
    return print_number(status);
}

// writeFileBin PATH TEXT
int direct_write_file(int count, char **words)
{
    return count == 2 ? print_number(writeFileBin(words[0], words[1])) : 2;
}

// ---- shell helpers --------------------------------------------------------------------------------------

// SYSTEM COMMAND
int direct_system(int count, char **words)
{
    return count == 1 ? print_number(SYSTEM("%s", words[0])) : 2;
}

// MY_SYSTEM COMMAND
int direct_my_system(int count, char **words)
{
    return count == 1 ? print_number(MY_SYSTEM("%s", words[0])) : 2;
}

// myPipe COMMAND: the status, then the length of the output, then the output itself.
int direct_my_pipe(int count, char **words)
{
    if (count != 1) {
        return 2;
    }
    std::string output = "old";
    (void)print_number(myPipe(words[0], output));
    (void)print_number(static_cast<long>(output.size()));
    (void)fputs(output.c_str(), stdout);
    return 0;
}

// rc_add_running NAME
int direct_add_running(int count, char **words)
{
    return count == 1 ? print_number(rc_add_running(word_or_null(words[0]))) : 2;
}

// rc_del_running NAME
int direct_del_running(int count, char **words)
{
    return count == 1 ? print_number(rc_del_running(word_or_null(words[0]))) : 2;
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
    return count == 1 ? print_text(getIPAddress(words[0])) : 2;
}

// getIPAddress INTERFACE
int direct_address(int count, char **words)
{
    return count == 1 ? print_text(getIPAddress(words[0])) : 2;
}

int direct_check_address(int count, char **)
{
    return count == 0 ? print_number(check_wanIp()) : 2;
}

// boot_env_set NAME VALUE
int direct_boot_env(int count, char **words)
{
    return count == 2 ? print_number(set_boot_env(words[0], words[1])) : 2;
}

int direct_factory_data(int count, char **)
{
    return count == 0 ? print_number(read_factory_data()) : 2;
}

int direct_version_letter(int count, char **)
{
    return count == 0 ? print_number(version_letter()) : 2;
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

const DirectOperation kFrameOperations[] = {
    {"nvram_get", direct_nvram_get},
    {"nvram_get_fun", direct_nvram_get_fun},
    {"nvram_get_buffer", direct_my_nvram_get},
    {"nvram_set", direct_nvram_set},
    {"nvram_set_long", direct_nvram_set_long},
    {"nvram_set_full", direct_nvram_set_full},
    {"nvram_length", direct_nvram_length},
    {"nvram_int", direct_nvram_int},
    {"nvram_commit", direct_nvram_commit},
    {"nvram_load", direct_nvram_load},
    {"readFileBin", direct_read_file},
    {"writeFileBin", direct_write_file},
    {"lock_and_write", direct_lock_and_write},
    {"SYSTEM", direct_system},
    {"MY_SYSTEM", direct_my_system},
    {"myPipe", direct_my_pipe},
    {"rc_add_running", direct_add_running},
    {"rc_del_running", direct_del_running},
    {"getIPAddress", direct_address},
    {"getIPAddress_no_socket", direct_address_no_socket},
    {"check_wanIp", direct_check_address},
    {"boot_env_set", direct_boot_env},
    {"factory_data", direct_factory_data},
    {"version_letter", direct_version_letter},
    {"caller", direct_caller},
    {nullptr, nullptr},
};
