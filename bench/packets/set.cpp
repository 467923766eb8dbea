#include "bench/packets/set.h"

#include <bdd.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "bench/packets/rules.h"

// The library's C interface, which its header hides behind one for C++.
#undef bdd_init
#undef bdd_ithvar
#undef bdd_nithvar

namespace packets {

namespace {

constexpr int kEmpty = 0;
constexpr int kEverything = 1;
constexpr int kFirstNodes = 1 << 19;
constexpr int kCache = 1 << 16;
constexpr int kMostMoreNodes = 1 << 20;

[[noreturn]] void fail(int code)
{
    throw Error(std::string("sets of packets: ") + bdd_errstring(code));
}

bool is_leaf(int node)
{
    return node <= kEverything;
}

}  // namespace

SetTable::SetTable(int variables)
{
    if (bdd_isrunning() != 0) {
        throw Error("sets of packets: one table at a time");
    }
    bdd_init(kFirstNodes, kCache);
    (void)bdd_error_hook(fail);
    (void)bdd_gbc_hook(nullptr);
    (void)bdd_resize_hook(nullptr);
    bdd_setmaxincrease(kMostMoreNodes);
    bdd_setvarnum(variables);
    bdd_setcacheratio(8);
}

SetTable::~SetTable()
{
    bdd_done();
}

Set::Set(int node) : node_(node)
{
    bdd_addref(node_);
}

Set::Set(const Set &other) : node_(other.node_)
{
    if (!is_leaf(node_)) {
        bdd_addref(node_);
    }
}

Set::Set(Set &&other) noexcept : node_(std::exchange(other.node_, kEmpty)) {}

Set &Set::operator=(Set other) noexcept
{
    std::swap(node_, other.node_);
    return *this;
}

Set::~Set()
{
    if (!is_leaf(node_)) {
        bdd_delref(node_);
    }
}

Set Set::everything()
{
    return Set(kEverything);
}

Set Set::bit(int variable, bool value)
{
    return Set(value ? bdd_ithvar(variable) : bdd_nithvar(variable));
}

Set Set::operator&(const Set &other) const
{
    return Set(bdd_apply(node_, other.node_, bddop_and));
}

Set Set::operator|(const Set &other) const
{
    return Set(bdd_apply(node_, other.node_, bddop_or));
}

Set Set::operator-(const Set &other) const
{
    return Set(bdd_apply(node_, other.node_, bddop_diff));
}

Set Set::operator!() const
{
    return Set(bdd_not(node_));
}

Set Set::without(const Set &bits) const
{
    return Set(bdd_exist(node_, bits.node_));
}

Set Set::bits(int first, int count)
{
    Set all = everything();
    for (int i = first + count - 1; i >= first; --i) {
        all &= bit(i);
    }
    return all;
}

bool Set::has(const std::vector<bool> &row) const
{
    int node = node_;
    while (!is_leaf(node)) {
        node = row[static_cast<size_t>(bdd_var(node))] ? bdd_high(node) : bdd_low(node);
    }
    return node == kEverything;
}

std::map<int, bool> Set::some_row() const
{
    std::map<int, bool> row;
    for (int node = node_; !is_leaf(node);) {
        const bool high = bdd_low(node) == kEmpty;
        row[bdd_var(node)] = high;
        node = high ? bdd_high(node) : bdd_low(node);
    }
    return row;
}

std::vector<Set::Part> Set::cut(int end) const
{
    // Nodes in the order of their variables, each with the rows that lead to it.
    std::map<std::pair<int, int>, Set> waiting;
    std::map<int, Set> ends;
    const auto arrive = [&](int node, const Set &rows) {
        if (node == kEmpty) {
            return;
        }
        const bool inside = !is_leaf(node) && bdd_var(node) < end;
        Set &known = inside ? waiting[{bdd_var(node), node}] : ends[node];
        known |= rows;
    };
    arrive(node_, everything());
    while (!waiting.empty()) {
        const auto first = waiting.extract(waiting.begin());
        const int variable = first.key().first;
        const int node = first.key().second;
        const Set &rows = first.mapped();
        arrive(bdd_low(node), rows & bit(variable, false));
        arrive(bdd_high(node), rows & bit(variable, true));
    }
    std::vector<Part> parts;
    parts.reserve(ends.size());
    for (const auto &[node, rows] : ends) {
        parts.push_back({rows, Set(node)});
    }
    return parts;
}

std::vector<Set::Span> Set::spans(int first, int count) const
{
    std::vector<Span> found;
    const auto add = [&](unsigned low, unsigned high) {
        if (!found.empty() && found.back().last + 1 == low) {
            found.back().last = high;
        } else {
            found.push_back({low, high});
        }
    };
    // `base` is the value so far, `at` the next bit.
    const std::function<void(int, int, unsigned)> walk = [&](int node, int at, unsigned base) {
        if (node == kEmpty) {
            return;
        }
        const int left = first + count - at;
        const unsigned room = left >= 32 ? ~0U : (1U << left) - 1U;
        if (node == kEverything) {
            add(base, base + room);
            return;
        }
        const bool decides = bdd_var(node) == at;
        walk(decides ? bdd_low(node) : node, at + 1, base);
        walk(decides ? bdd_high(node) : node, at + 1, base + room / 2 + 1);
    };
    walk(node_, first, 0);
    return found;
}

std::vector<std::map<int, bool>> Set::cubes() const
{
    std::vector<std::map<int, bool>> found;
    std::map<int, bool> way;
    const std::function<void(int)> walk = [&](int node) {
        if (is_leaf(node)) {
            if (node == kEverything) {
                found.push_back(way);
            }
            return;
        }
        for (const bool high : {false, true}) {
            way[bdd_var(node)] = high;
            walk(high ? bdd_high(node) : bdd_low(node));
        }
        way.erase(bdd_var(node));
    };
    walk(node_);
    return found;
}

}  // namespace packets
