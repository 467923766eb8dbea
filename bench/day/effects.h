// What a run changed for the people in the house: Internet, lamps, schedule, packet filter, daemons.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "bench/router.h"

namespace day {

struct Span;

class Watch {
  public:
    explicit Watch(const bench::Root &root) : root_(root) {}

    // In words, against the run before. `at`: the moment, for the spans. At power on daemons and files are
    // left out: everything starts.
    std::vector<std::string> effects_of(const bench::Trace &trace, const std::string &at, bool at_start);

    // From when to when the Internet was down and the schedule open.
    void finish(std::vector<Span> &spans) const;

  private:
    void watch_lamps(const bench::Trace &trace, std::vector<std::string> &effects);
    void watch_files(const bench::Trace &trace, std::vector<std::string> &effects);
    void watch_daemons(const bench::Trace &trace, std::vector<std::string> &effects);
    void watch_state(const std::string &what, bool now, const std::string &at);

    struct State {
        bool now = false;
        std::string since;
    };

    const bench::Root &root_;
    std::map<std::string, std::string> lamps_;
    std::map<std::string, State> states_;
    std::vector<std::pair<std::string, std::pair<std::string, std::string>>> past_;
    std::set<std::string> daemons_;
    std::string address_;
};

}  // namespace day
