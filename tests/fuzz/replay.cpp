// A fuzz target as an ordinary program: gives it the files named on the command line, one after the other,
// and those of directories in the order of their names.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tests/fuzz/fuzz.h"

namespace {

void add_files(const std::filesystem::path &path, std::vector<std::filesystem::path> &files)
{
    if (!std::filesystem::is_directory(path)) {
        files.push_back(path);
        return;
    }
    std::vector<std::filesystem::path> inside;
    for (const auto &entry : std::filesystem::directory_iterator(path)) {
        inside.push_back(entry.path());
    }
    std::sort(inside.begin(), inside.end());
    files.insert(files.end(), inside.begin(), inside.end());
}

}  // namespace

int main(int argc, char **argv)
{
    std::vector<std::filesystem::path> files;
    for (int i = 1; i < argc; ++i) {
        add_files(argv[i], files);
    }
    for (const std::filesystem::path &file : files) {
        std::ifstream in(file, std::ios::binary);
        if (!in) {
            (void)fprintf(stderr, "cannot read %s\n", file.c_str());
            return 2;
        }
        const std::string bytes(std::istreambuf_iterator<char>(in), {});
        (void)LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(bytes.data()), bytes.size());
    }
    (void)fprintf(stderr, "%zu inputs\n", files.size());
    return files.empty() ? 2 : 0;
}
