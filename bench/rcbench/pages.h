// Pages for a browser and pictures, as --html and --svg ask for them.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "bench/page/page.h"
#include "bench/page/secrets.h"
#include "bench/rcbench/runs.h"
#include "bench/router_filter.h"

namespace rcbench {

// What is masked in pages, pictures and JSON: secrets of the router and of settings changed before its runs;
// nothing with --secrets.
page::Secrets secrets_of(const RouterRequest &request, const bench::Target &target,
                         const std::vector<WishedRun> &runs);

// Writes the file of --html; throws Failure when that cannot be done.
void write_page(const RouterRequest &request, const std::string &title, const std::string &about,
                const std::vector<page::Chapter> &chapters);

// Writes a picture to the file of --svg.
void write_picture(const std::string &file, const std::string &svg);

// The filter as the kernel holds it, for a picture.
bench::FilterChains chains_of(const packets::RuleSet &rules);

// What gets through, a chapter a table; of all sides when `from` is none.
std::vector<page::Chapter> passing_chapters(const bench::RouterFilter &filter,
                                            std::optional<packets::Side> from = {});

}  // namespace rcbench
