// Sets of packets, exact: a packet is a row of bits, a set a function of them, kept as a binary decision
// diagram.
#pragma once

#include <map>
#include <vector>

namespace packets {

// Diagrams live in one table of the process. One at a time; every Set must end before it.
class SetTable {
  public:
    explicit SetTable(int variables);
    ~SetTable();
    SetTable(const SetTable &) = delete;
    SetTable &operator=(const SetTable &) = delete;
};

class Set {
  public:
    Set() = default;  // empty
    Set(const Set &other);
    Set(Set &&other) noexcept;
    Set &operator=(Set other) noexcept;
    ~Set();

    static Set everything();
    // All rows in which this bit is set (or not).
    static Set bit(int variable, bool value = true);

    bool empty() const { return node_ == 0; }
    bool operator==(const Set &other) const { return node_ == other.node_; }
    Set operator&(const Set &other) const;
    Set operator|(const Set &other) const;
    Set operator-(const Set &other) const;
    Set operator!() const;
    Set &operator&=(const Set &other) { return *this = *this & other; }
    Set &operator|=(const Set &other) { return *this = *this | other; }
    Set &operator-=(const Set &other) { return *this = *this - other; }

    // Without regard to these bits: rows that are in the set for some value of them.
    Set without(const Set &bits) const;
    // The conjunction of bits that without() takes.
    static Set bits(int first, int count);

    bool has(const std::vector<bool> &row) const;
    // Some row of the set, which must not be empty: the bits that it fixes; others are free.
    std::map<int, bool> some_row() const;

    // Cuts the set at the bits from `end` on: the parts are disjoint, each the product of a set of the bits
    // before `end` and one of those from there on.
    struct Part;
    std::vector<Part> cut(int end) const;

    // The values that the bits first...first+count-1 (the first the most significant) have in a set of them
    // alone, as spans.
    struct Span {
        unsigned first = 0;
        unsigned last = 0;
        bool operator==(const Span &) const = default;
    };
    std::vector<Span> spans(int first, int count) const;

    // All ways through the diagram of a set of few bits, disjoint: bit -> value.
    std::vector<std::map<int, bool>> cubes() const;

  private:
    explicit Set(int node);

    int node_ = 0;
};

struct Set::Part {
    Set before;
    Set behind;
};

}  // namespace packets
