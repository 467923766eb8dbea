// Files and descriptors that close themselves, and what little services need to know of files.
#pragma once

#include <cstdio>
#include <memory>
#include <string_view>

struct FileCloser {
    void operator()(FILE *file) const
    {
        // Written by design without a check: a full disk shortens the file, without a message.
        (void)fclose(file);
    }
};

// An open stream that closes itself; null when it could not be opened.
using File = std::unique_ptr<FILE, FileCloser>;

// fopen with the stream handed to a File.
[[nodiscard]] File open_file(const char *path, const char *mode);

// A socket's descriptor that closes itself; negative when it could not be made.
struct Descriptor {
    int fd;

    explicit Descriptor(int opened) : fd(opened) {}
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    ~Descriptor();
};

[[nodiscard]] bool file_exists(const char *path);

// Whether there is no such file; false when it cannot be looked at for another reason.
[[nodiscard]] bool file_missing(const char *path);

// Writes all of `data`; false when the file does not take it whole.
[[nodiscard]] bool write_all(int fd, std::string_view data);

// The next decimal number in the file, read in 64 bits on every processor; 0 when there is none.
[[nodiscard]] long long read_number(FILE *file);

// Deletes a file; one that is not there is no error.
void remove_file(const char *path);

// The first character of /etc/version (its board letter), NUL when the file is missing or empty.
[[nodiscard]] char version_letter();
