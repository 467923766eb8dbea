// The router of a live network: a bench root with the platform's tools real, or with adapters or stand-ins of
// bench/image/live where this kernel lacks something, and rc running in it as it ships.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "bench/live/network.h"
#include "bench/live/process.h"
#include "bench/router.h"

namespace live {

constexpr const char *kRouterRoot = "/run/router";

struct RouterChoice {
    bench::Target target;
    std::vector<bench::Setting> settings;
    int pauses = 1;  // rc's pauses are divided by it
};

// Builds the root in kRouterRoot.
std::unique_ptr<bench::Root> build_router(const RouterChoice &choice);

// Process 1 of the router: mounts, then the watcher of the schedule flag and the one who collects what has
// ended.
void be_router_init(const bench::Target &target);

// What bench/image/live/tools says of a tool: "real", "adapter" or "stand-in", and what stands there.
struct ToolRow {
    std::string path;
    std::string kind;
    std::string what;
};
std::vector<ToolRow> live_tools(const bench::Target &target);

// The provider's side of the line: what must be right for a connection.
struct Line {
    bool has_signal = true;
    std::string circuit = "8.35";
    std::string encapsulation = "0";  // 0 LLC, 1 VC multiplexing
    std::string user = "customer@provider.example";
    std::string password = "secret";
    std::string arp_server = "198.18.0.1";  // of classical IP over ATM
};
void set_line(bench::Root &root, const Line &line);

// The words that run rc in the router, with its clock at `clock` (seconds since 1970) unless empty.
RouterRun rc_run(const RouterChoice &choice, const std::string &words, const std::string &clock = "");

// Numbers, in the router, of the rc processes that run there.
std::vector<int> running_rc();

}  // namespace live
