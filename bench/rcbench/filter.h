// The packet filter of the router that a command line describes, for questions about packets.
#pragma once

#include <string>
#include <vector>

#include "bench/rcbench/router_options.h"
#include "bench/router_filter.h"
#include "bench/show/json.h"

namespace rcbench {

// Runs rc's firewall and routes, with or without the changed settings, and returns what the kernel then
// holds; with `causes` each rule with what is behind it, which takes many runs. Lines that the filter tool
// refuses because of the settings are noted.
bench::RouterFilter filter_of(const RouterRequest &request, const bench::Target &target, bool with_changes,
                              bool causes);

// The value of a side's name. Throws a usage error for another word.
packets::Side side_of(const std::string &option, const std::string &name);

// "fw_in_rules, record 2"; "framework" where no setting is behind it.
std::string origin_text(const packets::Origin &origin);

// Puts "setting" and "record" in, null where there is none.
void put_origin(bench::Json &json, const packets::Origin &origin);

}  // namespace rcbench
