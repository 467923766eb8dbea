#include "bench/run/files.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "bench/router.h"

namespace fs = std::filesystem;

namespace bench {

std::string system_error(const std::string &what, const fs::path &path)
{
    return "cannot " + what + " " + path.string() + ": " + strerror(errno);
}

std::string read_whole(const fs::path &file)
{
    const int fd = open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) {
        throw Error(system_error("read", file));
    }
    std::string text;
    char piece[65536];
    ssize_t got = 0;
    while ((got = ::read(fd, piece, sizeof piece)) > 0) {
        text.append(piece, static_cast<size_t>(got));
    }
    close(fd);
    if (got < 0) {
        throw Error(system_error("read", file));
    }
    return text;
}

void write_whole(const fs::path &file, std::string_view bytes)
{
    const int fd = open(file.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0) {
        throw Error(system_error("write", file));
    }
    ssize_t written = 0;
    while (!bytes.empty() && (written = ::write(fd, bytes.data(), bytes.size())) > 0) {
        bytes.remove_prefix(static_cast<size_t>(written));
    }
    if (close(fd) != 0 || !bytes.empty()) {
        throw Error(system_error("write", file));
    }
}

void add_field(std::string &out, std::string_view bytes)
{
    out += std::to_string(bytes.size());
    out += ':';
    out += bytes;
    out += '\0';
}

}  // namespace bench
