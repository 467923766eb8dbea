#include "forms/store.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>

#include "forms/escapes.h"

namespace forms {

namespace {

std::string hex_word(uint32_t word)
{
    char text[16];
    (void)snprintf(text, sizeof text, "0x%08x", static_cast<unsigned>(word));
    return text;
}

using FirstPlaces = std::map<std::string_view, size_t>;

// Looks at one entry and notes where its key is.
void check_entry(std::string_view entry, size_t offset, FirstPlaces &places, std::vector<Damage> &found)
{
    const size_t equals = entry.find('=');
    if (equals == std::string_view::npos) {
        found.push_back({offset, true, "entry without \"=\""});
        return;
    }
    if (equals == 0) {
        found.push_back({offset, true, "entry without a key"});
        return;
    }
    const std::string_view key = entry.substr(0, equals);
    const auto [first, is_new] = places.emplace(key, offset);
    if (!is_new) {
        found.push_back(
            {offset, false,
             "duplicate key " + escape(key) + ", first at byte " + std::to_string(first->second)});
    }
}

}  // namespace

std::vector<Damage> check_store(std::string_view store, size_t base)
{
    std::vector<Damage> found;
    FirstPlaces places;
    size_t at = 0;
    while (at < store.size() && store[at] != '\0') {
        const size_t end = store.find('\0', at);
        if (end == std::string_view::npos) {
            found.push_back({base + at, true, "truncated entry: no NUL ends it"});
            return found;
        }
        check_entry(store.substr(at, end - at), base + at, places, found);
        at = end + 1;
    }
    if (at == store.size()) {
        found.push_back({base + at, true, "the final NUL is missing"});
    } else if (at + 1 < store.size()) {
        found.push_back(
            {base + at + 1, true, std::to_string(store.size() - at - 1) + " bytes behind the final NUL"});
    }
    return found;
}

FlashHeader flash_header(std::string_view image)
{
    unsigned char bytes[kFlashHeaderSize] = {};
    memcpy(bytes, image.data(), std::min(image.size(), sizeof bytes));
    return read_flash_header(bytes);
}

std::string flash_header_bytes(std::string_view store)
{
    unsigned char bytes[kFlashHeaderSize];
    write_flash_header({kFlashMagic, static_cast<uint32_t>(store.size()), crc32(store)}, bytes);
    return {bytes, bytes + sizeof bytes};
}

std::vector<Damage> check_flash(std::string_view image)
{
    if (image.size() < kFlashHeaderSize) {
        return {{image.size(), true, "truncated header"}};
    }
    const FlashHeader header = flash_header(image);
    if (header.magic != kFlashMagic) {
        return {{0, true, "bad magic " + hex_word(header.magic) + ", not " + hex_word(kFlashMagic)}};
    }
    const std::string_view store = flash_store(image);
    std::vector<Damage> found;
    if (store.size() < header.length) {
        found.push_back({4, true,
                         "the length is " + std::to_string(header.length) + ", but only " +
                             std::to_string(store.size()) + " bytes of data are there"});
    } else if (crc32(store) != header.checksum) {
        found.push_back(
            {8, true,
             "checksum " + hex_word(header.checksum) + ", but the data has " + hex_word(crc32(store))});
    }
    for (Damage &damage : check_store(store, kFlashDataOffset)) {
        found.push_back(std::move(damage));
    }
    return found;
}

std::string_view flash_store(std::string_view image)
{
    if (image.size() <= kFlashDataOffset) {
        return {};
    }
    return image.substr(kFlashDataOffset, flash_header(image).length);
}

}  // namespace forms
