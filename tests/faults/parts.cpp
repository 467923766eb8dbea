#include <atomic>
#include <thread>

#include "rc/nvram.h"
#include "tests/faults/faults.h"

Values values_of(const std::string &store)
{
    Values values;
    for (const bench::Setting &setting : bench::store_settings(store)) {
        values[setting.key] = setting.value;
    }
    return values;
}

bool is_whole(const std::string &store)
{
    using namespace std::string_literals;
    return store.starts_with('\0') || store.find("\0\0"s) != std::string::npos;
}

std::string flash_with(const std::string &store)
{
    constexpr size_t kPartition = 0x20000;
    unsigned char header[kFlashHeaderSize];
    write_flash_header({kFlashMagic, static_cast<uint32_t>(store.size()), crc32(store)}, header);
    std::string flash(kPartition, '\xff');
    flash.replace(0, sizeof header, reinterpret_cast<const char *>(header), sizeof header);
    flash.replace(kFlashDataOffset, store.size(), store);
    return flash;
}

std::optional<std::string> store_in(const std::string &flash)
{
    unsigned char bytes[kFlashHeaderSize] = {};
    if (flash.size() < kFlashDataOffset) {
        return std::nullopt;
    }
    flash.copy(reinterpret_cast<char *>(bytes), sizeof bytes);
    const FlashHeader header = read_flash_header(bytes);
    if (header.magic != kFlashMagic || header.length > flash.size() - kFlashDataOffset) {
        return std::nullopt;
    }
    const std::string store = flash.substr(kFlashDataOffset, header.length);
    return crc32(store) == header.checksum ? std::optional(store) : std::nullopt;
}

void in_parallel(size_t count, const std::function<void(size_t)> &task)
{
    std::atomic<size_t> next = 0;
    std::vector<std::thread> workers;
    for (unsigned i = 0; i < std::max(1U, std::thread::hardware_concurrency()); ++i) {
        workers.emplace_back([&] {
            for (size_t number = next++; number < count; number = next++) {
                task(number);
            }
        });
    }
    for (std::thread &worker : workers) {
        worker.join();
    }
}
