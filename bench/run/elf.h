// What an ELF program of this workstation asks for before it can run.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace bench {

struct ElfNeeds {
    std::string loader;  // empty: a static program, a library, or no program of this processor
    std::vector<std::string> libraries;  // by the names the loader looks for
};

ElfNeeds elf_needs(const std::filesystem::path &program);

// All libraries of `directory` that the programs need, and those need in turn, by name.
std::vector<std::string> needed_libraries(const std::vector<std::filesystem::path> &programs,
                                          const std::filesystem::path &directory);

}  // namespace bench
