// Files and descriptors.

#include "rc/files.h"

#include <unistd.h>

#include <cerrno>

File open_file(const char *path, const char *mode)
{
    return File(fopen(path, mode));
}

Descriptor::~Descriptor()
{
    if (fd >= 0) {
        (void)close(fd);
    }
}

bool file_exists(const char *path)
{
    return access(path, F_OK) == 0;
}

bool file_missing(const char *path)
{
    return access(path, F_OK) != 0 && errno == ENOENT;
}

bool write_all(int fd, std::string_view data)
{
    while (!data.empty()) {
        const ssize_t put = write(fd, data.data(), data.size());
        if (put > 0) {
            data.remove_prefix(static_cast<size_t>(put));
        } else if (put == 0 || errno != EINTR) {
            return false;
        }
    }
    return true;
}

long long read_number(FILE *file)
{
    long long number = 0;
    (void)!fscanf(file, "%lld", &number);
    return number;
}

void remove_file(const char *path)
{
    // A file that is not there needs no removing.
    (void)unlink(path);
}

char version_letter()
{
    const File version = open_file("/etc/version", "r");
    if (!version) {
        return '\0';
    }
    const int letter = fgetc(version.get());
    return letter == EOF ? '\0' : static_cast<char>(letter);
}
