// bench_live_tool: what the adapters and stand-ins of a live router cannot do as scripts.
//
//     outside PROGRAM WORD...          a program of the workstation, in the router's network
//     as NAME PROGRAM WORD...          a program under another name in the list of processes
//     processes ps|killall WORD...     busybox's command where /proc is the router's own
//     iptables WORD...                 the packet filter
//     names OPTION...                  the name relay, and the provider's name server
//     dhcp FILE                        the LAN's DHCP server
#include "bench/live/inside/tool.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <exception>

namespace live_tool {

namespace {

Words rest(const Words &words, size_t from)
{
    return {words.begin() + static_cast<std::ptrdiff_t>(from), words.end()};
}

int outside(const Words &words)
{
    enter_workstation();
    return words.empty() ? 2 : become(words[0], words);
}

// The kernel names a process after the file it was started from, so the name is a link to the program.
// Programs that are scripts or busybox's commands take their part from the first word.
int as(const Words &words)
{
    if (words.size() < 2) {
        return 2;
    }
    const std::string link = "/.live/as/" + words[0];
    (void)symlink(words[1].c_str(), link.c_str());
    const bool is_busybox = words[1] == "/.live/busybox";
    return become(link, is_busybox ? rest(words, 2) : rest(words, 1));
}

int processes(const Words &words)
{
    if (words.empty() || unshare(CLONE_NEWNS) != 0 ||
        mount("/.live/proc", "/proc", nullptr, MS_BIND | MS_REC, nullptr) != 0) {
        perror("processes");
        return 1;
    }
    return become("/.live/busybox", words);
}

int status_of(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

// Starts a program of the workstation with one end of a pipe as its descriptor `fd`; the other end.
int start_with_pipe(const Words &words, int fd, pid_t &child)
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) {
        perror("pipe");
        exit(1);
    }
    const int theirs = fd == STDIN_FILENO ? 0 : 1;
    child = fork();
    if (child == 0) {
        dup2(ends[theirs], fd);
        enter_workstation();
        _exit(become(words[0], words));
    }
    close(ends[theirs]);
    return ends[1 - theirs];
}

int work(const Words &words)
{
    const std::string name = words.empty() ? "" : words[0];
    const Words others = words.empty() ? Words() : rest(words, 1);
    if (name == "outside") {
        return outside(others);
    }
    if (name == "as") {
        return as(others);
    }
    if (name == "processes") {
        return processes(others);
    }
    if (name == "iptables") {
        return filter(others);
    }
    if (name == "names") {
        return names(others);
    }
    if (name == "dhcp") {
        return dhcp(others);
    }
    fprintf(stderr, "bench_live_tool: no such word: %s\n", name.c_str());
    return 2;
}

}  // namespace

int become(const std::string &path, const Words &words)
{
    std::vector<char *> arguments;
    arguments.reserve(words.size() + 1);
    for (const std::string &word : words) {
        arguments.push_back(const_cast<char *>(word.c_str()));
    }
    arguments.push_back(nullptr);
    execvp(path.c_str(), arguments.data());
    perror(path.c_str());
    return 127;
}

void enter_workstation()
{
    if (access("/.live/workstation", F_OK) == 0 && (chroot("/.live/workstation") != 0 || chdir("/") != 0)) {
        perror("enter the workstation's files");
        exit(1);
    }
    setenv("PATH", "/usr/sbin:/usr/bin:/sbin:/bin", 1);
}

std::string output_of(const Words &words, int &status)
{
    pid_t child = 0;
    const int from = start_with_pipe(words, STDOUT_FILENO, child);
    std::string text;
    char piece[4096];
    ssize_t got = 0;
    while ((got = read(from, piece, sizeof piece)) > 0) {
        text.append(piece, static_cast<size_t>(got));
    }
    close(from);
    status = status_of(child);
    return text;
}

int feed(const Words &words, const std::string &input)
{
    pid_t child = 0;
    const int to = start_with_pipe(words, STDIN_FILENO, child);
    for (size_t at = 0; at < input.size();) {
        const ssize_t put = write(to, input.data() + at, input.size() - at);
        if (put < 0) {
            break;
        }
        at += static_cast<size_t>(put);
    }
    close(to);
    return status_of(child);
}

std::string read_file(const std::string &path)
{
    std::string text;
    FILE *file = fopen(path.c_str(), "re");
    if (file == nullptr) {
        return text;
    }
    char piece[4096];
    size_t got = 0;
    while ((got = fread(piece, 1, sizeof piece, file)) > 0) {
        text.append(piece, got);
    }
    fclose(file);
    return text;
}

void write_file(const std::string &path, const std::string &bytes)
{
    const std::string fresh = path + ".new";
    FILE *file = fopen(fresh.c_str(), "we");
    if (file == nullptr) {
        perror(path.c_str());
        return;
    }
    fwrite(bytes.data(), 1, bytes.size(), file);
    fclose(file);
    rename(fresh.c_str(), path.c_str());
}

}  // namespace live_tool

int main(int count, char **words)
{
    try {
        return live_tool::work({words + 1, words + count});
    } catch (const std::exception &problem) {
        fprintf(stderr, "bench_live_tool: %s\n", problem.what());
        return 1;
    }
}
