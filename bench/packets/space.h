// The bits of a packet, and the sets that matches mean.
#pragma once

#include <string>
#include <vector>

#include "bench/packets/network.h"
#include "bench/packets/packet.h"
#include "bench/packets/set.h"

namespace packets {

// Groups of bits in the order of the diagrams. An ICMP type and code take the place of the destination
// port.
enum Bits : int {
    kSideBits = 0,
    kStateBits = 2,
    kProtocolBits = 4,
    kPortBits = 12,
    kDestinationBits = 28,
    kSourceBits = 60,
    kSourcePortBits = 92,
    kFlagBits = 108,
    kScheduleBit = 114,
    kOverBit,
    kScanBit,
    kTriggerBit,
    kWebMarkBit,
    kTextBits,  // one for each text that a rule looks for in the payload
};

class Space {
  public:
    // `texts`: what the rules look for in payloads.
    explicit Space(std::vector<std::string> texts);

    Set side(Side side) const;
    Set states(uint8_t states) const;  // bits of State
    Set protocol(int number) const;
    Set port(bool destination, int first, int last) const;
    Set icmp(int type, int first_code, int last_code) const;
    Set net(bool destination, const Net &net) const;
    Set addresses(bool destination, Address first, Address last) const;
    Set flags(uint8_t looked_at, uint8_t set) const;
    Set text(const std::string &text) const;

    // Rows that are packets: no ports where the protocol has none, and a payload with "casinos" has "casino".
    const Set &packets() const { return packets_; }
    const std::vector<std::string> &texts() const { return texts_; }

    bool has(const Set &set, const Packet &packet) const;
    // A packet of the set, which must not be empty; of those the most usual: usual hosts and ports, nothing
    // special going on.
    Packet example(const Set &set, const Network &network) const { return example(set, usual(network)); }
    // The same for many sets: what is usual is made once.
    Packet example(const Set &set, const std::vector<Set> &usual) const;
    std::vector<Set> usual(const Network &network) const;
    std::vector<bool> row(const Packet &packet) const;

  private:
    Set all_packets() const;
    Set closed_texts() const;
    std::string payload(const std::vector<bool> &row) const;
    Packet packet(const std::vector<bool> &row) const;

    std::vector<std::string> texts_;
    SetTable table_;
    Set packets_;
};

// The texts that rules of these sets look for.
std::vector<std::string> texts_of(const std::vector<const RuleSet *> &rules);

}  // namespace packets
