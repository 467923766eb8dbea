// nvram: reads, edits, checks and converts settings stores, defaults files and flash images.
//
// For the workstation. It uses the router's own code for the store, and never starts another program. An
// edit is made in memory and written at the end: on a failure before it, nothing is changed.
#include "rc/nvram.h"

#include <sys/stat.h>
#include <algorithm>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "forms/escapes.h"
#include "forms/files.h"
#include "forms/known.h"
#include "forms/nearest.h"
#include "forms/program.h"
#include "forms/settings.h"
#include "forms/store.h"
#include "tools/settings_commands.h"

namespace {

using forms::Failure;
using forms::shown;
using Words = std::vector<std::string>;

// What the options name. At most one of the first two is given, except for commit and load.
struct Names {
    std::string store = kStorePath;  // a store or a defaults file
    std::string flash;               // a flash image; empty: none
    bool store_given = false;
};

// A file of settings in memory.
struct SettingsFile {
    std::string path;
    bool is_flash = false;
    std::string bytes;  // the whole file
    std::string store;  // the store in it

    std::string name() const { return shown(forms::input_name(path)); }
};

bool is_missing(const std::string &path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) != 0 && errno == ENOENT;
}

SettingsFile named_file(const Names &names)
{
    const bool is_flash = !names.flash.empty();
    return {is_flash ? names.flash : names.store, is_flash, "", ""};
}

void read_settings(SettingsFile &file)
{
    file.bytes =
        forms::read_input(file.path, file.is_flash ? forms::kFlashLimit : forms::kStoreLimit,
                          file.is_flash ? forms::BlockDevices::kAllowed : forms::BlockDevices::kRefused);
    file.store = file.is_flash ? forms::flash_store(file.bytes) : std::string_view(file.bytes);
}

std::vector<forms::Damage> check_settings(const SettingsFile &file)
{
    return file.is_flash ? forms::check_flash(file.bytes) : forms::check_store(file.bytes);
}

// Complains about the first damage by which entries are lost.
void require_sound(const SettingsFile &file, const std::string &purpose)
{
    for (const forms::Damage &damage : check_settings(file)) {
        if (damage.is_lost) {
            throw Failure(forms::kNo, "cannot " + purpose + " " + file.name() + ": damaged at byte " +
                                          std::to_string(damage.offset) + ": " + damage.reason);
        }
    }
}

SettingsFile read_sound(const Names &names, const std::string &purpose)
{
    SettingsFile file = named_file(names);
    read_settings(file);
    require_sound(file, purpose);
    return file;
}

void require_writable(const std::string &path)
{
    if (path == "-") {
        throw forms::usage_error("cannot write standard input: name a file");
    }
}

// Reads the named file for an edit. A missing or empty file is a store without entries.
SettingsFile read_for_edit(const Names &names)
{
    SettingsFile file = named_file(names);
    require_writable(file.path);
    if (!is_missing(file.path)) {
        read_settings(file);
        if (!file.bytes.empty()) {
            require_sound(file, "change");
        }
    }
    return file;
}

// Of a flash image only header and store are written.
void write_settings(const SettingsFile &file)
{
    require_writable(file.path);
    if (file.store.size() > forms::kStoreLimit) {
        throw Failure(forms::kUnusable,
                      "cannot write " + file.name() + ": the store would be larger than 1 MiB");
    }
    if (file.is_flash) {
        forms::patch_file(file.path,
                          {{kFlashDataOffset, file.store}, {0, forms::flash_header_bytes(file.store)}});
    } else {
        forms::replace_file(file.path, file.store);
    }
}

// The store without the entries of `key`; false when there was none.
bool remove_key(std::string &store, const std::string &key)
{
    std::vector<forms::Setting> settings = forms::store_settings(store);
    const size_t removed =
        std::erase_if(settings, [&](const forms::Setting &setting) { return setting.key == key; });
    store = forms::store_bytes(settings);
    return removed > 0;
}

size_t count_entries(const std::string &store)
{
    return forms::store_settings(store).size();
}

void print_text(const SettingsFile &file)
{
    (void)fputs(forms::settings_text(forms::store_settings(file.store)).c_str(), stdout);
}

// ---- commands --------------------------------------------------------------------------------------------

int command_get(const Names &names, const Words &words)
{
    SettingsFile file = named_file(names);
    read_settings(file);
    if (file.is_flash) {
        require_sound(file, "read");
    }
    const std::string &key = words[0];
    const bool is_key = !key.empty() && key.find('=') == std::string::npos;
    const auto value = is_key ? store_find(file.store, key) : std::nullopt;
    if (!value) {
        throw Failure(forms::kNo, "cannot get \"" + shown(key) + "\" from " + file.name() + ": no such key");
    }
    (void)fwrite(value->data(), 1, value->size(), stdout);
    (void)putchar('\n');
    return forms::kDone;
}

int command_set(const Names &names, const Words &words)
{
    for (const std::string &word : words) {
        const size_t equals = word.find('=');
        if (equals == std::string::npos || equals == 0) {
            throw Failure(forms::kUnusable, "cannot set \"" + shown(word) + "\": it is not KEY=VALUE");
        }
    }
    SettingsFile file = read_for_edit(names);
    Words keys;
    for (const std::string &word : words) {
        const size_t equals = word.find('=');
        keys.push_back(word.substr(0, equals));
        file.store = store_replace(file.store, keys.back(), word.substr(equals + 1));
    }
    write_settings(file);
    forms::note_unknown_settings(keys);
    return forms::kDone;
}

int command_unset(const Names &names, const Words &words)
{
    require_writable(named_file(names).path);
    SettingsFile file = read_sound(names, "change");
    for (const std::string &key : words) {
        if (!remove_key(file.store, key)) {
            throw Failure(forms::kNo,
                          "cannot unset \"" + shown(key) + "\" in " + file.name() + ": no such key");
        }
    }
    write_settings(file);
    return forms::kDone;
}

// What it prints can be imported again: everything but the entries is behind a "#".
int command_show(const Names &names, const Words &)
{
    SettingsFile file = named_file(names);
    read_settings(file);
    (void)printf("# %s %s\n", file.is_flash ? "flash image" : "store",
                 forms::escape(forms::input_name(file.path)).c_str());
    if (file.is_flash && file.bytes.size() >= kFlashHeaderSize) {
        const FlashHeader header = forms::flash_header(file.bytes);
        (void)printf("# magic     0x%08x\n", static_cast<unsigned>(header.magic));
        (void)printf("# length    %lu\n", static_cast<unsigned long>(header.length));
        (void)printf("# checksum  0x%08x\n", static_cast<unsigned>(header.checksum));
    }
    require_sound(file, "show");
    (void)printf("# entries   %zu\n", count_entries(file.store));
    print_text(file);
    return forms::kDone;
}

int command_export(const Names &names, const Words &)
{
    print_text(read_sound(names, "export"));
    return forms::kDone;
}

// The entries of the text become the whole store. Of a flash image only header and store are replaced, so
// that a blank or damaged one can be filled.
int command_import(const Names &names, const Words &words)
{
    SettingsFile file = named_file(names);
    require_writable(file.path);
    Words keys;
    const std::vector<forms::Setting> settings = forms::read_settings_file(words[0]);
    for (const forms::Setting &setting : settings) {
        keys.push_back(setting.key);
    }
    file.store = forms::store_bytes(settings);
    write_settings(file);
    forms::note_unknown_settings(keys);
    return forms::kDone;
}

int command_check(const Names &names, const Words &)
{
    SettingsFile file = named_file(names);
    read_settings(file);
    const std::vector<forms::Damage> found = check_settings(file);
    for (const forms::Damage &damage : found) {
        (void)printf("%s: byte %zu: %s\n", file.name().c_str(), damage.offset, damage.reason.c_str());
    }
    if (!found.empty()) {
        return forms::kNo;
    }
    (void)printf("%s: sound, %zu entries, %zu bytes\n", file.name().c_str(), count_entries(file.store),
                 file.store.size());
    return forms::kDone;
}

// Store to image, as the router commits.
int command_commit(const Names &names, const Words &)
{
    SettingsFile store = {names.store, false, "", ""};
    read_settings(store);
    require_sound(store, "commit");
    write_settings({names.flash, true, "", store.store});
    return forms::kDone;
}

// Image to store, as the router loads it at boot.
int command_load(const Names &names, const Words &)
{
    SettingsFile image = {names.flash, true, "", ""};
    read_settings(image);
    require_sound(image, "load");
    write_settings({names.store, false, "", image.store});
    return forms::kDone;
}

// A file that is named, else the store that the options name.
int command_lint(const Names &names, const Words &words)
{
    bool is_json = false;
    Words files;
    for (const std::string &word : words) {
        if (word == "--json") {
            is_json = true;
        } else if (word.size() > 1 && word[0] == '-') {
            throw forms::usage_error("lint knows no option \"" + shown(word) + "\"" +
                                     forms::did_you_mean(word, {"--json", "--help"}));
        } else {
            files.push_back(word);
        }
    }
    if (files.size() > 1) {
        throw forms::usage_error("lint takes one file at most");
    }
    if (!files.empty()) {
        return lint_settings(read_any_settings(files[0]), is_json);
    }
    SettingsFile file = named_file(names);
    read_settings(file);
    for (const forms::Damage &damage : check_settings(file)) {
        if (damage.is_lost) {
            throw forms::Failure(forms::kUnusable, "cannot lint " + file.name() + ": damaged at byte " +
                                                       std::to_string(damage.offset) + ": " + damage.reason);
        }
    }
    return lint_settings(forms::store_settings(file.store), is_json);
}

// A file that the options name comes first.
int command_diff(const Names &names, const Words &words)
{
    Words all = words;
    if (names.store_given || !names.flash.empty()) {
        all.insert(all.begin(), names.store_given ? names.store : names.flash);
    }
    return diff_settings(all);
}

// ---- command line ----------------------------------------------------------------------------------------

constexpr size_t kAnyNumber = SIZE_MAX;

// The rows of the help, and what they do.
struct Command {
    forms::Command row;
    size_t least_words;
    size_t most_words;
    bool needs_both;  // a store and a flash image, both named
    int (*run)(const Names &, const Words &);
    const char *about;  // of the command's own help, below its row
    const char *no = nullptr;
};

constexpr Command kCommands[] = {
    {{"get", "KEY", "print the value"},
     1,
     1,
     false,
     command_get,
     "Prints the value of an entry, byte for byte, and a line end. A store is read as the router reads it, "
     "damaged or not; a flash image must be sound.",
     "no such key, or damage"},
    {{"set", "KEY=VALUE...", "change or add entries"},
     1,
     kAnyNumber,
     false,
     command_set,
     "Changes entries in place or adds them at the end. The value is taken as it is, without escapes. A "
     "missing or empty file is a store without entries.",
     "damage"},
    {{"unset", "KEY...", "remove entries"},
     1,
     kAnyNumber,
     false,
     command_unset,
     "Removes entries. Every key must be there.",
     "no such key, or damage"},
    {{"show", "", "print header and entries"},
     0,
     0,
     false,
     command_show,
     "Prints what the file is, the header of a flash image, and the entries. Everything except the entries "
     "is "
     "behind a \"#\", so that the output can be imported.",
     "damage"},
    {{"export", "", "print the entries as text, key=value, with \\n \\t \\\\ \\xHH"},
     0,
     0,
     false,
     command_export,
     "Prints the entries as text, one a line.",
     "damage"},
    {{"import", "TEXTFILE", "make the entries of a text the whole store"},
     1,
     1,
     false,
     command_import,
     "Makes the entries of a text the whole store; \"-\" is standard input. A flash image may be missing, "
     "blank "
     "or damaged before; its bytes outside header and store stay."},
    {{"check", "", "report damage with its place"},
     0,
     0,
     false,
     command_check,
     "Reports all damage, each with the byte of the file where it is.",
     "damage"},
    {{"lint", "[--json] [FILE]", "say what is wrong with the settings and what the router will do"},
     0,
     kAnyNumber,
     false,
     command_lint,
     "Says what is wrong with settings, one line a finding: key, record and field, grade (error, warning, "
     "note), what is wrong, what the router will do with it where a run of rc shows that, and in brackets "
     "the "
     "finding's name. FILE is a text, a store or a flash image; without it the store of the options is read. "
     "Settings that are not there count with their defaults.\n\n"
     "  --json   an array of objects: key, grade, code, message, and where they apply\n"
     "           record, field, field_name",
     "there are findings above a note"},
    {{"diff", "[--json] [--secrets] [--all] A B",
      "compare two files of any kind, or --defaults and one; secrets are masked"},
     1,
     kAnyNumber,
     false,
     command_diff,
     "Says what differs between two files, each a text, a store, a flash image or --defaults for the default "
     "settings; lists record by record and field by field. Of more than ten settings that only one of them "
     "has, "
     "their number.\n\n"
     "  --all      every setting that only one of them has\n"
     "  --json     an array of objects: key, before, after, and where they apply\n"
     "             record, field, field_name\n"
     "  --secrets  passwords and keys as they are",
     "there are differences"},
    {{"commit", "", "with -f STORE and --flash IMAGE: write the store into the image"},
     0,
     0,
     true,
     command_commit,
     "Writes the store into the flash image, as the router does. The image is made when it is missing.",
     "damage"},
    {{"load", "", "with -f STORE and --flash IMAGE: write the image's store to the store"},
     0,
     0,
     true,
     command_load,
     "Writes the store of the flash image to the store, as the router does at boot.",
     "damage"},
};

void name_store(Names &names, const std::string &path)
{
    if (names.store_given) {
        throw forms::usage_error("more than one store is named");
    }
    if (path.empty()) {
        throw forms::usage_error("the name of the store is empty");
    }
    names.store = path;
    names.store_given = true;
}

void name_flash(Names &names, const std::string &path)
{
    if (!names.flash.empty()) {
        throw forms::usage_error("more than one flash image is named");
    }
    if (path.empty()) {
        throw forms::usage_error("the name of the flash image is empty");
    }
    names.flash = path;
}

forms::Program program_of(Names &names)
{
    forms::Program program = {
        .name = "nvram",
        .usage = {"[-f STORE | --defaults FILE | --flash IMAGE] COMMAND",
                  "-f STORE --flash IMAGE commit | load"},
        .about =
            "Reads, edits, checks and converts the router's settings files. Where a file is read, \"-\" is "
            "standard input.",
        .options = {{'f', "file", "STORE", "a settings store (default: /tmp/nvram)",
                     [&](const std::string &path) { name_store(names, path); }},
                    {'\0', "defaults", "FILE", "a defaults file; it has the form of a store",
                     [&](const std::string &path) { name_store(names, path); }},
                    {'\0', "flash", "IMAGE", "a flash image: a header and a store",
                     [&](const std::string &path) { name_flash(names, path); }}},
        .more = "\"nvram COMMAND --help\" says more about a command.",
        .no = "no such key, damage, findings above a note, or differences",
        .place = forms::OptionPlace::kBeforeWords,
    };
    for (const Command &command : kCommands) {
        program.commands.push_back(command.row);
    }
    return program;
}

bool asks_for_help(const std::string &word)
{
    return word == "--help" || word == "-h" || word == "--version";
}

// The command's own help. A key may begin with "-", so that only a word by itself asks for it, or any of
// those of a command that has options.
void help_with(const Command &command, const Words &words)
{
    const bool has_options = strstr(command.row.arguments, "[--") != nullptr;
    const auto asked = std::find_if(words.begin(), words.end(), asks_for_help);
    if (asked == words.end() || (words.size() > 1 && !has_options)) {
        return;
    }
    const std::string files =
        command.needs_both ? "-f STORE --flash IMAGE" : "[-f STORE | --defaults FILE | --flash IMAGE]";
    const std::string usage =
        files + " " + command.row.name + (*command.row.arguments == '\0' ? "" : " ") + command.row.arguments;
    (void)forms::read_options(
        {.name = "nvram", .usage = {usage.c_str()}, .about = command.about, .no = command.no}, {*asked});
}

int run_command(const Command &command, const Names &names, const Words &words)
{
    help_with(command, words);
    const std::string name = command.row.name;
    if (words.size() < command.least_words || words.size() > command.most_words) {
        throw forms::usage_error("say \"nvram " + name + (*command.row.arguments == '\0' ? "" : " ") +
                                 command.row.arguments + "\"");
    }
    const bool has_both = names.store_given && !names.flash.empty();
    if (command.needs_both && !has_both) {
        throw forms::usage_error("cannot " + name + ": -f STORE and --flash IMAGE are needed");
    }
    if (!command.needs_both && has_both) {
        throw forms::usage_error("cannot " + name + ": more than one file is named");
    }
    return command.run(names, words);
}

int work(const Words &arguments)
{
    Names names;
    const Words words = forms::read_options(program_of(names), arguments);
    if (words.empty()) {
        throw forms::usage_error("no command is given");
    }
    for (const Command &command : kCommands) {
        if (words[0] == command.row.name) {
            return run_command(command, names, Words(words.begin() + 1, words.end()));
        }
    }
    throw forms::usage_error("unknown command \"" + shown(words[0]) + "\"");
}

}  // namespace

int main(int argc, char **argv)
{
    return forms::run_program("nvram", argc, argv, work);
}
