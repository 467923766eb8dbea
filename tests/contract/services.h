// What a service of the tables needs beside its code: its places in the tests, the manual, the documents and
// the bench.
#pragma once

#include <filesystem>
#include <vector>

#include "tests/contract/project.h"

// Everything that a service of the tables in rc/frame.cpp lacks below `root`, each thing a problem.
void check_services(const std::filesystem::path &root, const Project &project,
                    std::vector<Problem> &problems);
