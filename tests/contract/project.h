// The whole tree as the contract check sees it: every source with its contract, every described setting.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "forms/descriptions.h"
#include "tests/contract/contract.h"

struct Service {
    std::string path;  // from the root, such as "rc/lan/httpd.cpp"
    Contract contract;
    Uses uses;
};

struct Project {
    std::vector<Service> services;
    std::vector<forms::Area> areas;
};

// A whole file, empty where it cannot be read.
std::string text_of_file(const std::filesystem::path &path);

// Reads one settings file; what is wrong with its form becomes a problem.
forms::Area read_area(const std::string &path, std::string_view text, std::vector<Problem> &problems);

// Reads the tree below `root`. What is wrong with the form of a file becomes a problem.
Project read_project(const std::filesystem::path &root, std::vector<Problem> &problems);

// Every difference between contracts, code and descriptions.
void check_project(const Project &project, std::vector<Problem> &problems);

// The settings reference, in Markdown.
std::string settings_reference(const Project &project);

// Who reads and sets each setting, one line a use: the key, read/set/read and set, the service, its source,
// what it writes, what it runs; tabs between them.
std::string settings_readers(const Project &project);
