// The floor of a rule build: reads the settings as often as the build does and writes the same bytes, and
// nothing else.
//
//     rules_floor READS STORE WANTED RULES [WANTED FILE]...
//
// Each WANTED file holds the bytes to write into the file named after it.

#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

struct bytes {
    char *data;
    size_t size;
};

static struct bytes read_file(const char *path)
{
    struct bytes bytes = {NULL, 0};
    struct stat status;
    const int fd = open(path, O_RDONLY);
    if (fd < 0 || fstat(fd, &status) != 0) {
        perror(path);
        exit(1);
    }
    bytes.data = malloc((size_t)status.st_size + 1);
    const ssize_t got = bytes.data == NULL ? -1 : read(fd, bytes.data, (size_t)status.st_size);
    if (got != status.st_size) {
        perror(path);
        exit(1);
    }
    bytes.size = (size_t)got;
    close(fd);
    return bytes;
}

static void write_file(const char *path, struct bytes bytes)
{
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (fd < 0 || write(fd, bytes.data, bytes.size) != (ssize_t)bytes.size || close(fd) != 0) {
        perror(path);
        exit(1);
    }
}

int main(int count, char **words)
{
    if (count < 3) {
        fprintf(stderr, "rules_floor: too few words\n");
        return 2;
    }
    for (int left = atoi(words[1]); left > 0; --left) {
        free(read_file(words[2]).data);
    }
    for (int i = 3; i + 1 < count; i += 2) {
        const struct bytes bytes = read_file(words[i]);
        write_file(words[i + 1], bytes);
        free(bytes.data);
    }
    return 0;
}
