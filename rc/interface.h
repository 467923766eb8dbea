// What the kernel knows about a network interface.
#pragma once

#include <net/if.h>
#include <sys/ioctl.h>

#include <cstdint>
#include <optional>

// Asks one question (SIOCGIF...) about an interface, over a socket of any kind. False when the kernel has no
// answer.
[[nodiscard]] bool ask_interface(int socket, unsigned long question, const char *name, ifreq &answer);

// The same for a question whose answer is an IPv4 address.
[[nodiscard]] std::optional<uint32_t> interface_address(int socket, unsigned long question, const char *name);
