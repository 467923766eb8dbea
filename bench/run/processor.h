// What an ELF program says of itself: for which processor it is, and which loader it asks for.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace bench {

struct ProgramHead {
    uint64_t machine = 0;  // EM_...
    bool is_64_bit = false;
    bool is_big_endian = false;
    std::string loader;  // path of the loader of its libraries; empty: a static program
};

// nullopt: the bytes are no ELF program.
std::optional<ProgramHead> program_head(std::string_view bytes);

// True for an ELF program that this workstation's processor runs by itself.
bool is_for_this_processor(const ProgramHead &program);

}  // namespace bench
