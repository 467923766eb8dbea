#include "tests/runner/change.h"

#include <algorithm>

namespace {

using Body = std::vector<BodyLine>;

// One change: lines of which those that are not '+' are together in the target.
using Hunk = Body;

// Where a hunk fits: a target and the line in it.
struct Spot {
    size_t target;
    size_t line;
};

std::vector<Hunk> split_hunks(const Body &body)
{
    std::vector<Hunk> hunks(1);
    for (const BodyLine &line : body) {
        const bool replaces_more =
            line.mark == '-' && !hunks.back().empty() && hunks.back().back().mark == '+';
        if (line.mark == '.' || replaces_more) {
            hunks.emplace_back();
        }
        if (line.mark != '.') {
            hunks.back().push_back(line);
        }
    }
    return hunks;
}

Body old_lines(const Hunk &hunk)
{
    Body old;
    std::copy_if(hunk.begin(), hunk.end(), std::back_inserter(old),
                 [](const BodyLine &line) { return line.mark != '+'; });
    return old;
}

bool fits(const Body &old, const Body &target, size_t at)
{
    return at + old.size() <= target.size() &&
           std::equal(old.begin(), old.end(), target.begin() + static_cast<Body::difference_type>(at),
                      [](const BodyLine &a, const BodyLine &b) { return a.text == b.text; });
}

std::vector<Spot> find_spots(const Body &old, const std::vector<Directive *> &targets)
{
    std::vector<Spot> spots;
    for (size_t target = 0; target < targets.size(); ++target) {
        for (size_t at = 0; at < targets[target]->body.size(); ++at) {
            if (fits(old, targets[target]->body, at)) {
                spots.push_back({target, at});
            }
        }
    }
    return spots;
}

// The one spot of a hunk.
bool find_spot(const std::string &what, const Hunk &hunk, const std::vector<Directive *> &targets, Spot &spot,
               Refusal &refusal)
{
    const Body old = old_lines(hunk);
    if (std::all_of(hunk.begin(), hunk.end(), [](const BodyLine &line) { return line.mark == ' '; })) {
        return refusal.at(hunk[0].place, "a change has a |- or a |+ line");
    }
    if (old.empty()) {
        return refusal.at(hunk[0].place, "a |+ line needs a line beside it that tells its place");
    }
    const std::vector<Spot> spots = find_spots(old, targets);
    const std::string lines = old.size() == 1 ? "this line" : "these lines together";
    if (spots.empty()) {
        return refusal.at(old[0].place, what + " does not have " + lines + ": \"" + old[0].text + "\"");
    }
    if (spots.size() > 1) {
        return refusal.at(old[0].place, what + " has " + lines + " " + std::to_string(spots.size()) +
                                            " times; a line beside it makes it one: \"" + old[0].text + "\"");
    }
    spot = spots[0];
    return true;
}

// The target's lines from `next` on, up to the hunk at `spot` and through it.
void copy_hunk(const Hunk &hunk, const Body &target, size_t at, size_t &next, Body &changed)
{
    using Distance = Body::difference_type;
    changed.insert(changed.end(), target.begin() + static_cast<Distance>(next),
                   target.begin() + static_cast<Distance>(at));
    for (const BodyLine &line : hunk) {
        if (line.mark == '+') {
            changed.push_back({line.place, ' ', line.text});
            continue;
        }
        if (line.mark == ' ') {
            changed.push_back(target[at]);
        }
        ++at;
    }
    next = at;
}

// The lines of one target, changed by the hunks that fit in it.
bool change_target(const std::vector<Hunk> &hunks, const std::vector<Spot> &spots, size_t target, Body &body,
                   Refusal &refusal)
{
    Body changed;
    size_t next = 0;
    for (size_t i = 0; i < hunks.size(); ++i) {
        if (spots[i].target != target) {
            continue;
        }
        if (spots[i].line < next) {
            return refusal.at(hunks[i][0].place, "a change follows the change above it");
        }
        copy_hunk(hunks[i], body, spots[i].line, next, changed);
    }
    changed.insert(changed.end(), body.begin() + static_cast<Body::difference_type>(next), body.end());
    body = changed;
    return true;
}

}  // namespace

bool apply_change(const Directive &change, const std::vector<Directive *> &targets, Refusal &refusal)
{
    const std::vector<Hunk> hunks = split_hunks(change.body);
    std::vector<Spot> spots(hunks.size());
    for (size_t i = 0; i < hunks.size(); ++i) {
        if (hunks[i].empty()) {
            return refusal.at(change.place, "a change has a |- or a |+ line");
        }
        if (!find_spot("\"" + change.rest + "\"", hunks[i], targets, spots[i], refusal)) {
            return false;
        }
    }
    for (size_t target = 0; target < targets.size(); ++target) {
        if (!change_target(hunks, spots, target, targets[target]->body, refusal)) {
            return false;
        }
    }
    return true;
}
