// The settings store and its flash image.
//
// Writes: /tmp/nvram /dev/mtdblock/3
// Runs:   killall
//
// Every get reads and scans the whole file, every set rebuilds it: stores are a few kilobytes and runs are
// short, and other programs change the same files between two reads.

#include "rc/nvram.h"

#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <new>

#include "rc/bytes.h"
#include "rc/files.h"
#include "rc/shell.h"
#include "rc/text.h"

namespace {

consteval std::array<uint32_t, 256> make_crc_table()
{
    std::array<uint32_t, 256> table = {};
    for (uint32_t byte = 0; byte < table.size(); ++byte) {
        uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit) {
            value = (value & 1) != 0 ? (value >> 1) ^ 0xEDB88320U : value >> 1;
        }
        table[byte] = value;
    }
    return table;
}

constexpr auto kCrcTable = make_crc_table();
static_assert(kCrcTable[1] == 0x77073096U && kCrcTable[255] == 0x2D02EF8DU);

// A directory may claim any size; nothing that large is read.
constexpr off_t kMostBytes = 0x40000000;

// The end of the entry at `entry`: its NUL byte, which a damaged store may lack at its very end.
const char *entry_end(const char *entry, const char *end)
{
    return entry + strnlen(entry, static_cast<size_t>(end - entry));
}

bool at_entry(const char *entry, const char *end)
{
    return entry != end && *entry != '\0';
}

const char *next_entry(const char *entry, const char *end)
{
    const char *stop = entry_end(entry, end);
    return stop != end ? stop + 1 : end;
}

// Whether the entry begins with `key` and "=". Keys have no NUL, so what is equal lies inside the entry. The
// ends are compared first: keys of one service begin alike.
bool is_entry_of(const char *entry, const char *end, std::string_view key)
{
    const size_t size = key.size();
    return static_cast<size_t>(end - entry) > size && entry[size] == '=' &&
           (size == 0 || entry[size - 1] == key[size - 1]) && memcmp(entry, key.data(), size) == 0;
}

// The first entry of `key` from `entry` on, or the end of the entries.
const char *find_entry(const char *entry, const char *end, std::string_view key)
{
    while (at_entry(entry, end) && !is_entry_of(entry, end, key)) {
        entry = next_entry(entry, end);
    }
    return entry;
}

void append_entry(std::string &store, std::string_view key, std::string_view value)
{
    store.append(key);
    store += '=';
    store.append(value);
    store += '\0';
}

// Reads until the buffer is full or the file ends. Result: bytes read, or -1 on an error.
ssize_t read_all(int fd, char *buffer, size_t size)
{
    size_t done = 0;
    while (done < size) {
        const ssize_t got = read(fd, buffer + done, size - done);
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return -1;
        }
        if (got == 0) {
            break;
        }
        done += static_cast<size_t>(got);
    }
    return static_cast<ssize_t>(done);
}

// Reads all of an open file. Result: the size, or -1.
long read_measured(int fd, Bytes &out)
{
    const off_t size = lseek(fd, 0, SEEK_END);
    if (size < 0 || size > kMostBytes || lseek(fd, 0, SEEK_SET) != 0) {
        return -1;
    }
    out.data.reset(new (std::nothrow) char[static_cast<size_t>(size)]);
    if (!out.data) {
        return -1;
    }
    const ssize_t got = read_all(fd, out.data.get(), static_cast<size_t>(size));
    if (got < 0) {
        return -1;
    }
    out.size = static_cast<size_t>(got);
    return static_cast<long>(got);
}

// The part of readFileBin between open and close. Result: the size, or -1.
long read_locked(int fd, Bytes &out)
{
    // Deliberate: a lock cannot be had on a read-only descriptor; such readers are not protected, and there
    // is nothing to unlock. Who may write has it until the close.
    (void)!lockf(fd, F_LOCK, 0);
    return read_measured(fd, out);
}

// Whether the empty entry that closes a store is there. It may be followed by the end of a longer store that
// another run wrote to the same file.
bool is_whole(std::string_view store)
{
    const size_t size = store.size();
    const char *data = store.data();
    return size > 0 && (data[0] == '\0' || (size > 1 && data[size - 1] == '\0' && data[size - 2] == '\0') ||
                        memmem(data, size, "\0", 2) != nullptr);
}

// Whether another process holds its writer's lock. Otherwise this one has a reader's until it closes the
// file, and writers wait.
bool has_writer(int fd)
{
    struct flock lock = {};
    lock.l_type = F_RDLCK;
    lock.l_whence = SEEK_SET;
    return fcntl(fd, F_SETLK, &lock) != 0 && (errno == EAGAIN || errno == EACCES);
}

// Whether this run still waits for a working copy that is not whole.
bool patient = true;

// One look at the working copy.
struct Look {
    int fd = -1;  // stays open with its lock where the working copy is going to be changed
    bool missing = false;
    bool failed = false;
    bool settled = false;  // whole, and no writer at work
};

Look look(Bytes &store, bool to_change)
{
    store = {};
    Look look;
    look.fd = open(kStorePath, to_change ? O_RDWR : O_RDONLY);
    if (look.fd < 0) {
        look.missing = errno == ENOENT;
        look.failed = !look.missing;
        return look;
    }
    const bool busy = !to_change && patient && has_writer(look.fd);
    look.failed = read_locked(look.fd, store) < 0;
    look.settled = !busy && is_whole(store.view());
    return look;
}

// Reads the working copy; one that is missing has no entries. False when it is there and cannot be read,
// which is tried twice: what rc stores because of a setting that it could not read would replace the user's.
//
// A writer empties the file before it fills it, so one that is not whole is read again, ten times at most
// and a millisecond apart. If it stays so, it is taken as it is, and nothing is waited for any more.
//
// With `held` it is read to be changed: under the lock that the change needs anyway, so that no other run's
// change falls between. The lock is had until `held` is closed.
bool read_working_copy(Bytes &store, int *held = nullptr)
{
    constexpr int kTries = 10;
    bool failed = false;
    for (int tries = 1;; ++tries) {
        const Look now = look(store, held != nullptr);
        if (now.missing) {
            return true;
        }
        const bool done = !now.failed && (now.settled || !patient);
        if (done && held != nullptr) {
            *held = now.fd;
            return true;
        }
        if (now.fd >= 0) {
            (void)close(now.fd);
        }
        if (done || (now.failed && failed)) {
            return done;
        }
        if (now.failed) {
            failed = true;
            continue;
        }
        patient = tries < kTries;
        if (patient) {
            // Not one of the pauses, which belong to what rc does.
            (void)poll(nullptr, 0, 1);
        }
    }
}

std::optional<std::string> copy_of(std::optional<std::string_view> value)
{
    return value ? std::optional<std::string>(*value) : std::nullopt;
}

// Gives the working copy's `key` a value; one that is there stays if `added_only`. Result: the value that is
// there now, as far as it can be read.
std::string store_value(const char *key, std::string_view value, bool added_only)
{
    Bytes store;
    int held = -1;
    std::optional<std::string_view> there;
    if (read_working_copy(store, &held)) {
        there = added_only ? store_find(store.view(), key) : std::nullopt;
        if (!there) {
            (void)writeFileBin(kStorePath, store_replace(store.view(), key, value));
        }
    }
    if (held >= 0) {
        (void)close(held);
    }
    return std::string(there.value_or(value));
}

// Writes header and data to the open flash and reads the data back as far as that is possible. True when
// the data in memory still has the header's checksum. Where the header cannot be written nothing else is, and
// what the flash held stays valid.
bool write_flash(int fd, Bytes &store)
{
    const FlashHeader header = {kFlashMagic, static_cast<uint32_t>(store.size), crc32(store.view())};
    unsigned char bytes[kFlashHeaderSize];
    write_flash_header(header, bytes);
    if (lseek(fd, 0, SEEK_SET) == 0 && write_all(fd, {reinterpret_cast<const char *>(bytes), sizeof bytes}) &&
        lseek(fd, kFlashDataOffset, SEEK_SET) == static_cast<off_t>(kFlashDataOffset)) {
        (void)write_all(fd, store.view());
    }
    // Deliberate: the descriptor is write-only, so this read cannot succeed, the buffer keeps what was
    // just written and its checksum is right.
    (void)lseek(fd, kFlashDataOffset, SEEK_SET);
    const bool read_back = read_all(fd, store.data.get(), store.size) >= 0;
    return !read_back || crc32(store.view()) == header.checksum;
}

// The part of nvram_load between open and close: fills `store`, or gives nvram_load's error.
int read_flash(int fd, Bytes &store)
{
    unsigned char bytes[kFlashHeaderSize] = {};
    const off_t partition = lseek(fd, 0, SEEK_END);
    (void)lseek(fd, 0, SEEK_SET);
    (void)read_all(fd, reinterpret_cast<char *>(bytes), sizeof bytes);
    const FlashHeader header = read_flash_header(bytes);
    if (header.magic != kFlashMagic) {
        return 2;
    }
    const off_t room = partition - static_cast<off_t>(kFlashDataOffset);
    if (room < 0 ? header.length > 0 : static_cast<uint64_t>(room) < header.length) {
        return 4;
    }
    // Deliberate: one byte more than the store is read.
    const size_t size = static_cast<size_t>(header.length) + 1;
    store.data.reset(new (std::nothrow) char[size]);
    (void)lseek(fd, kFlashDataOffset, SEEK_SET);
    if (!store.data || read_all(fd, store.data.get(), size) < static_cast<ssize_t>(header.length)) {
        return 4;
    }
    store.size = header.length;
    return crc32(store.view()) == header.checksum ? 0 : 4;
}

}  // namespace

uint32_t crc32(std::string_view data)
{
    uint32_t value = 0xFFFFFFFFU;
    for (const char c : data) {
        value = kCrcTable[(value ^ static_cast<unsigned char>(c)) & 0xFF] ^ (value >> 8);
    }
    return ~value;
}

FlashHeader read_flash_header(const unsigned char (&bytes)[kFlashHeaderSize])
{
    return {get_big_endian(bytes), get_big_endian(bytes + 4), get_big_endian(bytes + 8)};
}

void write_flash_header(const FlashHeader &header, unsigned char (&bytes)[kFlashHeaderSize])
{
    put_big_endian(bytes, header.magic);
    put_big_endian(bytes + 4, header.length);
    put_big_endian(bytes + 8, header.checksum);
    put_big_endian(bytes + 12, 0);
}

std::optional<std::string_view> store_find(std::string_view store, std::string_view key)
{
    const char *end = store.data() + store.size();
    const char *entry = find_entry(store.data(), end, key);
    if (!at_entry(entry, end)) {
        return std::nullopt;
    }
    const char *value = entry + key.size() + 1;
    return std::string_view(value, static_cast<size_t>(entry_end(value, end) - value));
}

std::string store_replace(std::string_view store, std::string_view key, std::string_view value)
{
    std::string image;
    image.reserve(store.size() + key.size() + value.size() + 3);
    const char *end = store.data() + store.size();
    const char *kept = store.data();  // entries from here on are not in the image yet
    const char *entry = find_entry(kept, end, key);
    const bool found = at_entry(entry, end);
    while (at_entry(entry, end)) {
        image.append(kept, entry);
        append_entry(image, key, value);
        kept = next_entry(entry, end);
        entry = find_entry(kept, end, key);
    }
    image.append(kept, entry);
    if (kept != entry && entry[-1] != '\0') {
        image += '\0';
    }
    if (!found) {
        append_entry(image, key, value);
    }
    image += '\0';
    return image;
}

long readFileBin(const char *path, Bytes &out)
{
    const int fd = open(path, O_RDONLY);
    if (fd < 0) {
        return -1;
    }
    const long size = read_locked(fd, out);
    (void)close(fd);
    return size;
}

int writeFileBin(const char *path, std::string_view data)
{
    // Deliberate: the old content is gone at the open, before the lock is taken; the last writer wins.
    // Tried twice, as reading is: at boot a working copy that was not restored is filled with defaults.
    int fd = -1;
    for (int tries = 0; fd < 0 && tries < 2; ++tries) {
        fd = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
    }
    if (fd < 0) {
        return fd;
    }
    (void)!lockf(fd, F_LOCK, 0);
    (void)write_all(fd, data);
    (void)!lockf(fd, F_ULOCK, 0);
    return close(fd);
}

bool read_store(const char *path, Bytes &store)
{
    store = {};
    const int fd = open(path, O_RDONLY);
    if (fd < 0) {
        return errno == ENOENT;
    }
    const bool done = read_locked(fd, store) >= 0;
    (void)close(fd);
    return done;
}

std::optional<std::string> nvram_get_fun(const char *key, const char *path)
{
    Bytes store;
    (void)read_store(path, store);
    return copy_of(store_find(store.view(), key));
}

std::optional<std::string> nvram_get(const char *key)
{
    Bytes store;
    const bool known = read_working_copy(store);
    if (auto value = copy_of(store_find(store.view(), key))) {
        return value;
    }
    const auto value = nvram_get_fun(key, kDefaultsPath);
    // Deliberate: a default that is read becomes part of the working copy, unless that may hold another
    // value which could not be read, or another run has added one since.
    return value && known ? store_value(key, *value, true) : value;
}

void nvram_set(const char *key, std::string_view value)
{
    (void)store_value(key, value, false);
}

std::string nvram_text(const char *key)
{
    return nvram_get(key).value_or(std::string());
}

int nvram_int(const char *key)
{
    return to_int(nvram_text(key));
}

char nvram_first(const char *key)
{
    return nvram_text(key).c_str()[0];
}

void my_nvram_get(const char *key, char *destination, size_t size)
{
    if (key == nullptr || destination == nullptr || size == 0) {
        return;
    }
    copy_text(destination, size, nvram_text(key));
}

int nvram_commit()
{
    const int fd = open(kFlashPath, O_WRONLY);
    if (fd < 0) {
        return 1;
    }
    Bytes store;
    if (!read_working_copy(store) || store.size == 0) {
        (void)close(fd);
        return 5;
    }
    const bool matches = write_flash(fd, store);
    (void)close(fd);
    if (!matches) {
        return 1;
    }
    // Tells the remote-management agent that the settings changed.
    run("/usr/bin/killall -USR2 cwmp > /dev/null 2>&1");
    return 0;
}

int nvram_load()
{
    const int fd = open(kFlashPath, O_RDONLY);
    if (fd < 0) {
        return 1;
    }
    Bytes store;
    const int result = read_flash(fd, store);
    (void)close(fd);
    if (result == 0) {
        (void)writeFileBin(kStorePath, store.view());
    }
    return result;
}
