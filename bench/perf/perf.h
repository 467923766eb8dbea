// The benchmarks. Each adds its figures to the table.
#pragma once

#include <vector>

#include "bench/perf/figures.h"
#include "bench/router.h"

namespace perf {

struct Effort {
    int runs = 40;        // of a program whose time is measured
    int script_runs = 3;  // of a shell script
};

// Writing the packet filter's rules, against a floor and against shell scripts.
void rule_build(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures);

// One get, one set, one commit.
void settings(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures);

// Starting up, and rc's share of `rc start`.
void starting(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures);

// Memory with a large store: rc's own pages, and the resident peak.
void memory(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures);

// The linter on a large file of settings.
void linting(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures);

// rcbench packet and reach on many access rules, beyond the run of rc itself.
void packets(const bench::Target &target, const Effort &effort, std::vector<Figure> &figures);

// The image's settings with so many outbound rules of one line, which name services of the image.
std::vector<bench::Setting> image_with_rules(const bench::Target &target, int count);

}  // namespace perf
