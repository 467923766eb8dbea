// Writes the files that are made from the descriptions of the settings, or says whether they are up to date:
// settings-files --write|--check schema|check|shell ROOT
#include <algorithm>
#include <cstdio>

#include "forms/files.h"
#include "forms/made.h"
#include "forms/program.h"

namespace {

constexpr const char *kFrame = "/forms/settings_check.c.in";

struct Made {
    const char *name;
    const char *path;
    std::string (*make)(const std::string &root);
};

const Made kMade[] = {
    {"schema", "/share/settings.schema.json", [](const std::string &) { return forms::settings_schema(); }},
    {"check", "/share/settings_check.c",
     [](const std::string &root) {
         return forms::settings_check_source(forms::read_input(root + kFrame, forms::kTextLimit));
     }},
    {"shell", "/docs/shell.md", [](const std::string &) { return forms::shell_page(); }},
};

int check(const std::string &path, const std::string &text)
{
    if (forms::read_input(path, forms::kTextLimit) == text) {
        return forms::kDone;
    }
    printf("%s: not up to date; make it anew with scripts/settings-reference\n", path.c_str());
    return forms::kNo;
}

void write(const std::string &path, const std::string &text)
{
    FILE *file = fopen(path.c_str(), "w");
    const bool is_written = file != nullptr && fwrite(text.data(), 1, text.size(), file) == text.size();
    if ((file != nullptr && fclose(file) != 0) || !is_written) {
        throw forms::Failure(forms::kFailed, "cannot write " + path);
    }
}

int work(const std::vector<std::string> &arguments)
{
    bool is_check = false;
    const forms::Program program = {
        .name = "settings-files",
        .usage = {"--write|--check schema|check|shell ROOT"},
        .about = "Makes what is made from the descriptions of the settings.",
        .options = {{'\0', "write", nullptr, "write the file", [](const std::string &) {}},
                    {'\0', "check", nullptr, "say whether it is up to date",
                     [&](const std::string &) { is_check = true; }}},
        .no = "the file is not up to date",
    };
    const std::vector<std::string> words = forms::read_options(program, arguments);
    const auto *made = std::find_if(std::begin(kMade), std::end(kMade), [&](const Made &one) {
        return words.size() == 2 && words[0] == one.name;
    });
    if (made == std::end(kMade)) {
        throw forms::usage_error("two words are needed: what, and the root of the project");
    }
    const std::string path = words[1] + made->path;
    const std::string text = made->make(words[1]);
    if (is_check) {
        return check(path, text);
    }
    write(path, text);
    return forms::kDone;
}

}  // namespace

int main(int argc, char **argv)
{
    return forms::run_program("settings-files", argc, argv, work);
}
