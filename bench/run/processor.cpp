#include "bench/run/processor.h"

#include <elf.h>

#include <cstddef>

#include "bench/run/files.h"

namespace bench {

namespace {

// Where the numbers are, by width of the program's addresses.
struct Layout {
    size_t parts_offset, part_size, part_count;  // in the file's header
    size_t word;                                 // bytes of an address or offset
    size_t offset, file_size;                    // in a part's header
};

constexpr Layout k32Bits = {offsetof(Elf32_Ehdr, e_phoff),  offsetof(Elf32_Ehdr, e_phentsize),
                            offsetof(Elf32_Ehdr, e_phnum),  sizeof(Elf32_Off),
                            offsetof(Elf32_Phdr, p_offset), offsetof(Elf32_Phdr, p_filesz)};
constexpr Layout k64Bits = {offsetof(Elf64_Ehdr, e_phoff),  offsetof(Elf64_Ehdr, e_phentsize),
                            offsetof(Elf64_Ehdr, e_phnum),  sizeof(Elf64_Off),
                            offsetof(Elf64_Phdr, p_offset), offsetof(Elf64_Phdr, p_filesz)};

// The number of `size` bytes at `at`; 0 beyond the end.
uint64_t number_at(std::string_view bytes, bool is_big_endian, uint64_t at, size_t size)
{
    uint64_t number = 0;
    for (size_t i = 0; i < size && at < bytes.size() && bytes.size() - at >= size; ++i) {
        const uint64_t byte = static_cast<unsigned char>(bytes[at + (is_big_endian ? i : size - 1 - i)]);
        number = number << 8U | byte;
    }
    return number;
}

std::string loader_of(std::string_view bytes, const ProgramHead &program)
{
    const Layout &layout = program.is_64_bit ? k64Bits : k32Bits;
    const auto number = [&](uint64_t at, size_t size) {
        return number_at(bytes, program.is_big_endian, at, size);
    };
    const uint64_t parts = number(layout.part_count, 2);
    for (uint64_t i = 0; i < parts; ++i) {
        const uint64_t part = number(layout.parts_offset, layout.word) + i * number(layout.part_size, 2);
        const uint64_t offset = number(part + layout.offset, layout.word);
        const uint64_t size = number(part + layout.file_size, layout.word);
        if (number(part, 4) == PT_INTERP && size > 0 && offset < bytes.size() &&
            bytes.size() - offset >= size) {
            return std::string(bytes.substr(offset, size - 1));
        }
    }
    return "";
}

}  // namespace

std::optional<ProgramHead> program_head(std::string_view bytes)
{
    if (bytes.size() < sizeof(Elf32_Ehdr) || !bytes.starts_with(ELFMAG)) {
        return std::nullopt;
    }
    ProgramHead found;
    found.is_64_bit = bytes[EI_CLASS] == ELFCLASS64;
    found.is_big_endian = bytes[EI_DATA] == ELFDATA2MSB;
    found.machine = number_at(bytes, found.is_big_endian, offsetof(Elf32_Ehdr, e_machine), 2);
    found.loader = loader_of(bytes, found);
    return found;
}

bool is_for_this_processor(const ProgramHead &program)
{
    static const std::optional<ProgramHead> own = program_head(read_whole("/proc/self/exe"));
    return own && own->machine == program.machine && own->is_64_bit == program.is_64_bit &&
           own->is_big_endian == program.is_big_endian;
}

}  // namespace bench
