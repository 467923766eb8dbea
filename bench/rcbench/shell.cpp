// rcbench shell: where the text of each setting comes out, measured.

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>

#include "bench/rcbench/exposure.h"
#include "bench/rcbench/router_options.h"
#include "bench/show/json.h"
#include "forms/descriptions.h"
#include "forms/escapes.h"
#include "forms/nearest.h"

namespace rcbench {

namespace {

struct ShellRequest {
    std::string program;
    bool is_table = false;
    bool json = false;
    bool shows_progress = false;
};

Options shell_options(const std::shared_ptr<ShellRequest> &r)
{
    using Text = const std::string &;
    // clang-format off
    return {
        {.name = "table",
         .help = "the places in the form of bench/image/settings/exposure",
         .take = [r](Text) { r->is_table = true; }},
        {.name = "json",
         .help = "for machines: a list with one object a setting",
         .take = [r](Text) { r->json = true; }},
        {.name = "progress",
         .help = "say on standard error what is being tried",
         .take = [r](Text) { r->shows_progress = true; }},
        {.name = "program", .argument = "FILE",
         .help = "another rc program",
         .take = [r](Text program) { r->program = program; }},
    };
    // clang-format on
}

void print_exposures(const ShellUse &use, const std::string &key)
{
    for (const forms::Exposure &one : use.exposures) {
        if (one.key == key) {
            printf("  %-7s rc %-18s %s\n", forms::quoting_name(one.quoting), one.words.c_str(),
                   forms::escape((one.field.empty() ? "" : one.field + ": ") + one.command).c_str());
        }
    }
    for (const FileUse &one : use.files) {
        if (one.key == key) {
            printf("  file    rc %-18s %s: %s\n", one.words.c_str(), one.path.c_str(),
                   forms::escape((one.field.empty() ? "" : one.field + ": ") + one.line).c_str());
        }
    }
}

bool is_seen(const ShellUse &use, const std::string &key)
{
    const auto is_it = [&](const auto &one) { return one.key == key; };
    return std::any_of(use.exposures.begin(), use.exposures.end(), is_it) ||
           std::any_of(use.files.begin(), use.files.end(), is_it);
}

bool is_number(const ShellUse &use, const std::string &key)
{
    return std::count(use.numbers.begin(), use.numbers.end(), key) != 0;
}

std::string refused(const std::string &key, const ShellUse &use)
{
    bool is_bare = false;
    std::string characters;
    for (const forms::Exposure &one : use.exposures) {
        is_bare = is_bare || (one.key == key && one.quoting == forms::Quoting::kBare);
        const bool is_it = one.key == key && one.quoting != forms::Quoting::kLine;
        for (const char c : is_it ? one.harmful : "") {
            characters += characters.find(c) == std::string::npos ? std::string(1, c) : "";
        }
    }
    return is_bare ? "all but letters, digits and @%_+=:,./-" : characters;
}

void print_setting(const ShellUse &use, const std::string &key)
{
    printf("%s\n", key.c_str());
    print_exposures(use, key);
    if (const std::string characters = refused(key, use); !characters.empty()) {
        printf("  refuse  %s\n", characters.c_str());
    }
    if (!is_seen(use, key)) {
        printf("  %s\n", is_number(use, key) ? "only as a number" : "nowhere");
    }
}

bench::Json json_field(const std::string &field)
{
    return field.empty() ? bench::Json(nullptr) : bench::Json(field);
}

bench::Json json_setting(const ShellUse &use, const std::string &key)
{
    bench::Json commands = bench::Json::array();
    for (const forms::Exposure &one : use.exposures) {
        if (one.key == key) {
            commands.push_back({{"quoting", forms::quoting_name(one.quoting)},
                                {"run", one.words},
                                {"field", json_field(one.field)},
                                {"command", bench::json_text(one.command)}});
        }
    }
    bench::Json files = bench::Json::array();
    for (const FileUse &one : use.files) {
        if (one.key == key) {
            files.push_back({{"path", one.path},
                             {"run", one.words},
                             {"field", json_field(one.field)},
                             {"line", bench::json_text(one.line)}});
        }
    }
    const std::string characters = refused(key, use);
    return {{"key", key},
            {"commands", commands},
            {"files", files},
            {"refuse", characters.empty() ? bench::Json(nullptr) : bench::json_text(characters)},
            {"number", !is_seen(use, key) && is_number(use, key)}};
}

void print_settings(const ShellRequest &request, const ShellUse &use, const Words &keys)
{
    bench::Json list = bench::Json::array();
    for (const forms::Description *one : forms::all_descriptions()) {
        if (!keys.empty() && std::count(keys.begin(), keys.end(), one->key) == 0) {
            continue;
        }
        if (request.json) {
            list.push_back(json_setting(use, one->key));
        } else {
            print_setting(use, one->key);
        }
    }
    if (request.json) {
        (void)fputs(bench::written(list).c_str(), stdout);
    }
}

std::vector<std::string> measured_keys(const Words &keys)
{
    if (!keys.empty()) {
        return keys;
    }
    std::vector<std::string> all;
    for (const forms::Description *one : forms::all_descriptions()) {
        all.push_back(one->key);
    }
    return all;
}

int work(const ShellRequest &request, const Words &keys)
{
    if (request.is_table && request.json) {
        throw forms::usage_error("only one of --table and --json can be asked for");
    }
    for (const std::string &key : keys) {
        if (forms::find_description(key) == nullptr) {
            throw forms::usage_error(forms::shown(key) + " is no setting" +
                                     forms::did_you_mean(key, measured_keys({})));
        }
    }
    RouterRequest router;
    router.program = request.program;
    const ShellUse use = measure_shell(target_of(router), keys, [&](const std::string &what) {
        if (request.shows_progress) {
            fprintf(stderr, "%s\n", what.c_str());
        }
    });
    if (request.is_table) {
        fputs(forms::exposures_text(use.exposures, measured_keys(keys)).c_str(), stdout);
        return forms::kDone;
    }
    print_settings(request, use, keys);
    return forms::kDone;
}

constexpr const char *kAbout = R"(
Says for each setting, or for those named, where its text comes out when rc runs: in a command, bare, in double or
in single quotes; in a line of a file; only as a number; nowhere. It is found by running rc in every mode with
marked values, and proved by values with a command in them that the bench's shell then runs.
)";

}  // namespace

Command make_shell()
{
    const auto request = std::make_shared<ShellRequest>();
    return {{.name = "rcbench shell",
             .usage = {"[OPTIONS] [KEY]..."},
             .about = kAbout,
             .options = shell_options(request)},
            [request](const Words &words) { return work(*request, words); }};
}

}  // namespace rcbench
