// The packet filter of the router that a command line describes, for questions about packets.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "bench/rcbench/router_options.h"
#include "bench/router_filter.h"
#include "bench/show/json.h"

namespace rcbench {

// What every question about packets is asked with.
struct FilterRequest {
    std::shared_ptr<RouterRequest> router = std::make_shared<RouterRequest>();
    std::optional<packets::Side> from;
    bool json = false;
    bool quick = false;
};

// Those that have another help for each question have it given.
forms::Option from_option(const std::shared_ptr<FilterRequest> &request, const char *help);
forms::Option quick_option(const std::shared_ptr<FilterRequest> &request);
forms::Option json_option(const std::shared_ptr<FilterRequest> &request, const char *help);

// Runs rc's firewall and routes, with or without the changed settings, and returns what the kernel then
// holds. Lines that the filter tool refuses because of the settings are noted.
bench::RouterFilter filter_of(const RouterRequest &request, const bench::Target &target, bool with_changes);

// The same of a root in which these runs were, and which has these interfaces.
bench::RouterFilter filter_of_runs(const bench::Root &root, const std::vector<bench::Interface> &interfaces,
                                   const std::vector<bench::Trace> &traces);

// Puts what is behind each rule into it, which takes many runs of rc.
void find_causes(bench::RouterFilter &filter, const RouterRequest &request, const bench::Target &target,
                 bool with_changes);

// The lines of a file of packets or sentences, "-" for standard input, without empty ones and remarks.
std::vector<std::string> question_lines(const std::string &file);

// The value of a side's name. Throws a usage error for another word.
packets::Side side_of(const std::string &option, const std::string &name);

// "fw_in_rules, record 2"; "framework" where no setting is behind it.
std::string origin_text(const packets::Origin &origin);

// Puts "setting" and "record" in, null where there is none.
void put_origin(bench::Json &json, const packets::Origin &origin);

}  // namespace rcbench
