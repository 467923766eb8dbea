// One self-contained page for a browser: chapters of tables and pictures, without network and framework. All
// that comes from a router is text there, whatever it contains.
//
// Choice: a page holds all it shows, and forbids itself to load anything.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "bench/packets/walk.h"
#include "bench/router.h"
#include "bench/show/filter.h"

namespace page {

// As text between tags and in quoted attributes: ASCII alone, control and other bytes as \xHH.
std::string text(std::string_view bytes);

struct Chapter {
    std::string id;     // letters
    std::string title;  // text
    std::string body;   // HTML
};

// The whole page. `title` and `about` are text.
std::string page(const std::string &title, const std::string &about, const std::vector<Chapter> &chapters);

// A table: its head and its rows of cells, as text.
std::string table(const std::vector<std::string> &head, const std::vector<std::vector<std::string>> &rows);

// A picture as a file of its own: with its colours, for a light and a dark background.
std::string standalone(const std::string &svg);

// ---- a run ----------------------------------------------------------------------------------------------

// Where the time of runs goes, as bars on a common axis, with nested runs below each other, as SVG.
std::string time_picture(const std::vector<std::vector<std::string>> &words,
                         const std::vector<bench::Trace> &traces);

// The picture with its text: what the time went into, and the bars as a table.
Chapter time_chapter(const std::vector<std::vector<std::string>> &words,
                     const std::vector<bench::Trace> &traces);

// Chapters of one run: its timeline with a filter, changed settings, files with their differences.
std::vector<Chapter> run_chapters(size_t number, const std::vector<std::string> &words,
                                  const bench::Trace &trace);

// ---- the packet filter ----------------------------------------------------------------------------------

// Chains in the kernel's order and who calls whom, with the number of rules; the marked ones stand out. As
// SVG.
std::string chains_picture(const bench::FilterChains &chains, const std::vector<std::string> &marked);

// Those of them in which a packet met rules, as "TABLE CHAIN". `way`: the rules, as "TABLE CHAIN RULE".
std::vector<std::string> met_chains(const bench::FilterChains &chains, const std::vector<std::string> &way);

// The picture and every chain with its rules. `way`: as above.
Chapter filter_chapter(const bench::FilterChains &chains, const std::vector<std::string> &way);

}  // namespace page
