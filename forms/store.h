// Settings stores and flash images as bytes: what is damaged in them, and where the store of an image is.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "rc/nvram.h"

namespace forms {

// One damaged place.
struct Damage {
    size_t offset;  // byte of the file
    bool is_lost;   // entries cannot be told apart from here on, or are not what was written
    std::string reason;
};

// The damage of a store, in order of place; `base` is where the store begins in its file. A key that
// is there twice is damage, but nothing is lost by it.
// Choice: damaged stores can be read and checked, but not changed. Bytes outside the header and the store
// of a flash image stay.
std::vector<Damage> check_store(std::string_view store, size_t base = 0);

// The damage of a flash image, its store included when there is one.
std::vector<Damage> check_flash(std::string_view image);

// The store inside a flash image; as much of it as is there.
std::string_view flash_store(std::string_view image);

// The header fields of an image; of one that is shorter than a header, with zeros for what is missing.
FlashHeader flash_header(std::string_view image);

// The header that belongs to a store: the first bytes of its image.
std::string flash_header_bytes(std::string_view store);

}  // namespace forms
