// The settings store: key=value entries in one file, and its image in flash.
//
// A store is a run of entries "key=value", each ended by one NUL byte; one more NUL ends the store.
// The working copy is /tmp/nvram, the factory defaults (same format) are /etc/default, the persistent
// copy lies in the flash partition /dev/mtdblock/3 behind a header.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

constexpr const char *kStorePath = "/tmp/nvram";
constexpr const char *kDefaultsPath = "/etc/default";
constexpr const char *kFlashPath = "/dev/mtdblock/3";

// ---- access by key: what services use ----------------------------------------------------------------

// The value of `key` from the working copy, else from the defaults, else none. A value found only in the
// defaults is first added to the working copy (not committed), unless that is there and cannot be read.
// Choice: only a store that does not exist is missing. One that exists and cannot be read keeps what it
// has: a setting read meanwhile has its default value, which is not stored.
// Choice: a working copy that is empty or has no end is another run's half-done write: it is read up to
// ten times, a millisecond apart, while another process holds its lock or it is not whole. The first wait
// that ends without a whole store is the last of the run, and the store is taken as it is.
// Choice: the lock that a change needs for its write is taken before the store is read for it and kept until
// the write is done, so that no run's change is lost to another's. The file is still emptied when it is
// opened for the write. A default is stored only where there is no value by then.
std::optional<std::string> nvram_get(const char *key);

// The value of `key` in the store file at `path`, or none (missing file, empty file or missing key).
std::optional<std::string> nvram_get_fun(const char *key, const char *path);

// Sets `key` in the working copy, in place if it is there, else at the end. Nothing is reported: a store
// that cannot be read or opened keeps what it held, a full disk cuts it short.
void nvram_set(const char *key, std::string_view value);

// Copies the value of `key` (empty when missing) into `destination`, cut to size - 1 characters. Does
// nothing when `key` or `destination` is null or `size` is 0.
// Choice: `my_nvram_get` is given the size of its destination and cuts there.
void my_nvram_get(const char *key, char *destination, size_t size);

template <size_t N>
void my_nvram_get(const char *key, char (&destination)[N])
{
    my_nvram_get(key, destination, N);
}

// The setting's text, empty when missing.
// Choice: a missing text setting is empty.
std::string nvram_text(const char *key);

// The setting as a number (to_int), 0 when missing.
[[nodiscard]] int nvram_int(const char *key);

// The setting's first character, NUL when missing or empty.
[[nodiscard]] char nvram_first(const char *key);

// The usual yes/no test: the setting begins with "1".
inline bool nvram_on(const char *key)
{
    return nvram_first(key) == '1';
}

// Writes the working copy to flash. 0: written; 1: flash could not be opened or the check failed;
// 5: working copy missing, empty or unreadable, flash untouched.
// Choice: a flash that does not accept the header gets no data either, and stays valid.
int nvram_commit();

// Restores the working copy from flash. 0: done; 1: flash could not be opened; 2: bad magic;
// 4: checksum mismatch, working copy untouched.
// Choice: a flash length larger than the partition is a checksum mismatch (4).
int nvram_load();

// ---- whole files -----------------------------------------------------------------------------------------

// A file's bytes in memory; `data` is not terminated.
struct Bytes {
    std::unique_ptr<char[]> data;
    size_t size = 0;

    std::string_view view() const { return {data.get(), size}; }
};

// Reads a whole file. Result: its size in bytes, or -1 when it cannot be opened, measured or read.
[[nodiscard]] long readFileBin(const char *path, Bytes &out);

// Reads a store file; one that is missing has no entries. False, with no entries, when it is there and
// cannot be read.
[[nodiscard]] bool read_store(const char *path, Bytes &store);

// Replaces a file: opened with create and truncate (mode 0600), locked, written, unlocked, closed.
// Result: of the close, or the negative result of the failed open. A short write is not reported.
// Choice: the store is written in place, and a full disk cuts it short without a message. Interrupted and
// short reads and writes of it are continued.
// Choice: a working copy that cannot be opened to be written is tried twice.
int writeFileBin(const char *path, std::string_view data);

// ---- the format itself, shared with the host tool -------------------------------------------------------

// The value of the first entry of `store` that begins with `key` and "=", or none. Reads nothing past
// the end of `store`, whether or not its closing NUL bytes are there.
// Choice: an empty store has no keys. A missing final NUL, an entry without "=" and bytes after the
// closing empty entry do no harm: reading stops at the end of the file, and a rewrite drops what follows
// the closing entry.
std::optional<std::string_view> store_find(std::string_view store, std::string_view key);

// A new store: every entry of `key` replaced in place by key=value, or that entry appended, in the
// order of the old store, ended by one NUL byte.
std::string store_replace(std::string_view store, std::string_view key, std::string_view value);

// Flash image: a 40-byte header, then the store, byte for byte. Words are big-endian on every host.
// Choice: the reserved word of the flash header is written as zero; bytes 16 to 39 are left as they are.
struct FlashHeader {
    uint32_t magic;
    uint32_t length;    // bytes of store data
    uint32_t checksum;  // CRC-32 of the store data
};

constexpr uint32_t kFlashMagic = 0x004E4F52;
constexpr size_t kFlashHeaderSize = 16;  // magic, length, checksum, a reserved word written as zero
constexpr size_t kFlashDataOffset = 40;  // bytes 16 to 39 are never touched

// The common CRC-32 (reflected 0xEDB88320, initial value and final complement 0xFFFFFFFF).
[[nodiscard]] uint32_t crc32(std::string_view data);

// Header fields from and to their 16 bytes.
[[nodiscard]] FlashHeader read_flash_header(const unsigned char (&bytes)[kFlashHeaderSize]);
void write_flash_header(const FlashHeader &header, unsigned char (&bytes)[kFlashHeaderSize]);
