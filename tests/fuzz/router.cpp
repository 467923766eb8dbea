// Whole runs of rc in a router in memory.
//
// An input is lines: the words after "rc", or "=" and an operation that no command reaches, with its words;
// then in any order
//
//     KEY=VALUE                 a setting in place of the default one
//     /PATH<tab>CONTENT         a file; the byte 0x03 in it is a line end. The content "flash" is an image of
//     the
//                               settings, and "none" means that a file is missing which is there otherwise
//     >WORD<tab>/PATH<tab>CONTENT  what every command with this word in it leaves in a file
//     !CALL [WHICH [ERROR]]     a call that fails: with this path, or this one in order of the calls of its
//     name,
//                               or all; the error is EIO if not EINTR, EAGAIN or END (of a file)
//
// and anything else is what the next program prints that rc reads from. With ROUTER_TRACE in the environment
// the commands and the files left behind go to standard error, to be compared between processors.
#include <net/if.h>
#include <netinet/in.h>
#include <setjmp.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "rc/frame.h"
#include "rc/nvram.h"
#include "tests/direct.h"
#include "tests/fuzz/fuzz.h"
#define MEMORY_ROUTER_ITSELF
#include "tests/fuzz/memory_router.h"

namespace {

constexpr int kMostPauses = 400;
constexpr size_t kMostCommands = 20000;
constexpr const char *kRoutes = "/proc/net/route";

// The defaults of the image, one KEY=VALUE each.
constexpr const char *kDefaults[] = {
#include "default_settings.inc"
};

// A call that fails.
struct Failure {
    std::string call;
    std::string which;  // a path or a number; empty: all of them
    int error;          // 0: the end of a file
    int calls = 0;
};

// What commands leave in a file.
struct Effect {
    std::string word;
    std::string path;
    std::string content;
};

struct Router {
    std::map<std::string, int> files;  // path -> descriptor of a file in memory
    std::vector<std::string> outputs;  // of the programs that rc reads from
    std::vector<Failure> failures;
    std::vector<Effect> effects;
    size_t next_output = 0;
    int pauses = 0;
    size_t commands = 0;
    jmp_buf end;
};

Router router;

bool has_trace()
{
    static const bool wanted = getenv("ROUTER_TRACE") != nullptr;
    return wanted;
}

int make_file(std::string_view bytes)
{
    const int fd = memfd_create("file", MFD_CLOEXEC);
    MUST(fd >= 0 && write(fd, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()));
    return fd;
}

// The file again, with a place of its own.
int open_again(int file, int flags)
{
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    return open(path.c_str(), (flags & (O_ACCMODE | O_TRUNC | O_APPEND)) | O_CLOEXEC);
}

void put_defaults(std::map<std::string, std::string> &changed, std::string &store, std::string &defaults)
{
    for (const char *entry : kDefaults) {
        const std::string text = entry;
        const std::string key = text.substr(0, text.find('='));
        defaults += text + '\0';
        const auto found = changed.find(key);
        store += (found == changed.end() ? text : key + '=' + found->second) + '\0';
        if (found != changed.end()) {
            changed.erase(found);
        }
    }
    for (const auto &[key, value] : changed) {
        store += key + '=' + value + '\0';
    }
    store += '\0';
    defaults += '\0';
}

std::string file_content(std::string_view text)
{
    std::string content(text);
    for (char &c : content) {
        c = c == '\x03' ? '\n' : c;
    }
    return content;
}

// The kernel writes the addresses of this file in its processor's byte order; inputs have that of the
// workstation. A word of eight digits is turned round.
std::string route_table(std::string text)
{
    if (std::endian::native == std::endian::little) {
        return text;
    }
    constexpr size_t kDigits = 8;
    for (size_t at = 0; at < text.size();) {
        const size_t end = std::min(text.find_first_not_of("0123456789abcdefABCDEF", at), text.size());
        if (end - at == kDigits) {
            for (size_t i = 0; i < kDigits / 2; i += 2) {
                std::swap(text[at + i], text[end - i - 2]);
                std::swap(text[at + i + 1], text[end - i - 1]);
            }
        }
        at = end + 1;
    }
    return text;
}

std::string flash_image(const std::string &store)
{
    unsigned char header[kFlashHeaderSize];
    write_flash_header({kFlashMagic, static_cast<uint32_t>(store.size()), crc32(store)}, header);
    std::string image(reinterpret_cast<const char *>(header), sizeof header);
    image.resize(kFlashDataOffset, '\xff');
    return image + store + std::string(4096, '\xff');
}

bool holds(const std::string &path, const std::string &content)
{
    const auto found = router.files.find(path);
    char bytes[16] = {};
    return found != router.files.end() && pread(found->second, bytes, sizeof bytes - 1, 0) >= 0 &&
           bytes == content;
}

// A file that is there unless the input has its own, or none.
void put_file(const std::string &path, const std::string &content)
{
    if (holds(path, "none")) {
        router.files.erase(path);
    } else if (!router.files.contains(path)) {
        router.files[path] = make_file(content);
    }
}

void put_settings(const std::string &store, const std::string &defaults)
{
    if (holds(kFlashPath, "flash")) {
        router.files[kFlashPath] = make_file(flash_image(store));
    }
    put_file(kStorePath, store);
    put_file(kDefaultsPath, defaults);
    put_file(kFlashPath, std::string(65536, '\xff'));
}

std::string_view cut_word(std::string_view &text, char end)
{
    const size_t place = std::min(text.find(end), text.size());
    const std::string_view word = text.substr(0, place);
    text.remove_prefix(std::min(place + 1, text.size()));
    return word;
}

void add_failure(std::string_view text)
{
    const std::string call(cut_word(text, ' '));
    const std::string which(cut_word(text, ' '));
    const std::string_view error = text;
    router.failures.push_back({call, which,
                               error == "EINTR"    ? EINTR
                               : error == "EAGAIN" ? EAGAIN
                               : error == "END"    ? 0
                                                   : EIO});
}

void add_effect(std::string_view text)
{
    const std::string word(cut_word(text, '\t'));
    const std::string path(cut_word(text, '\t'));
    if (!word.empty() && path.starts_with('/')) {
        router.effects.push_back({word, path, file_content(text)});
    }
}

// Whether this call fails, and how.
bool fails(const char *call, const std::string &path = "")
{
    for (Failure &failure : router.failures) {
        if (failure.call != call) {
            continue;
        }
        ++failure.calls;
        if (failure.which.empty() || failure.which == path ||
            failure.which == std::to_string(failure.calls)) {
            errno = failure.error;
            return true;
        }
    }
    return false;
}

void set_up(std::string_view input, std::vector<std::string> &words)
{
    std::string_view line = cut_line(input);
    words = {"rc"};
    if (line.starts_with('=')) {
        words = {};
        line.remove_prefix(1);
    }
    while (!line.empty()) {
        words.emplace_back(cut_word(line, ' '));
    }
    std::map<std::string, std::string> settings;
    while (!input.empty()) {
        line = cut_line(input);
        const size_t tab = line.find('\t');
        const size_t equals = line.find('=');
        if (line.starts_with('/') && tab != std::string_view::npos) {
            const std::string path(line.substr(0, tab));
            const std::string content = file_content(line.substr(tab + 1));
            router.files[path] = make_file(path == kRoutes ? route_table(content) : content);
        } else if (line.starts_with('!')) {
            add_failure(line.substr(1));
        } else if (line.starts_with('>')) {
            add_effect(line.substr(1));
        } else if (equals != std::string_view::npos && equals > 0 &&
                   line.find('\0') == std::string_view::npos) {
            settings[std::string(line.substr(0, equals))] = line.substr(equals + 1);
        } else {
            router.outputs.push_back(file_content(line));
        }
    }
    std::string store;
    std::string defaults;
    put_defaults(settings, store, defaults);
    put_settings(store, defaults);
    put_file("/etc/version", "V1.00A\n");
    put_file("/proc/uptime", "100.25 90.00\n");
}

std::string bytes_of(int fd)
{
    std::string bytes;
    char piece[4096];
    off_t at = 0;
    for (ssize_t got = 0; (got = pread(fd, piece, sizeof piece, at)) > 0; at += got) {
        bytes.append(piece, static_cast<size_t>(got));
    }
    return bytes;
}

void print_files()
{
    for (const auto &[path, fd] : router.files) {
        if (path == kRoutes) {
            continue;  // of the processor's own byte order, and never written
        }
        (void)fprintf(stderr, "file %s\n", path.c_str());
        const std::string bytes = bytes_of(fd);
        (void)fwrite(bytes.data(), 1, bytes.size(), stderr);
        (void)fputc('\n', stderr);
    }
}

// Closes whatever the run left open, and the files.
void close_all(int first)
{
    (void)syscall(SYS_close_range, first, ~0U, 0);
    router.files.clear();
    router.outputs.clear();
    router.failures.clear();
    router.effects.clear();
    router.next_output = 0;
    router.pauses = 0;
    router.commands = 0;
}

int lowest_descriptor()
{
    const int fd = dup(STDERR_FILENO);
    (void)close(fd);
    return fd;
}

void replace_file(const std::string &path, const std::string &content)
{
    (void)router_unlink(path.c_str());
    router.files[path] = make_file(content);
}

// What a command leaves behind: copies, and what the input says.
void leave_files(const std::string &command)
{
    char from[256] = "";
    char to[256] = "";
    if (sscanf(command.c_str(), "/bin/cp %255s %255s", from, to) == 2 ||
        sscanf(command.c_str(), "/bin/busybox cp %255s %255s", from, to) == 2) {
        const auto found = router.files.find(from);
        if (found != router.files.end()) {
            replace_file(to, bytes_of(found->second));
        }
    }
    for (const Effect &effect : router.effects) {
        if (command.find(effect.word) != std::string::npos) {
            replace_file(effect.path, effect.content);
        }
    }
}

}  // namespace

int router_open(const char *path, int flags, int /*mode*/)
{
    if (fails("open", path)) {
        return -1;
    }
    const auto found = router.files.find(path);
    if (found != router.files.end()) {
        return open_again(found->second, flags);
    }
    if ((flags & O_CREAT) == 0) {
        errno = ENOENT;
        return -1;
    }
    return open_again(router.files[path] = make_file(""), flags);
}

FILE *router_fopen(const char *path, const char *mode)
{
    const int ways = strchr(mode, '+') != nullptr ? O_RDWR : mode[0] == 'r' ? O_RDONLY : O_WRONLY;
    const int flags = ways | (mode[0] == 'r' ? 0 : O_CREAT | (mode[0] == 'a' ? O_APPEND : O_TRUNC));
    const int fd = router_open(path, flags);
    return fd < 0 ? nullptr : fdopen(fd, mode);
}

int router_access(const char *path, int /*mode*/)
{
    if (fails("access", path)) {
        return -1;
    }
    errno = ENOENT;
    return router.files.contains(path) ? 0 : -1;
}

int router_unlink(const char *path)
{
    const auto found = router.files.find(path);
    if (found == router.files.end()) {
        errno = ENOENT;
        return -1;
    }
    (void)close(found->second);
    router.files.erase(found);
    return 0;
}

int router_system(const char *command)
{
    MUST(command != nullptr);
    if (has_trace()) {
        (void)fprintf(stderr, "sh %s\n", command);
    }
    if (++router.commands > kMostCommands) {
        longjmp(router.end, 1);
    }
    leave_files(command);
    return fails("system") ? 256 : 0;
}

FILE *router_popen(const char *command, const char *mode)
{
    if (fails("popen")) {
        return nullptr;
    }
    (void)router_system(command);
    std::string output;
    if (router.next_output < router.outputs.size()) {
        output = router.outputs[router.next_output++];
    } else if (strstr(command, "adslctl") != nullptr) {
        output = "Status: Showtime\n";
    }
    const int fd = make_file(output);
    (void)lseek(fd, 0, SEEK_SET);
    return fdopen(fd, mode);
}

int router_pclose(FILE *stream)
{
    (void)fclose(stream);
    return fails("pclose") ? 256 : 0;
}

int router_pause()
{
    if (++router.pauses > kMostPauses) {
        longjmp(router.end, 1);
    }
    return 0;
}

void router_exit(int /*status*/)
{
    longjmp(router.end, 1);
}

ssize_t router_read(int fd, void *buffer, size_t size)
{
    return !fails("read") ? read(fd, buffer, size) : errno == 0 ? 0 : -1;
}

ssize_t router_write(int fd, const void *bytes, size_t size)
{
    return !fails("write") ? write(fd, bytes, size) : errno == 0 ? 0 : -1;
}

off_t router_lseek(int fd, off_t offset, int from)
{
    return fails("lseek") ? -1 : lseek(fd, offset, from);
}

int router_fcntl(int fd, int request, struct flock *lock)
{
    return fails("fcntl") ? -1 : fcntl(fd, request, lock);
}

int router_socket()
{
    return fails("socket") ? -1 : make_file("");
}

// Every name has the same address.
hostent *router_host()
{
    static char address[] = {'\xCB', '\0', '\x71', '\x09'};
    static char *addresses[] = {address, nullptr};
    static hostent host = {nullptr, nullptr, AF_INET, sizeof address, addresses};
    return fails("gethostbyname") ? nullptr : &host;
}

time_t router_time()
{
    return fails("time") ? 0 : 1772785740;
}

// Every interface has an address, a mask and a hardware address.
int router_ioctl(int /*fd*/, unsigned long request, void *argument)
{
    if (fails("ioctl")) {
        return -1;
    }
    auto *query = static_cast<ifreq *>(argument);
    sockaddr_in address = {};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(request == SIOCGIFNETMASK ? 0xFFFFFF00 : 0xC0000201);
    memcpy(&query->ifr_addr, &address, sizeof address);
    return 0;
}

namespace {

// Runs rc, or the operation named by the first word, if there is one.
void run_words(std::vector<std::string> &words)
{
    std::vector<char *> pointers;
    for (std::string &word : words) {
        pointers.push_back(word.data());
    }
    const int count = static_cast<int>(words.size());
    pointers.push_back(nullptr);
    if (count > 0 && words.front() == "rc") {
        (void)rc_main(count, pointers.data());
        return;
    }
    for (const DirectOperation *table :
         {kFrameOperations, kLanOperations, kWanOperations, kFirewallOperations, kAuxOperations,
          kWirelessOperations, kVpnOperations}) {
        for (; count > 0 && table->name != nullptr; ++table) {
            if (words.front() == table->name) {
                (void)table->run(count - 1, pointers.data() + 1);
                return;
            }
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    static FILE *const nowhere = freopen("/dev/null", "w", stdout);
    MUST(nowhere != nullptr);
    static const int first = lowest_descriptor();
    std::vector<std::string> words;
    forget_run();
    set_up(input_of(data, size), words);
    if (setjmp(router.end) == 0) {
        run_words(words);
    }
    if (has_trace()) {
        print_files();
    }
    close_all(first);
    return 0;
}
