// The one helper program of a live router, bench_live_tool: what its first word names.
#pragma once

#include <string>
#include <vector>

namespace live_tool {

using Words = std::vector<std::string>;

// Becomes a program; comes back only when that fails, with the exit status for that.
int become(const std::string &path, const Words &words);

// In the workstation's files, still in the router's network.
void enter_workstation();

// The standard output of a program of the workstation, and its exit status.
std::string output_of(const Words &words, int &status);

// Feeds a program of the workstation; its exit status.
int feed(const Words &words, const std::string &input);

std::string read_file(const std::string &path);
void write_file(const std::string &path, const std::string &bytes);

// ---- what the first word names ----------------------------------------------------------------------------

int filter(const Words &words);  // iptables.cpp
int names(const Words &words);   // names.cpp
int dhcp(const Words &words);    // dhcp.cpp

}  // namespace live_tool
