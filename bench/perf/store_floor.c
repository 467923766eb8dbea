#include "bench/perf/store_floor.h"

#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

struct bytes {
    char *data;
    size_t size;
};

static void fail(const char *path)
{
    perror(path);
    exit(1);
}

static struct bytes read_file(const char *path)
{
    struct bytes bytes = {NULL, 0};
    struct stat status;
    const int fd = open(path, O_RDONLY);
    if (fd < 0 || fstat(fd, &status) != 0) {
        fail(path);
    }
    bytes.size = (size_t)status.st_size;
    bytes.data = malloc(bytes.size);
    if (bytes.data == NULL || read(fd, bytes.data, bytes.size) != (ssize_t)bytes.size) {
        fail(path);
    }
    close(fd);
    return bytes;
}

// The place of the key's entry, null when there is none.
static char *find(struct bytes store, const char *key)
{
    const size_t length = strlen(key);
    char *entry = store.data;
    while (*entry != '\0') {
        if (strncmp(entry, key, length) == 0 && entry[length] == '=') {
            return entry;
        }
        entry += strlen(entry) + 1;
    }
    return NULL;
}

char *floor_get(const char *path, const char *key)
{
    const struct bytes store = read_file(path);
    const char *entry = find(store, key);
    char *value = entry == NULL ? NULL : strdup(entry + strlen(key) + 1);
    free(store.data);
    return value;
}

void floor_set(const char *path, const char *key, const char *value)
{
    const struct bytes store = read_file(path);
    char *entry = find(store, key);
    if (entry == NULL) {
        fail(key);
    }
    memcpy(entry + strlen(key) + 1, value, strlen(value));
    const int fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    if (fd < 0 || write(fd, store.data, store.size) != (ssize_t)store.size || close(fd) != 0) {
        fail(path);
    }
    free(store.data);
}

static uint32_t crc_table[256];

static uint32_t checksum(struct bytes bytes)
{
    if (crc_table[1] == 0) {
        for (uint32_t byte = 0; byte < 256; ++byte) {
            uint32_t value = byte;
            for (int bit = 0; bit < 8; ++bit) {
                value = (value & 1) != 0 ? (value >> 1) ^ 0xEDB88320U : value >> 1;
            }
            crc_table[byte] = value;
        }
    }
    uint32_t value = 0xFFFFFFFFU;
    for (size_t i = 0; i < bytes.size; ++i) {
        value = crc_table[(value ^ (unsigned char)bytes.data[i]) & 0xFF] ^ (value >> 8);
    }
    return ~value;
}

static void put_word(unsigned char *bytes, uint32_t word)
{
    for (int i = 0; i < 4; ++i) {
        bytes[i] = (unsigned char)(word >> (24 - 8 * i));
    }
}

void floor_commit(const char *path, const char *flash)
{
    const struct bytes store = read_file(path);
    unsigned char header[16] = {0, 'N', 'O', 'R'};
    put_word(header + 4, (uint32_t)store.size);
    put_word(header + 8, checksum(store));
    const int fd = open(flash, O_WRONLY);
    if (fd < 0 || write(fd, header, sizeof header) != (ssize_t)sizeof header ||
        lseek(fd, 40, SEEK_SET) != 40 || write(fd, store.data, store.size) != (ssize_t)store.size ||
        close(fd) != 0) {
        fail(flash);
    }
    free(store.data);
}
