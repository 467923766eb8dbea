// Preloaded into rc before the bench's own library: makes one of its calls fail, and those after it where
// that is asked for. Only calls of the program itself count, never those of a library.
//
// One start of the program does many runs. Before main this library reads /.bench/faults.plan, a fault a
// line, and for each starts a copy of the process that goes on into main; in between it puts the router's
// files back as they were. What became of each run stands in /.bench/faults.results. Lines of the plan:
//
//     none 0 none 0          no fault
//     CALL N once ERROR      the N-th call of that kind fails with this error number
//     CALL N on ERROR        and so do all after it
//     CALL N short 0         the N-th read or write moves one byte
//     CALL N kill 0          the run is killed just before the N-th call
//     CALL N half 0          the run is killed when half of the N-th write is done
//     CALL N fill 0          before the N-th call another process writes /.bench/fill to the working copy
//
// Where /.bench/faults.dry is, runs do without their commands: what is left of them is what they do
// themselves. Runs of a plan still read from programs; runs of rc that another program starts do not.
//
// A result is the line, then: how it ended ("exit", "signal" or "limit") and its number, the file of the
// first call that failed ("-": none did), descriptors left open, how many calls failed with which the working
// copy was to be written, the flash to be written and the flash to be read, the working copy and the flash
// ("before", "usual": as after the first line of the plan, or their bytes in hexadecimal, "=" first, or
// "missing"), and how often each kind was called.
#include <dirent.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <link.h>
#include <netdb.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp): the C library's own allocator
extern "C" void *__libc_malloc(size_t size);

namespace {

// The type of a request's number, in which C libraries differ.
template <typename Number>
Number number_taken_by(int (*)(int, Number, ...));
using RequestNumber = decltype(number_taken_by(ioctl));

// ---- kinds of calls and the fault -------------------------------------------------------------------------

enum Call {
    kOpen,
    kRead,
    kWrite,
    kSeek,
    kLock,
    kMemory,
    kFork,
    kPipe,
    kSocket,
    kIoctl,
    kStat,
    kUnlink,
    kPoll,
    kCalls
};

constexpr const char *kCallNames[kCalls] = {"open", "read",   "write", "seek", "lock",   "memory", "fork",
                                            "pipe", "socket", "ioctl", "stat", "unlink", "poll"};

constexpr const char *kPlanPath = "/.bench/faults.plan";
constexpr int kMostWaits = 9;  // of one wait for the store
constexpr const char *kDryPath = "/.bench/faults.dry";
constexpr const char *kResultsPath = "/.bench/faults.results";
constexpr const char *kStore = "/tmp/nvram";
constexpr const char *kFlash = "/dev/mtdblock/3";
constexpr int kNoCall = -1;
constexpr int kShort = -1;  // in place of an error number: one byte only
constexpr int kHalf = -2;   // half of it, then the end
constexpr unsigned kSecondsEach = 20;
constexpr int kFirstOfBench = 200;  // descriptors from here on are the bench's

struct Fault {
    int call = kNoCall;
    long at = 0;
    char what[8] = "none";
    int error = 0;
};

// What a run tells the process that started it.
struct Report {
    long counts[kCalls];
    char path[128];
    int left;
    int store_writes;  // that failed, as the two below
    int flash_writes;
    int flash_reads;
    bool ended;
};

Fault fault;
int waits;       // of a dry run
Report *report;  // shared with the runs
bool dry;        // a run that another program started, without commands
bool no_system;  // commands are left out
bool at_work;    // in a run: calls of the program count
uintptr_t program_begin;
uintptr_t program_end;
char paths[kFirstOfBench][96];  // of open descriptors

template <typename Function>
Function *next(const char *name)
{
    void *found = dlsym(RTLD_NEXT, name);
    Function *function = nullptr;
    memcpy(&function, &found, sizeof function);
    return function;
}

bool is_program(const void *place)
{
    const auto address = reinterpret_cast<uintptr_t>(place);
    return at_work && address >= program_begin && address < program_end;
}

void copy_path(char *to, size_t size, const char *from)
{
    snprintf(to, size, "%s", from);
    for (char *c = to; *c != '\0'; ++c) {
        *c = *c <= ' ' ? '_' : *c;
    }
}

const char *path_of(int fd)
{
    return fd >= 0 && fd < kFirstOfBench && paths[fd][0] != '\0' ? paths[fd] : "?";
}

void copy_file(const char *from, const char *to);

// Notes a call that fails where settings may be lost by it. Before a write of the flash comes a seek.
void note_failure(Call call, const char *path)
{
    const bool flash = strcmp(path, kFlash) == 0;
    report->store_writes += call == kWrite && strcmp(path, kStore) == 0 ? 1 : 0;
    report->flash_writes += flash && (call == kWrite || call == kSeek) ? 1 : 0;
    report->flash_reads += flash && (call == kOpen || call == kRead || call == kSeek) ? 1 : 0;
}

// Counts a call. 0: it goes ahead; else the error number it fails with, kShort or kHalf.
int strike(Call call, const char *path)
{
    const long number = ++report->counts[call];
    const bool on = strcmp(fault.what, "on") == 0;
    if (fault.call != call || (on ? number < fault.at : number != fault.at)) {
        return 0;
    }
    if (report->path[0] == '\0') {
        copy_path(report->path, sizeof report->path, path);
    }
    if (strcmp(fault.what, "kill") == 0) {
        (void)next<int(int)>("raise")(SIGKILL);
    }
    if (strcmp(fault.what, "fill") == 0) {
        copy_file("/.bench/fill", kStore);
        return 0;
    }
    if (fault.error > 0) {
        note_failure(call, path);
    }
    return strcmp(fault.what, "short") == 0 ? kShort : strcmp(fault.what, "half") == 0 ? kHalf : fault.error;
}

// The same for a call that has no parts; true when it fails, errno is set.
bool fails(Call call, const char *path)
{
    const int error = strike(call, path);
    if (error <= 0) {
        return false;
    }
    errno = error;
    return true;
}

ssize_t faulty_read(int fd, void *data, size_t size)
{
    const int error = strike(kRead, path_of(fd));
    if (error > 0) {
        errno = error;
        return -1;
    }
    return next<ssize_t(int, void *, size_t)>("read")(fd, data, error == kShort && size > 1 ? 1 : size);
}

ssize_t faulty_write(int fd, const void *data, size_t size)
{
    const int error = strike(kWrite, path_of(fd));
    if (error > 0) {
        errno = error;
        return -1;
    }
    const size_t part = error == kShort && size > 1 ? 1 : error == kHalf ? size / 2 : size;
    const ssize_t put = next<ssize_t(int, const void *, size_t)>("write")(fd, data, part);
    if (error == kHalf) {
        (void)next<int(int)>("raise")(SIGKILL);
    }
    return put;
}

void remember(int fd, const char *path)
{
    if (fd >= 0 && fd < kFirstOfBench) {
        snprintf(paths[fd], sizeof paths[fd], "%s", path);
    }
}

// ---- streams of the program -------------------------------------------------------------------------------
//
// The C library's streams read and write inside the library, so the program gets streams whose reading and
// writing goes through here. What was interrupted or came short is continued by the library; so it is here.

struct Stream {
    int fd;
    FILE *inner;  // of popen
    FILE *outer;
};

Stream streams[32];

Stream &stream_of(void *cookie)
{
    return *static_cast<Stream *>(cookie);
}

ssize_t stream_read(void *cookie, char *data, size_t size)
{
    for (;;) {
        const ssize_t got = faulty_read(stream_of(cookie).fd, data, size);
        if (got >= 0 || errno != EINTR) {
            return got;
        }
    }
}

ssize_t stream_write(void *cookie, const char *data, size_t size)
{
    size_t done = 0;
    while (done < size) {
        const ssize_t put = faulty_write(stream_of(cookie).fd, data + done, size - done);
        if (put < 0 && errno != EINTR) {
            return 0;
        }
        done += put > 0 ? static_cast<size_t>(put) : 0;
    }
    return static_cast<ssize_t>(done);
}

int stream_seek(void *cookie, off64_t *offset, int whence)
{
    if (fails(kSeek, path_of(stream_of(cookie).fd))) {
        return -1;
    }
    const off_t place =
        next<off_t(int, off_t, int)>("lseek")(stream_of(cookie).fd, static_cast<off_t>(*offset), whence);
    *offset = place;
    return place < 0 ? -1 : 0;
}

int stream_close(void *cookie)
{
    Stream &stream = stream_of(cookie);
    const int result = stream.inner == nullptr ? close(stream.fd) : 0;
    stream.outer = nullptr;
    return result;
}

FILE *make_stream(int fd, FILE *inner, const char *mode)
{
    for (Stream &stream : streams) {
        if (stream.outer == nullptr) {
            const cookie_io_functions_t functions = {stream_read, stream_write,
                                                     inner == nullptr ? stream_seek : nullptr, stream_close};
            stream = {fd, inner, nullptr};
            stream.outer = fopencookie(&stream, mode, functions);
            return stream.outer;
        }
    }
    abort();
}

// ---- the router's files, kept and put back
// ------------------------------------------------------------------

constexpr const char *kKept[] = {"/tmp",     "/etc",          "/proc",        "/dev/mtdblock",
                                 "/usr/etc", "/.bench/board", "/.bench/count"};

// Files that only grow, and how long they were before the runs.
struct Growing {
    const char *path;
    off_t size;
};

Growing growing[] = {{"/.bench/record", 0}, {"/.bench/out.0", 0}, {"/.bench/errors", 0}};

struct Node {
    Node *next;
    char *path;
    mode_t mode;
    char *bytes;
    size_t size;
    bool seen;
};

Node *nodes;

char *read_bytes(const char *path, size_t &size)
{
    size = 0;
    const int fd = open(path, O_RDONLY | O_CLOEXEC);
    struct stat info = {};
    if (fd < 0 || fstat(fd, &info) != 0) {
        if (fd >= 0) {
            close(fd);
        }
        return nullptr;
    }
    char *bytes = static_cast<char *>(malloc(static_cast<size_t>(info.st_size) + 1));
    ssize_t got = 0;
    while (size < static_cast<size_t>(info.st_size) &&
           (got = read(fd, bytes + size, static_cast<size_t>(info.st_size) - size)) > 0) {
        size += static_cast<size_t>(got);
    }
    close(fd);
    return bytes;
}

char *read_node(const char *path, mode_t mode, size_t &size)
{
    if (S_ISREG(mode)) {
        return read_bytes(path, size);
    }
    size = 0;
    char *text = static_cast<char *>(calloc(1, 512));
    if (S_ISLNK(mode)) {
        const ssize_t got = readlink(path, text, 511);
        size = got > 0 ? static_cast<size_t>(got) : 0;
    }
    return text;
}

void write_bytes(const char *path, mode_t mode, const char *bytes, size_t size)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, mode & 07777U);
    if (fd >= 0) {
        (void)!write(fd, bytes, size);
        (void)fchmod(fd, mode & 07777U);
        close(fd);
    }
}

void copy_file(const char *from, const char *to)
{
    size_t size = 0;
    char *bytes = read_bytes(from, size);
    write_bytes(to, 0600, bytes, size);
    free(bytes);
}

// Calls `visit` for everything below the directory, the directory's own entries before what is in them.
void walk(const char *directory, void (*visit)(const char *path, const struct stat &info))
{
    DIR *entries = opendir(directory);
    while (entries != nullptr) {
        const dirent *entry = readdir(entries);
        if (entry == nullptr) {
            break;
        }
        char path[512];
        struct stat info = {};
        snprintf(path, sizeof path, "%s/%s", directory, entry->d_name);
        if (strcmp(entry->d_name, ".") == 0 || strcmp(entry->d_name, "..") == 0 || lstat(path, &info) != 0) {
            continue;
        }
        visit(path, info);
        if (S_ISDIR(info.st_mode)) {
            walk(path, visit);
        }
    }
    if (entries != nullptr) {
        closedir(entries);
    }
}

void keep(const char *path, const struct stat &info)
{
    auto *node = static_cast<Node *>(calloc(1, sizeof(Node)));
    node->path = strdup(path);
    node->mode = info.st_mode;
    node->bytes = read_node(path, info.st_mode, node->size);
    node->next = nodes;
    nodes = node;
}

Node *find(const char *path)
{
    for (Node *node = nodes; node != nullptr; node = node->next) {
        if (strcmp(node->path, path) == 0) {
            return node;
        }
    }
    return nullptr;
}

void remove_all(const char *path);

void remove_one(const char *path, const struct stat &info)
{
    if (S_ISDIR(info.st_mode)) {
        remove_all(path);
    } else {
        (void)unlink(path);
    }
}

void remove_all(const char *path)
{
    walk(path, remove_one);
    (void)rmdir(path);
}

bool same_node(const Node &node, const char *path, const struct stat &info)
{
    if ((node.mode & S_IFMT) != (info.st_mode & S_IFMT)) {
        return false;
    }
    size_t size = 0;
    char *bytes = read_node(path, info.st_mode, size);
    const bool same = size == node.size && (size == 0 || memcmp(bytes, node.bytes, size) == 0);
    free(bytes);
    return same;
}

void compare(const char *path, const struct stat &info)
{
    Node *node = find(path);
    if (node != nullptr && same_node(*node, path, info)) {
        node->seen = true;
    } else if (node == nullptr || !S_ISREG(info.st_mode) || !S_ISREG(node->mode)) {
        remove_one(path, info);
    }
}

void put_back(const Node *node)
{
    // What was kept last lies deepest: directories first.
    if (node == nullptr) {
        return;
    }
    put_back(node->next);
    if (node->seen) {
        return;
    }
    if (S_ISDIR(node->mode)) {
        (void)mkdir(node->path, node->mode & 07777U);
    } else if (S_ISLNK(node->mode)) {
        node->bytes[node->size] = '\0';
        (void)!symlink(node->bytes, node->path);
    } else {
        write_bytes(node->path, node->mode, node->bytes, node->size);
    }
}

void keep_files()
{
    for (const char *directory : kKept) {
        walk(directory, keep);
    }
    for (Growing &file : growing) {
        struct stat info = {};
        file.size = stat(file.path, &info) == 0 ? info.st_size : 0;
    }
}

void put_files_back()
{
    for (Node *node = nodes; node != nullptr; node = node->next) {
        node->seen = false;
    }
    for (const char *directory : kKept) {
        walk(directory, compare);
    }
    put_back(nodes);
    for (const Growing &file : growing) {
        (void)!truncate(file.path, file.size);
    }
}

// ---- runs
// ---------------------------------------------------------------------------------------------------

struct Bytes {
    char *bytes;
    size_t size;
};

Bytes usual_store;
Bytes usual_flash;

bool same_bytes(const Bytes &one, const char *bytes, size_t size)
{
    return one.size == size && (one.bytes == nullptr) == (bytes == nullptr) &&
           (size == 0 || memcmp(one.bytes, bytes, size) == 0);
}

// Writes what became of a file: as before, as usual, or its bytes.
void write_state(FILE *results, const char *path, Bytes &usual, bool first)
{
    Bytes now = {};
    now.bytes = read_bytes(path, now.size);
    const Node *before = find(path);
    if (first) {
        usual = now;
    }
    if (before != nullptr && now.bytes != nullptr &&
        same_bytes({before->bytes, before->size}, now.bytes, now.size)) {
        fputs(" before", results);
    } else if (!first && same_bytes(usual, now.bytes, now.size)) {
        fputs(" usual", results);
    } else if (now.bytes == nullptr) {
        fputs(" missing", results);
    } else {
        fputs(" =", results);
        for (size_t i = 0; i < now.size; ++i) {
            fprintf(results, "%02x", static_cast<unsigned char>(now.bytes[i]));
        }
    }
    if (!first) {
        free(now.bytes);
    }
}

volatile sig_atomic_t too_long;

void time_over(int)
{
    too_long = 1;
}

// Waits for the run and all it left in the background.
int wait_for(pid_t run)
{
    int result = 0;
    too_long = 0;
    (void)alarm(kSecondsEach);
    for (;;) {
        int status = 0;
        const pid_t ended = waitpid(-1, &status, 0);
        if (ended == run) {
            result = status;
        } else if (ended < 0 && errno == ECHILD) {
            break;
        } else if (ended < 0 && too_long != 0) {
            (void)next<int(pid_t, int)>("killpg")(run, SIGKILL);
        }
    }
    (void)alarm(0);
    return result;
}

void write_result(FILE *results, int status, bool first)
{
    const char *end = too_long != 0 ? "limit" : WIFSIGNALED(status) ? "signal" : "exit";
    fprintf(results, "%s %ld %s %d %s %d %s %d %d %d %d",
            fault.call == kNoCall ? "none" : kCallNames[fault.call], fault.at, fault.what, fault.error, end,
            WIFSIGNALED(status) ? WTERMSIG(status) : WEXITSTATUS(status),
            report->path[0] != '\0' ? report->path : "-", report->left, report->store_writes,
            report->flash_writes, report->flash_reads);
    write_state(results, kStore, usual_store, first);
    write_state(results, kFlash, usual_flash, first);
    for (const long count : report->counts) {
        fprintf(results, " %ld", count);
    }
    fputc('\n', results);
    fflush(results);
}

bool read_fault(FILE *plan)
{
    char call[16];
    fault = {};
    if (fscanf(plan, "%15s %ld %7s %d", call, &fault.at, fault.what, &fault.error) != 4) {
        return false;
    }
    for (int i = 0; i < kCalls; ++i) {
        fault.call = strcmp(call, kCallNames[i]) == 0 ? i : fault.call;
    }
    return true;
}

int note_program(dl_phdr_info *info, size_t, void *)
{
    for (int i = 0; i < info->dlpi_phnum; ++i) {
        const auto &part = info->dlpi_phdr[i];
        if (part.p_type == PT_LOAD && (part.p_flags & PF_X) != 0) {
            program_begin = info->dlpi_addr + part.p_vaddr;
            program_end = program_begin + part.p_memsz;
            return 1;  // the first object is the program
        }
    }
    return 1;
}

// The run itself goes on from here into main.
void begin_run(FILE *plan, FILE *results)
{
    (void)setpgid(0, 0);
    close(fileno(plan));
    close(fileno(results));
    (void)signal(SIGALRM, SIG_DFL);
    remember(STDOUT_FILENO, "stdout");
    stdout = make_stream(STDOUT_FILENO, nullptr, "w");
    at_work = true;
}

// Goes on into main, without commands.
void begin_dry_run()
{
    static Report none;
    report = &none;
    dry = true;
    no_system = true;
    at_work = true;
}

__attribute__((constructor)) void do_runs()
{
    (void)dl_iterate_phdr(note_program, nullptr);
    const char *run_number = getenv("BENCH_RUN");
    if (run_number != nullptr && strcmp(run_number, "0") != 0) {
        if (access(kDryPath, F_OK) == 0) {
            begin_dry_run();
        }
        return;
    }
    FILE *plan = fopen(kPlanPath, "re");
    if (plan == nullptr) {
        return;
    }
    no_system = access(kDryPath, F_OK) == 0;
    FILE *results = fopen(kResultsPath, "we");
    report = static_cast<Report *>(
        mmap(nullptr, sizeof(Report), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    struct sigaction action = {};
    action.sa_handler = time_over;
    (void)sigaction(SIGALRM, &action, nullptr);
    (void)prctl(PR_SET_CHILD_SUBREAPER, 1);
    keep_files();
    for (bool first = true; read_fault(plan); first = false) {
        *report = {};
        const pid_t run = fork();
        if (run == 0) {
            begin_run(plan, results);
            return;
        }
        write_result(results, wait_for(run), first);
        put_files_back();
    }
    _exit(0);
}

__attribute__((destructor)) void end_run()
{
    if (!at_work) {
        return;
    }
    at_work = false;
    for (int fd = STDERR_FILENO + 1; fd < kFirstOfBench; ++fd) {
        report->left += fcntl(fd, F_GETFD) >= 0 ? 1 : 0;
    }
    report->ended = true;
}

}  // namespace

// ---- the C library's names, with its types and linkage
// ------------------------------------------------------

// NOLINTBEGIN(readability-inconsistent-declaration-parameter-name)
extern "C" {

#define CALLED_BY_PROGRAM is_program(__builtin_return_address(0))

int open(const char *path, int flags, ...)
{
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = static_cast<mode_t>((flags & O_CREAT) != 0 ? va_arg(arguments, unsigned) : 0);
    va_end(arguments);
    if (CALLED_BY_PROGRAM && fails(kOpen, path)) {
        return -1;
    }
    const int fd = next<int(const char *, int, mode_t)>("open")(path, flags, mode);
    remember(fd, path);
    return fd;
}

FILE *fopen(const char *path, const char *mode)
{
    if (!CALLED_BY_PROGRAM) {
        return next<FILE *(const char *, const char *)>("fopen")(path, mode);
    }
    if (fails(kOpen, path)) {
        return nullptr;
    }
    const int ways = strchr(mode, '+') != nullptr ? O_RDWR : mode[0] == 'r' ? O_RDONLY : O_WRONLY;
    const int more = mode[0] == 'r' ? 0 : O_CREAT | (mode[0] == 'w' ? O_TRUNC : O_APPEND);
    const int fd = next<int(const char *, int, mode_t)>("open")(path, ways | more, 0666);
    remember(fd, path);
    return fd < 0 ? nullptr : make_stream(fd, nullptr, mode);
}

ssize_t read(int fd, void *data, size_t size)
{
    return CALLED_BY_PROGRAM ? faulty_read(fd, data, size)
                             : next<ssize_t(int, void *, size_t)>("read")(fd, data, size);
}

ssize_t write(int fd, const void *data, size_t size)
{
    return CALLED_BY_PROGRAM ? faulty_write(fd, data, size)
                             : next<ssize_t(int, const void *, size_t)>("write")(fd, data, size);
}

off_t lseek(int fd, off_t offset, int whence) noexcept
{
    if (CALLED_BY_PROGRAM && fails(kSeek, path_of(fd))) {
        return -1;
    }
    return next<off_t(int, off_t, int)>("lseek")(fd, offset, whence);
}

int lockf(int fd, int command, off_t length)
{
    if (CALLED_BY_PROGRAM && fails(kLock, path_of(fd))) {
        return -1;
    }
    return next<int(int, int, off_t)>("lockf")(fd, command, length);
}

int fcntl(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if ((command == F_SETLK || command == F_SETLKW) && CALLED_BY_PROGRAM && fails(kLock, path_of(fd))) {
        return -1;
    }
    return next<int(int, int, void *)>("fcntl")(fd, command, argument);
}

void *malloc(size_t size)
{
    if (CALLED_BY_PROGRAM && fails(kMemory, "memory")) {
        return nullptr;
    }
    return __libc_malloc(size);
}

int vasprintf(char **text, const char *format, va_list arguments)
{
    if (CALLED_BY_PROGRAM && fails(kMemory, "memory")) {
        return -1;
    }
    return next<int(char **, const char *, va_list)>("vasprintf")(text, format, arguments);
}

int system(const char *command)
{
    if (CALLED_BY_PROGRAM && fails(kFork, "system")) {
        return -1;
    }
    if (no_system) {
        return 0;
    }
    return next<int(const char *)>("system")(command);
}

FILE *popen(const char *command, const char *mode)
{
    if (!CALLED_BY_PROGRAM) {
        return next<FILE *(const char *, const char *)>("popen")(command, mode);
    }
    if (fails(kPipe, "popen") || fails(kFork, "popen")) {
        return nullptr;
    }
    FILE *inner = next<FILE *(const char *, const char *)>("popen")(dry ? "" : command, mode);
    remember(inner == nullptr ? -1 : fileno(inner), "pipe");
    return inner == nullptr ? nullptr : make_stream(fileno(inner), inner, mode);
}

int pclose(FILE *file)
{
    for (const Stream &stream : streams) {
        if (stream.outer == file && stream.inner != nullptr) {
            FILE *inner = stream.inner;
            (void)fclose(file);
            return next<int(FILE *)>("pclose")(inner);
        }
    }
    return next<int(FILE *)>("pclose")(file);
}

int socket(int family, int type, int protocol) noexcept
{
    if (CALLED_BY_PROGRAM && fails(kSocket, "socket")) {
        return -1;
    }
    return next<int(int, int, int)>("socket")(family, type, protocol);
}

hostent *gethostbyname(const char *name)
{
    if (CALLED_BY_PROGRAM && fails(kSocket, "gethostbyname")) {
        return nullptr;
    }
    return next<hostent *(const char *)>("gethostbyname")(name);
}

int ioctl(int fd, RequestNumber request, ...) noexcept
{
    va_list arguments;
    va_start(arguments, request);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (CALLED_BY_PROGRAM && fails(kIoctl, path_of(fd))) {
        return -1;
    }
    return next<int(int, RequestNumber, void *)>("ioctl")(fd, request, argument);
}

int access(const char *path, int mode) noexcept
{
    if (CALLED_BY_PROGRAM && fails(kStat, path)) {
        return -1;
    }
    return next<int(const char *, int)>("access")(path, mode);
}

int unlink(const char *path) noexcept
{
    if (CALLED_BY_PROGRAM && fails(kUnlink, path)) {
        return -1;
    }
    return next<int(const char *)>("unlink")(path);
}

int poll(pollfd *asked, nfds_t count, int limit)
{
    const bool counts = CALLED_BY_PROGRAM;
    if (counts && fails(kPoll, "poll")) {
        return -1;
    }
    if (counts && dry && ++waits >= kMostWaits) {
        write_bytes("/.bench/ran_out", 0600, "x", 1);
    }
    return next<int(pollfd *, nfds_t, int)>("poll")(asked, count, limit);
}
}
// NOLINTEND(readability-inconsistent-declaration-parameter-name)
