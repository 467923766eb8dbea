// What every fuzz target is: one function of bytes, called by the fuzzer with inputs of its own, or by
// replay.cpp with kept ones. A target ends the process when something does not hold.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

inline std::string_view input_of(const uint8_t *data, size_t size)
{
    return {reinterpret_cast<const char *>(data), size};
}

// Cuts off up to the first line end, or all.
inline std::string_view cut_line(std::string_view &text)
{
    const size_t end = text.find('\n');
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return line;
}

#define MUST(holds)                                                           \
    do {                                                                      \
        if (!(holds)) {                                                       \
            (void)fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #holds); \
            abort();                                                          \
        }                                                                     \
    } while (false)
