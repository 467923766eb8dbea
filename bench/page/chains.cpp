// The packet filter on a page: chains as boxes in the kernel's order, joined to those they call, and every
// rule.
#include <algorithm>
#include <map>
#include <set>
#include <sstream>
#include <string_view>

#include "bench/page/page.h"
#include "bench/show/printer.h"

namespace page {

namespace {

constexpr double kBoxWidth = 190;
constexpr double kBoxHeight = 30;
constexpr double kColumn = 250;
constexpr double kLine = 40;

std::string number(double value)
{
    char out[32];
    (void)snprintf(out, sizeof out, "%.1f", value);
    return out;
}

std::string full_name(const bench::FilterChain &chain)
{
    return chain.table + " " + chain.name;
}

// The chain that a rule goes to; empty for an end.
std::string target_of(const bench::FilterRule &rule)
{
    std::istringstream words(rule.text);
    std::string before;
    for (std::string word; words >> word; before = word) {
        if (before == "-j") {
            return word;
        }
    }
    return "";
}

struct Box {
    const bench::FilterChain *chain;
    size_t column = 0;
    size_t line = 0;
};

// The kernel's own chains as a packet meets them, each other one a column right of the first that calls it;
// what no chain calls comes last.
class Layout {
  public:
    explicit Layout(const bench::FilterChains &chains)
    {
        for (const bench::FilterChain &chain : chains) {
            chains_[full_name(chain)] = &chain;
        }
        for (const std::string_view hook : {"PREROUTING", "INPUT", "FORWARD", "OUTPUT", "POSTROUTING"}) {
            for (const bench::FilterChain &chain : chains) {
                if (chain.name == hook) {
                    place(chain, 0);
                }
            }
        }
        for (const bench::FilterChain &chain : chains) {
            place(chain, 0);
        }
    }

    const std::vector<Box> &boxes() const { return boxes_; }
    size_t lines() const { return next_line_; }
    size_t columns() const { return columns_; }
    const Box *find(const std::string &name) const
    {
        const auto there = std::find_if(boxes_.begin(), boxes_.end(),
                                        [&](const Box &box) { return full_name(*box.chain) == name; });
        return there == boxes_.end() ? nullptr : &*there;
    }

  private:
    // Recursive along the calls; a chain has one place, so it ends.
    void place(const bench::FilterChain &chain, size_t column)
    {
        if (!placed_.insert(full_name(chain)).second) {
            return;
        }
        boxes_.push_back({&chain, column, next_line_});
        columns_ = std::max(columns_, column + 1);
        const size_t own = next_line_;
        for (const bench::FilterRule &rule : chain.rules) {
            const auto called = chains_.find(chain.table + " " + target_of(rule));
            if (called != chains_.end()) {
                place(*called->second, column + 1);
            }
        }
        next_line_ = std::max(next_line_, own + 1);
    }

    std::map<std::string, const bench::FilterChain *> chains_;
    std::set<std::string> placed_;
    std::vector<Box> boxes_;
    size_t next_line_ = 0;
    size_t columns_ = 0;
};

std::string box_svg(const Box &box, bool marked)
{
    const double x = kColumn * static_cast<double>(box.column);
    const double y = kLine * static_cast<double>(box.line) + 4;
    const std::string rules = std::to_string(box.chain->rules.size());
    const std::string name = bench::cut_to(full_name(*box.chain), 20);
    const std::string policy = box.chain->policy.empty() ? "" : ", policy " + box.chain->policy;
    return "<g><title>" + text(full_name(*box.chain) + ": " + rules + " rules" + policy) +
           "</title><rect x=\"" + number(x + 2) + "\" y=\"" + number(y) + "\" width=\"" + number(kBoxWidth) +
           "\" height=\"" + number(kBoxHeight) + "\" rx=\"4\" fill=\"var(--shade,#f3f3f0)\" stroke=\"" +
           (marked ? "var(--mark,#b3261e)\" stroke-width=\"3" : "var(--soft,#5c5c5c)") + "\"/><text x=\"" +
           number(x + 8) + "\" y=\"" + number(y + 19) + "\">" + text(name + " " + rules) + "</text></g>\n";
}

std::string call_svg(const Box &from, const Box &to, bool marked)
{
    const double x = kColumn * static_cast<double>(from.column) + 2 + kBoxWidth;
    const double y = kLine * static_cast<double>(from.line) + 4 + kBoxHeight / 2;
    const double to_x = kColumn * static_cast<double>(to.column) + 2;
    const double to_y = kLine * static_cast<double>(to.line) + 4 + kBoxHeight / 2;
    return "<path d=\"M" + number(x) + " " + number(y) + "C" + number(x + 30) + " " + number(y) + " " +
           number(to_x - 30) + " " + number(to_y) + " " + number(to_x) + " " + number(to_y) +
           "\" fill=\"none\" stroke=\"" +
           (marked ? "var(--mark,#b3261e)\" stroke-width=\"3" : "var(--soft,#5c5c5c)") + "\"/>\n";
}

bool is_met(const std::vector<std::string> &way, const std::string &line)
{
    return std::find(way.begin(), way.end(), line) != way.end();
}

// A box to open, open when a packet met a rule of it.
std::string chain_html(const bench::FilterChain &chain, const std::vector<std::string> &way, bool open)
{
    std::string rules;
    for (const bench::FilterRule &rule : chain.rules) {
        const bool met = is_met(way, full_name(chain) + " " + rule.text);
        rules += std::string("<tr><td") + (met ? " class=met>" : ">") + text(rule.text) + "<td>" +
                 text(bench::origin_text(rule.origin));
    }
    const std::string policy = chain.policy.empty() ? "" : ", policy " + chain.policy;
    const std::string table =
        rules.empty() ? "" : "<table><tr><th scope=col>Rule<th scope=col>Because of" + rules + "</table>";
    return std::string("<details") + (open ? " open" : "") + "><summary>" +
           text(full_name(chain) + ": " + std::to_string(chain.rules.size()) + " rules" + policy) +
           "</summary>" + table + "</details>\n";
}

}  // namespace

std::string chains_picture(const bench::FilterChains &chains, const std::vector<std::string> &marked)
{
    const Layout layout(chains);
    std::string calls;
    std::string boxes;
    for (const Box &box : layout.boxes()) {
        const bool is_marked = is_met(marked, full_name(*box.chain));
        boxes += box_svg(box, is_marked);
        std::set<std::string> called;
        for (const bench::FilterRule &rule : box.chain->rules) {
            const std::string name = box.chain->table + " " + target_of(rule);
            const Box *to = layout.find(name);
            if (to != nullptr && called.insert(name).second) {
                calls += call_svg(box, *to, is_marked && is_met(marked, name));
            }
        }
    }
    return "<svg xmlns=\"http://www.w3.org/2000/svg\" viewBox=\"0 0 " +
           number(kColumn * static_cast<double>(std::max<size_t>(layout.columns(), 1))) + " " +
           number(kLine * static_cast<double>(layout.lines()) + 8) +
           "\" role=\"img\" font-family=\"monospace\" font-size=\"12\"><title>Chains of the packet filter in "
           "the kernel's order, each with its number of rules, joined to the chains it calls</title>\n" +
           calls + boxes + "</svg>\n";
}

std::vector<std::string> met_chains(const bench::FilterChains &chains, const std::vector<std::string> &way)
{
    std::vector<std::string> met;
    for (const bench::FilterChain &chain : chains) {
        const bool is_one = std::any_of(chain.rules.begin(), chain.rules.end(), [&](const auto &rule) {
            return is_met(way, full_name(chain) + " " + rule.text);
        });
        if (is_one) {
            met.push_back(full_name(chain));
        }
    }
    return met;
}

Chapter filter_chapter(const bench::FilterChains &chains, const std::vector<std::string> &way)
{
    const std::vector<std::string> marked = met_chains(chains, way);
    std::string list;
    for (const bench::FilterChain &chain : chains) {
        list += chain_html(chain, way, is_met(marked, full_name(chain)));
    }
    return {"filter", "The packet filter",
            "<div class=wide>" + chains_picture(chains, marked) + "</div>\n" + list};
}

}  // namespace page
