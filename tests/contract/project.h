// The whole tree as the contract check sees it: every source with its contract, every described setting.
#pragma once

#include <filesystem>
#include <string>
#include <vector>

#include "tests/contract/contract.h"

struct Service {
    std::string path;  // from the root, such as "rc/lan/httpd.cpp"
    Contract contract;
    Uses uses;
};

// A setting as its area's file describes it.
struct Description {
    std::string key;
    std::string type;
    std::string meaning;
    std::string value;  // the default, as written
    std::string path;   // where it is described
    int line;
};

struct Area {
    std::string path;
    std::string title;  // the file's first comment
    std::vector<Description> settings;
};

struct Project {
    std::vector<Service> services;
    std::vector<Area> areas;
};

// Reads one settings file: "## TYPE: MEANING" and "KEY=VALUE" in turn, "#" comments and empty lines between.
Area read_area(const std::string &path, std::string_view text, std::vector<Problem> &problems);

// Reads the tree below `root`. What is wrong with the form of a file becomes a problem.
Project read_project(const std::filesystem::path &root, std::vector<Problem> &problems);

// Every difference between contracts, code and descriptions.
void check_project(const Project &project, std::vector<Problem> &problems);

// The settings reference, in Markdown.
std::string settings_reference(const Project &project);
