// A rule set as the kernel holds it after the filter tool's commands, in the order in which they were given.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bench/packets/rules.h"

namespace packets {

struct Command;

class Loader {
  public:
    Loader();
    // A file of command lines ("iptables -A ..."), given to the tool with -C. Throws Error for what this
    // model does not know, with `name` and the line.
    void file(std::string_view text, const std::string &name = "rules");
    // One call of the tool, its name first.
    void call(const std::vector<std::string> &words);
    // How many lines and calls there were so far.
    size_t lines() const { return rules_.lines; }
    // A line that is refused takes no part and is listed; the others count.
    RuleSet finish();

  private:
    void edit(const Command &command, size_t line);
    void run(const std::vector<std::string> &words, const std::string &text, const std::string &where);

    RuleSet rules_;
};

// The file alone.
RuleSet load_rules(std::string_view file);

// Puts what caused each line into its rule: the place in `origins` is the line's number less 1.
void set_origins(RuleSet &rules, const std::vector<Origin> &origins);

}  // namespace packets
