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
    return bytes < size_t{1} << 20 ? std::to_string(bytes >> 10) + " KiB"
                                   : std::to_string(bytes >> 20) + " MiB";
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
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0) {
        throw cannot_read(path, strerror(errno));
    }
    if (const std::string why = why_not_file(status.st_mode, devices); !why.empty()) {
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
    for (int steps = 0; steps < 40; ++steps) {
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
int write_whole(int fd, off_t offset, std::string_view bytes)
{
    while (!bytes.empty()) {
        const ssize_t written = pwrite(fd, bytes.data(), bytes.size(), offset);
        if (written < 0 && errno != EINTR) {
            return errno;
        }
        bytes.remove_prefix(written < 0 ? 0 : static_cast<size_t>(written));
        offset += written < 0 ? 0 : written;
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

size_t end_of(const std::vector<Patch> &patches)
{
    size_t end = 0;
    for (const Patch &patch : patches) {
        end = std::max(end, patch.offset + patch.bytes.size());
    }
    return end;
}

// Makes sure that `size` bytes can be written; a plain file grows to them.
void make_room(const std::string &path, int fd, size_t size)
{
    struct stat status = {};
    const bool is_known = fstat(fd, &status) == 0;
    if (is_known && S_ISBLK(status.st_mode)) {
        const off_t end = lseek(fd, 0, SEEK_END);
        if (end < static_cast<off_t>(size)) {
            throw cannot_write(path, "the device has " + std::to_string(end) + " bytes, " +
                                         std::to_string(size) + " are needed");
        }
        return;
    }
    if (!is_known || !S_ISREG(status.st_mode)) {
        throw cannot_write(path, "it is no plain file or block device");
    }
    if (const int error = posix_fallocate(fd, 0, static_cast<off_t>(size)); error != 0) {
        const bool is_back = ftruncate(fd, status.st_size) == 0;
        throw cannot_write(path, std::string(strerror(error)) + (is_back ? "; it is as it was" : ""));
    }
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
    const char *what_is_left = exists ? "; it is as it was" : "; nothing is left of it";
    const int error = write_whole(beside.fd, 0, bytes);
    if (error != 0 || fsync(beside.fd) != 0) {
        throw cannot_write(path, std::string(strerror(error != 0 ? error : errno)) + what_is_left);
    }
    if (rename(beside.path.c_str(), target.c_str()) != 0) {
        throw cannot_write(path, std::string(strerror(errno)) + what_is_left);
    }
    beside.is_renamed = true;
    flush_folder(target);
}

void patch_file(const std::string &path, const std::vector<Patch> &patches)
{
    const size_t size = end_of(patches);
    const Descriptor file(open(path.c_str(), O_RDWR | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    if (file.fd < 0 && errno == ENOENT) {
        std::string bytes(size, '\0');
        for (const Patch &patch : patches) {
            bytes.replace(patch.offset, patch.bytes.size(), patch.bytes);
        }
        replace_file(path, bytes);
        return;
    }
    if (file.fd < 0) {
        throw cannot_write(path, strerror(errno));
    }
    make_room(path, file.fd, size);
    for (const Patch &patch : patches) {
        if (const int error = write_whole(file.fd, static_cast<off_t>(patch.offset), patch.bytes);
            error != 0) {
            throw cannot_write(path, std::string(strerror(error)) + "; what it holds now is damaged");
        }
    }
    if (fsync(file.fd) != 0) {
        throw cannot_write(path, std::string(strerror(errno)) + "; what it holds now may be damaged");
    }
}

}  // namespace forms
