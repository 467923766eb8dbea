// The contract in the opening comment of a service file, and what its code really does.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/contract/source.h"

// A name and the line it is in.
using Names = std::map<std::string, int>;

struct Contract {
    std::string purpose;  // the first line: "DHCP server: gives LAN hosts their addresses."
    Names reads;
    Names sets;
    Names writes;
    Names runs;
    std::string needs;
    int line = 0;  // of "Reads:", 0 when there is no contract
};

// What the code of a file does, as far as its literals tell.
struct Uses {
    Names reads;   // keys given to the readers of the store, key templates
    Names sets;    // keys given to nvram_set
    Names writes;  // paths opened for writing, removed, or written by a command
    Names runs;    // first words of commands, without their folder
    std::map<std::string, std::set<std::string>> copies;  // of a copied file: the names it may have
    std::set<std::string> literals;                       // every string literal and constant
    std::set<std::string> words;                          // every word of every literal, and its base name
};

struct Problem {
    std::string path;
    int line;
    std::string text;
};

// What constants and macros of the headers a source may use.
struct Shared {
    Constants constants;
    Constants macros;
};

// Reads the opening comment; every fault of form becomes a problem.
Contract read_contract(const std::string &path, std::string_view source, std::vector<Problem> &problems);

Uses read_uses(std::string_view source, const Shared &shared);

// Compares both; every difference becomes a problem.
void compare_contract(const std::string &path, const Contract &contract, const Uses &uses,
                      std::vector<Problem> &problems);

// Whether a key stands for a template such as "wifi_wds_bridge%dmac".
bool matches_template(const std::string &key, const std::string &pattern);
