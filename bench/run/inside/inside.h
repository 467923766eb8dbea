// What the bench's helpers share inside the root: where their files are, the record, the run file.
//
// Everything of the bench inside a root is under /.bench:
//
//     bin/      the helpers (bound from outside, as are dash, busybox, preload, rc, emulator, library/)
//     record    what happened, in order; see write_record
//     out.N     standard output of run N: 0 is the run asked for, the others are runs of rc started by it
//     errors    standard error of everything
//     run       what is to be run and how (fields, see Fields)
//     plan      replies and effects of the stand-ins (fields)
//     count/    counters: which reply is next, which run number is next
//     pause/    N: the shell command for the N-th pause
//     clock/    what ends when: the times to which pauses moved the clock
//     board/    what effects of the image's stand-ins remember: processes, modules, circuits
//
// Used by static helpers without the C++ runtime and by the preloaded library of the target's processor:
// nothing allocated, nothing thrown, the C library only.
#pragma once

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/uio.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace inside {

constexpr const char *kRecord = "/.bench/record";
constexpr const char *kErrors = "/.bench/errors";
constexpr const char *kRunFile = "/.bench/run";
constexpr const char *kPlan = "/.bench/plan";
constexpr const char *kShell = "/.bench/dash";
constexpr const char *kPath = "PATH=/bin:/sbin:/usr/sbin:/usr/bin";

// Environment: the number of the run of rc that a process belongs to, the record entry of the command it
// belongs to, and whether it is rc itself (set for rc, removed for every command).
constexpr const char *kRunName = "BENCH_RUN";
constexpr const char *kCommandName = "BENCH_COMMAND";
constexpr const char *kDirectName = "BENCH_DIRECT";

// Environment, where the clock is the bench's: microseconds since 1970 at which a program starts, and the
// file in which it leaves the times to which its pauses move it.
constexpr const char *kClockName = "BENCH_CLOCK";
constexpr const char *kClockEndName = "BENCH_CLOCK_END";
constexpr const char *kClockEnd = "/.bench/clock/0";

// Kinds of record entries; the data that follows.
enum Entry : char {
    kEntryShell = 'c',       // command text
    kEntryEnd = 'e',         // nothing: the command given last has ended
    kEntrySleep = 's',       // seconds
    kEntryUsleep = 'u',      // microseconds
    kEntryHostname = 'h',    // the name
    kEntryDomainname = 'd',  // the name
    kEntryKlog = 'k',        // action
    kEntryKill = 'K',        // process and signal
    kEntryTool = 't',        // words, each ended by NUL
    kEntryRun = 'r',         // number of a run of rc that begins here
    kEntryExit = 'x',        // wait status of the run asked for
    kEntryLimit = 'l',       // the limit that was reached: "time", "pauses", "output"
    kEntryReady = 'y',       // nothing: init is at work
};

// Environment of rc in a sandbox without namespaces: its interfaces, each as in the run file and ended by
// ";". The preloaded library then answers for the interfaces and for rc's process number.
constexpr const char *kInterfacesName = "BENCH_INTERFACES";

// What the library writes into the pipe that is the standard input of init: the run is over its limit.
constexpr char kControlLimit = 'l';

inline const char *environment(const char *name, const char *missing)
{
    const char *value = getenv(name);
    return value == nullptr ? missing : value;
}

// Path of the standard output file of run `run`.
inline void output_path(char (&path)[64], const char *run)
{
    snprintf(path, sizeof path, "/.bench/out.%s", run);
}

// What run `run` has written to its standard output so far. Opened and not asked for by stat(), which
// emulated programs turn into a call that proot does not know.
inline off_t output_size(const char *run)
{
    char path[64];
    output_path(path, run);
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        return 0;
    }
    const off_t size = lseek(fd, 0, SEEK_END);
    close(fd);
    return size < 0 ? 0 : size;
}

// Appends one entry: a line "KIND RUN COMMAND OUTPUT LENGTH", the data, a line end. OUTPUT is the size of
// the run's standard output at this moment, which gives output its place among the entries. One write, so
// entries of several processes never mix. Result: the entry's number (where it ends in the record).
inline unsigned long write_record(char kind, const void *data, size_t length)
{
    const int record_fd = open(kRecord, O_WRONLY | O_APPEND | O_CLOEXEC);
    if (record_fd < 0) {
        return 0;
    }
    const char *run = environment(kRunName, "0");
    const off_t output = output_size(run);
    char head[128];
    const int head_length = snprintf(head, sizeof head, "%c %.12s %.20s %ld %zu\n", kind, run,
                                     environment(kCommandName, "0"), static_cast<long>(output), length);
    char end = '\n';
    struct iovec parts[3] = {
        {head, static_cast<size_t>(head_length)}, {const_cast<void *>(data), length}, {&end, 1}};
    const ssize_t written = writev(record_fd, parts, 3);
    const off_t place = written < 0 ? 0 : lseek(record_fd, 0, SEEK_CUR);
    close(record_fd);
    return static_cast<unsigned long>(place);
}

inline unsigned long write_record(char kind, const char *text)
{
    return write_record(kind, text, strlen(text));
}

// The next number of the counter `name` in /.bench/count: 1, 2, 3... over all processes.
inline unsigned long next_count(const char *name)
{
    char path[96];
    snprintf(path, sizeof path, "/.bench/count/%s", name);
    const int fd = open(path, O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0600);
    if (fd < 0) {
        return 1;
    }
    const ssize_t written = write(fd, "+", 1);
    const off_t place = written == 1 ? lseek(fd, 0, SEEK_CUR) : 1;
    close(fd);
    return static_cast<unsigned long>(place);
}

// A file of fields, each "LENGTH:" and that many bytes and a NUL. Read whole, then walked.
struct Fields {
    char *at;
    char *end;
};

// Maps the file, for as long as the process lives; its text may be changed. Empty when there is none.
inline Fields read_fields(const char *path)
{
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    struct stat info = {};
    if (fd < 0 || fstat(fd, &info) != 0 || info.st_size == 0) {
        return {nullptr, nullptr};
    }
    const auto size = static_cast<size_t>(info.st_size);
    void *text = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE, fd, 0);
    close(fd);
    if (text == MAP_FAILED) {
        return {nullptr, nullptr};
    }
    return {static_cast<char *>(text), static_cast<char *>(text) + size};
}

// The next field (NUL follows it); false at the end.
inline bool next_field(Fields &fields, char *&text, size_t &length)
{
    if (fields.at == nullptr || fields.at >= fields.end) {
        return false;
    }
    char *colon = nullptr;
    length = strtoul(fields.at, &colon, 10);
    if (colon >= fields.end || *colon != ':' || length >= static_cast<size_t>(fields.end - colon - 1)) {
        return false;
    }
    text = colon + 1;
    fields.at = text + length + 1;
    return true;
}

// ---- the program and its environment, for the first run (init) and for runs started by rc (launch) ------

constexpr size_t kMostWords = 4096;

struct Program {
    const char *path = nullptr;          // rc
    const char *first = nullptr;         // the program of the run asked for, mostly rc too
    const char *prefix[kMostWords / 4];  // emulator or checker and its words; "%0" stands for argv[0]
    size_t prefix_count = 0;
    bool nested = false;
    bool bare = false;  // the first program is run without those words
};

// Fields of the run file come in pairs, a letter and a value:
//     P rc   R the program of this run   p word put before either (emulator)   a word of this run
//     e NAME=value for rc   n runs started by rc really run   t the time it starts at
//     b the program of this run gets none of the words p
//     i interface: name address bits hardware (spaces between, "-" for none)
// Reads what concerns the program and puts its environment in place.
inline void read_program(Program &program)
{
    Fields fields = read_fields(kRunFile);
    char *letter = nullptr;
    char *value = nullptr;
    size_t length = 0;
    while (next_field(fields, letter, length) && next_field(fields, value, length)) {
        if (*letter == 'p' && program.prefix_count < kMostWords / 4) {
            program.prefix[program.prefix_count++] = value;
        } else if (*letter == 'P') {
            program.path = value;
        } else if (*letter == 'R') {
            program.first = value;
        } else if (*letter == 'e') {
            putenv(value);
        } else if (*letter == 'n') {
            program.nested = true;
        } else if (*letter == 'b') {
            program.bare = true;
        } else if (*letter == 't') {
            // A run that a command starts has a later time already.
            setenv(kClockName, value, 0);
            setenv(kClockEndName, kClockEnd, 0);
        }
    }
}

// Becomes the program with these words (the last is null). Comes back only when that fails.
inline void run_program(const Program &program, const char *path, char *const *words)
{
    if (program.prefix_count == 0) {
        execv(path, words);
        return;
    }
    static const char *all[kMostWords + kMostWords / 4 + 2];
    size_t count = 0;
    for (size_t i = 0; i < program.prefix_count; ++i) {
        const bool is_name = strcmp(program.prefix[i], "%0") == 0;
        all[count++] = is_name ? (words[0] == nullptr ? "" : words[0]) : program.prefix[i];
    }
    all[count++] = path;
    for (size_t i = 1; words[0] != nullptr && words[i] != nullptr && i < kMostWords; ++i) {
        all[count++] = words[i];
    }
    all[count] = nullptr;
    execv(all[0], const_cast<char *const *>(all));
}

}  // namespace inside
