#include "forms/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include "forms/escapes.h"
#include "forms/program.h"

namespace forms {

namespace {

// Closes its descriptor at the end of the scope.
struct Descriptor {
    int fd;

    explicit Descriptor(int opened) : fd(opened) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor()
    {
        if (fd > STDERR_FILENO) {
            (void)close(fd);
        }
    }
};

Failure cannot_read(const std::string &path, const std::string &why)
{
    return {kUnusable, "cannot read " + shown(input_name(path)) + ": " + why};
}

Failure cannot_write(const std::string &path, const std::string &why)
{
    return {kFailed, "cannot write " + shown(path) + ": " + why};
}

std::string size_text(size_t bytes)
{
    return std::to_string(bytes >> 20) + " MiB";
}

std::string why_not_file(mode_t mode, BlockDevices devices)
{
    if (S_ISDIR(mode)) {
        return "it is a directory";
    }
    if (S_ISCHR(mode) || (S_ISBLK(mode) && devices == BlockDevices::kRefused)) {
        return "it is a device";
    }
    return S_ISSOCK(mode) ? "it is a socket" : "";
}

// ---- reading ---------------------------------------------------------------------------------------------

int open_input(const std::string &path, BlockDevices devices)
{
    if (path == "-") {
        return STDIN_FILENO;
    }
    if (const std::string why = why_unusable(path, devices); !why.empty()) {
        throw cannot_read(path, why);
    }
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        throw cannot_read(path, strerror(errno));
    }
    return fd;
}

// ---- writing ---------------------------------------------------------------------------------------------

// Where the symbolic links from `path` on lead; the last file need not exist.
std::string follow_links(std::string path)
{
    for (int steps = 0; steps < 40; steps++) {
        char text[PATH_MAX];
        const ssize_t length = readlink(path.c_str(), text, sizeof text);
        if (length < 0) {
            return path;
        }
        const std::string target(text, static_cast<size_t>(length));
        const size_t slash = path.rfind('/');
        path = target.starts_with('/') || slash == std::string::npos ? target
                                                                     : path.substr(0, slash + 1) + target;
    }
    throw cannot_write(path, strerror(ELOOP));
}

std::string folder_of(const std::string &path)
{
    const size_t slash = path.rfind('/');
    return slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
}

// 0, or the error.
int write_whole(int fd, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = write(fd, bytes.data(), bytes.size());
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        bytes.remove_prefix(written < 0 ? 0 : static_cast<size_t>(written));
    }
    return 0;
}

// A file beside another one that takes its place at the end; gone again when that did not come about.
struct Beside {
    std::string path;
    int fd;
    bool is_renamed = false;

    explicit Beside(const std::string &target)
        : path(folder_of(target) + "/.new-XXXXXX"), fd(mkostemp(path.data(), O_CLOEXEC))
    {
    }
    Beside(const Beside &) = delete;
    Beside &operator=(const Beside &) = delete;
    ~Beside()
    {
        if (fd >= 0) {
            (void)close(fd);
        }
        if (fd >= 0 && !is_renamed) {
            (void)unlink(path.c_str());
        }
    }
};

// Mode and owner of the file that goes; a new file keeps those it was made with.
void keep_status(const Beside &beside, const struct stat &old, const std::string &path)
{
    const bool same_owner = old.st_uid == geteuid() && old.st_gid == getegid();
    if (!same_owner && fchown(beside.fd, old.st_uid, old.st_gid) != 0) {
        throw cannot_write(
            path, std::string("its owner cannot be kept: ") + strerror(errno) + "; write it as its owner");
    }
    if (fchmod(beside.fd, old.st_mode & 07777) != 0) {
        throw cannot_write(path, std::string("its mode cannot be kept: ") + strerror(errno));
    }
}

// A file that may not be written is not replaced either.
bool read_status(const std::string &path, struct stat &old)
{
    if (stat(path.c_str(), &old) != 0) {
        if (errno != ENOENT) {
            throw cannot_write(path, strerror(errno));
        }
        return false;
    }
    if (const std::string why = why_not_file(old.st_mode, BlockDevices::kRefused); !why.empty()) {
        throw cannot_write(path, why);
    }
    if (!S_ISREG(old.st_mode)) {
        throw cannot_write(path, "it is a pipe");
    }
    if (faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) != 0) {
        throw cannot_write(path, strerror(errno));
    }
    return true;
}

void flush_folder(const std::string &path)
{
    const Descriptor folder(open(folder_of(path).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    // Some file systems cannot do it; the file itself is safe then too.
    (void)fsync(folder.fd);
}

}  // namespace

std::string input_name(const std::string &path)
{
    return path == "-" ? "standard input" : path;
}

std::string why_unusable(const std::string &path, BlockDevices devices)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        return errno == ENOENT ? "" : strerror(errno);
    }
    return why_not_file(status.st_mode, devices);
}

std::string read_input(const std::string &path, size_t limit, BlockDevices devices)
{
    const Descriptor input(open_input(path, devices));
    std::string bytes;
    char piece[65536];
    while (bytes.size() <= limit) {
        const ssize_t got = read(input.fd, piece, sizeof piece);
        if (got < 0 && errno != EINTR) {
            throw cannot_read(path, errno == EISDIR ? "it is a directory" : strerror(errno));
        }
        if (got == 0) {
            return bytes;
        }
        bytes.append(piece, got < 0 ? 0 : static_cast<size_t>(got));
    }
    throw cannot_read(path, "it is larger than " + size_text(limit));
}

std::vector<Setting> read_settings_file(const std::string &path)
{
    const std::string text = read_input(path, kTextLimit);
    std::vector<Setting> settings;
    Fault fault;
    if (!read_settings(text, settings, fault)) {
        throw Failure(kUnusable, "cannot read " + fault.in(input_name(path)));
    }
    return settings;
}

void replace_file(const std::string &path, std::string_view bytes)
{
    const std::string target = follow_links(path);
    struct stat old = {};
    const bool exists = read_status(target, old);
    Beside beside(target);
    if (beside.fd < 0) {
        const bool is_refused = errno == EACCES || errno == EROFS || errno == EPERM;
        throw cannot_write(path, is_refused ? "its directory " + shown(folder_of(target)) +
                                                  " cannot be written to: " + strerror(errno)
                                            : strerror(errno));
    }
    if (exists) {
        keep_status(beside, old, path);
    }
    const int error = write_whole(beside.fd, bytes);
    if (error != 0 || fsync(beside.fd) != 0) {
        throw cannot_write(path, std::string(strerror(error != 0 ? error : errno)) + "; it is as it was");
    }
    if (rename(beside.path.c_str(), target.c_str()) != 0) {
        throw cannot_write(path, std::string(strerror(errno)) + "; it is as it was");
    }
    beside.is_renamed = true;
    flush_folder(target);
}

}  // namespace forms
