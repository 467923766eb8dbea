// What one packet filter lets through and another does not, or sends elsewhere: for people and as JSON.
#pragma once

#include <optional>
#include <string>

#include "bench/packets/reach.h"
#include "bench/router_filter.h"
#include "bench/show/json.h"
#include "bench/show/printer.h"

namespace rcbench {

// Whether a tunnel leads anywhere.
bool has_tunnels(const packets::Network &network);

struct ChangesForm {
    bool json = false;         // a list is made, nothing is printed
    bool causes = true;        // what is behind the rules is known
    std::string heading = {};  // in front of each table's own
    bench::Style style = {};
};

class Changes {
  public:
    Changes(const bench::RouterFilter &before, const bench::RouterFilter &after, ChangesForm form);

    // Compares what comes from one side, or from all; prints a table of each kind of change, each row with a
    // packet that shows it. True when something differs.
    bool compare(std::optional<packets::Side> from);

    // One object a row.
    const bench::Json &list() const { return list_; }

  private:
    bool compare_side(packets::Side side);
    packets::Difference difference(const packets::Set &set) const;
    void leave_out(packets::Difference &running, const packets::Difference &opening,
                   packets::Side side) const;
    void show(packets::Side side, const packets::Difference &difference, const std::string &where);
    void show_rows(packets::Side side, const std::string &kind, const std::vector<packets::Row> &rows,
                   const std::string &where);
    void confirm(packets::Side side, const std::string &kind, const packets::Row &row,
                 const std::string &where);

    const bench::RouterFilter &before_;
    const bench::RouterFilter &after_;
    ChangesForm form_;
    packets::Space space_;
    bench::Json list_ = bench::Json::array();
};

}  // namespace rcbench
