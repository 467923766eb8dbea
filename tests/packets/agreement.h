// Random rule sets written by rc, random packets, and whether the two ways through the packet filter (one
// packet step by step, all packets as sets) say the same. Everything follows from a seed.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/packets/reach.h"
#include "bench/router.h"
#include "bench/router_filter.h"

namespace agreement {

// A sequence that is the same on every machine.
class Dice {
  public:
    explicit Dice(uint64_t seed) : state_(seed * 2 + 1) {}
    uint32_t roll(uint32_t sides);  // 0 ... sides-1
    bool one_in(uint32_t sides) { return roll(sides) == 0; }
    template <typename T>
    const T &pick(const std::vector<T> &from)
    {
        return from[roll(static_cast<uint32_t>(from.size()))];
    }

  private:
    uint64_t state_;
};

std::vector<bench::Setting> random_settings(Dice &dice);

// A router on the desk whose filter is built again and again.
class Router {
  public:
    Router();
    bench::RouterFilter filter(const std::vector<bench::Setting> &settings);

  private:
    std::vector<bench::Interface> interfaces_;
    std::unique_ptr<bench::Root> root_;
};

// Packets of which many meet the edges of rules.
class Packets {
  public:
    explicit Packets(const bench::RouterFilter &filter);
    packets::Packet packet(Dice &dice) const;

  private:
    packets::Address address(Dice &dice) const;
    int port(Dice &dice) const;

    std::vector<packets::Address> addresses_;
    std::vector<int> ports_;
    std::vector<int> protocols_;
    std::vector<std::string> texts_;
};

struct Count {
    size_t rule_sets = 0;
    size_t packets = 0;
    size_t accepted = 0;
    size_t translated = 0;
    std::vector<std::string> disagreements;  // one sentence each
};

// Compares the two ways for some packets: steps through one filter, sets of another (of the same, but where a
// test wants to see a difference found).
void compare(const bench::RouterFilter &steps, const bench::RouterFilter &sets, size_t packets, Dice &dice,
             Count &count);

}  // namespace agreement
