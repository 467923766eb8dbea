#include "bench/run/elf.h"

#include <elf.h>
#include <link.h>

#include <algorithm>
#include <bit>
#include <cstring>
#include <set>

#include "bench/run/files.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

// A record at a place of the file; false when it does not hold it whole.
template <typename Record>
bool take(const std::string &bytes, size_t at, Record &record)
{
    if (at > bytes.size() || sizeof record > bytes.size() - at) {
        return false;
    }
    memcpy(&record, bytes.data() + at, sizeof record);
    return true;
}

bool is_native(const ElfW(Ehdr) & head)
{
    constexpr unsigned char kClass = sizeof(void *) == 8 ? ELFCLASS64 : ELFCLASS32;
    constexpr unsigned char kData = std::endian::native == std::endian::big ? ELFDATA2MSB : ELFDATA2LSB;
    return memcmp(head.e_ident, ELFMAG, SELFMAG) == 0 && head.e_ident[EI_CLASS] == kClass &&
           head.e_ident[EI_DATA] == kData;
}

std::vector<ElfW(Phdr)> parts_of(const std::string &bytes)
{
    ElfW(Ehdr) head = {};
    std::vector<ElfW(Phdr)> parts;
    if (!take(bytes, 0, head) || !is_native(head)) {
        return parts;
    }
    ElfW(Phdr) part = {};
    for (size_t i = 0; i < head.e_phnum && take(bytes, head.e_phoff + i * sizeof part, part); ++i) {
        parts.push_back(part);
    }
    return parts;
}

// Where the file has what will be at this address.
size_t place_of(const std::vector<ElfW(Phdr)> &parts, size_t address)
{
    for (const ElfW(Phdr) & part : parts) {
        if (part.p_type == PT_LOAD && address >= part.p_vaddr && address - part.p_vaddr < part.p_filesz) {
            return address - part.p_vaddr + part.p_offset;
        }
    }
    return SIZE_MAX;
}

std::string text_at(const std::string &bytes, size_t at)
{
    return at < bytes.size() ? std::string(bytes.c_str() + at) : "";
}

std::vector<std::string> library_names(const std::string &bytes, const std::vector<ElfW(Phdr)> &parts,
                                       const ElfW(Phdr) & dynamic)
{
    size_t names = SIZE_MAX;
    std::vector<size_t> offsets;
    ElfW(Dyn) entry = {};
    for (size_t at = 0;
         at < dynamic.p_filesz && take(bytes, dynamic.p_offset + at, entry) && entry.d_tag != DT_NULL;
         at += sizeof entry) {
        if (entry.d_tag == DT_STRTAB) {
            names = place_of(parts, entry.d_un.d_ptr);
        } else if (entry.d_tag == DT_NEEDED) {
            offsets.push_back(entry.d_un.d_val);
        }
    }
    std::vector<std::string> found;
    for (const size_t offset : offsets) {
        if (names < bytes.size() && offset < bytes.size() - names) {
            found.push_back(text_at(bytes, names + offset));
        }
    }
    return found;
}

}  // namespace

ElfNeeds elf_needs(const fs::path &program)
{
    const std::string bytes = read_whole(program);
    const std::vector<ElfW(Phdr)> parts = parts_of(bytes);
    ElfNeeds needs;
    for (const ElfW(Phdr) & part : parts) {
        if (part.p_type == PT_INTERP) {
            needs.loader = text_at(bytes, part.p_offset);
        } else if (part.p_type == PT_DYNAMIC) {
            needs.libraries = library_names(bytes, parts, part);
        }
    }
    return needs;
}

std::vector<std::string> needed_libraries(const std::vector<fs::path> &programs, const fs::path &directory)
{
    std::vector<fs::path> left = programs;
    std::set<std::string> found;
    while (!left.empty()) {
        const fs::path file = left.back();
        left.pop_back();
        for (const std::string &name : elf_needs(file).libraries) {
            if (fs::exists(directory / name) && found.insert(name).second) {
                left.push_back(directory / name);
            }
        }
    }
    return {found.begin(), found.end()};
}

}  // namespace bench
