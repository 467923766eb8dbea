// Runs a command line in the shell and returns what it printed.
#pragma once

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

struct Ran {
    int status = -1;
    std::string output;
    std::string errors;

    // Whether a line of the output is this one.
    bool has(const std::string &line) const
    {
        return ("\n" + output).find("\n" + line + "\n") != std::string::npos;
    }
};

// A folder of its own that goes with it.
class Folder {
  public:
    Folder() : path_(mkdtemp(name_)) {}
    ~Folder() { std::filesystem::remove_all(path_); }
    Folder(const Folder &) = delete;
    Folder &operator=(const Folder &) = delete;

    const std::string &path() const { return path_; }

    // Returns its path.
    std::string file(const std::string &name, const std::string &bytes) const
    {
        std::ofstream(path_ + "/" + name, std::ios::binary) << bytes;
        return path_ + "/" + name;
    }

    Ran run(const std::string &command) const
    {
        const std::string errors = path_ + ".errors";
        FILE *pipe = popen(("cd " + path_ + "; " + command + " 2>" + errors).c_str(), "r");
        Ran ran;
        if (pipe == nullptr) {
            return ran;
        }
        char piece[4096];
        for (size_t got = 0; (got = fread(piece, 1, sizeof piece, pipe)) > 0;) {
            ran.output.append(piece, got);
        }
        const int status = pclose(pipe);
        ran.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        std::ifstream in(errors, std::ios::binary);
        ran.errors = {std::istreambuf_iterator<char>(in), {}};
        std::filesystem::remove(errors);
        return ran;
    }

  private:
    char name_[32] = "/tmp/tools-test-XXXXXX";
    std::string path_;
};
