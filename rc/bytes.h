// Big-endian numbers in bytes: how every binary format here writes its words, on every processor.
#pragma once

#include <cstdint>

constexpr uint32_t get_big_endian(const unsigned char *bytes)
{
    return uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | uint32_t{bytes[3]};
}

constexpr void put_big_endian(unsigned char *bytes, uint32_t number)
{
    bytes[0] = static_cast<unsigned char>(number >> 24);
    bytes[1] = static_cast<unsigned char>(number >> 16);
    bytes[2] = static_cast<unsigned char>(number >> 8);
    bytes[3] = static_cast<unsigned char>(number);
}
