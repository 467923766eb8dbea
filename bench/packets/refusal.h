// How the filter tool refuses a line, and how this model gives up.
#pragma once

#include <string>

#include "bench/packets/rules.h"

namespace packets {

// A line that the tool refuses.
struct Refused {
    Why why;
    std::string reason;
};

[[noreturn]] void refuse(const std::string &reason);
[[noreturn]] void refuse(const char *before, const std::string &name, const char *behind);
// "VALUE" is no WHAT.
[[noreturn]] void refuse_value(const std::string &value, const char *what);
// Throws Error: the tool may well know it, this model does not.
[[noreturn]] void unknown(const char *what, const std::string &name);

}  // namespace packets
