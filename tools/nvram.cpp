// nvram: reads, edits, checks and converts settings stores, defaults files and flash images.
//
// For the workstation. It uses the router's own code for the store, and never starts another program.
// Exit status: 0 done; 1 no such key, or damaged input; 2 wrong usage, or a file that cannot be read or
// written. An edit is made in memory and written at the end: on a failure before it, nothing is changed.
#include <fcntl.h>
#include <getopt.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "forms/escapes.h"
#include "forms/settings.h"
#include "forms/store.h"
#include "rc/nvram.h"

namespace {

using forms::check_flash;
using forms::check_store;
using forms::Damage;
using forms::escape;
using forms::flash_store;

constexpr int kDone = 0;
constexpr int kNotSound = 1;
constexpr int kFailed = 2;

// What the options name. At most one of the first two is given, but for commit and load.
struct Names {
    std::string store = kStorePath;  // a store or a defaults file
    std::string flash;               // a flash image; empty: none
    bool store_given = false;
};

// A file of settings in memory.
struct SettingsFile {
    std::string path;
    bool is_flash = false;
    bool exists = false;
    std::string bytes;  // the whole file
    std::string store;  // the store in it
};

// One clear line on standard error; gives `status` back.
int fail(int status, const char *format, ...) __attribute__((format(printf, 2, 3)));

int fail(int status, const char *format, ...)
{
    va_list values;
    va_start(values, format);
    fputs("nvram: ", stderr);
    vfprintf(stderr, format, values);
    fputc('\n', stderr);
    va_end(values);
    return status;
}

// Why a file cannot be read; empty: it can.
std::string why_unreadable(const std::string &path)
{
    const int fd = open(path.c_str(), O_RDONLY | O_NONBLOCK);
    if (fd < 0) {
        return strerror(errno);
    }
    struct stat status = {};
    const bool is_directory = fstat(fd, &status) == 0 && S_ISDIR(status.st_mode);
    (void)close(fd);
    return is_directory ? strerror(EISDIR) : "";
}

bool is_missing(const std::string &path)
{
    struct stat status = {};
    return stat(path.c_str(), &status) != 0 && errno == ENOENT;
}

int read_settings(SettingsFile &file)
{
    const std::string why = why_unreadable(file.path);
    if (!why.empty()) {
        return fail(kFailed, "cannot read %s: %s", file.path.c_str(), why.c_str());
    }
    Bytes bytes;
    if (readFileBin(file.path.c_str(), bytes) < 0) {
        return fail(kFailed, "cannot read %s: it is no plain file or device", file.path.c_str());
    }
    file.exists = true;
    file.bytes = bytes.view();
    file.store = file.is_flash ? flash_store(file.bytes) : std::string_view(file.bytes);
    return kDone;
}

std::vector<Damage> check_settings(const SettingsFile &file)
{
    return file.is_flash ? check_flash(file.bytes) : check_store(file.bytes);
}

// Complains about the first damage by which entries are lost.
int require_sound(const SettingsFile &file, const char *purpose)
{
    for (const Damage &damage : check_settings(file)) {
        if (damage.is_lost) {
            return fail(kNotSound, "cannot %s %s: damaged at byte %zu: %s", purpose, file.path.c_str(),
                        damage.offset, damage.reason.c_str());
        }
    }
    return kDone;
}

// Whether the file holds exactly `bytes` now.
bool holds(const std::string &path, std::string_view bytes)
{
    Bytes written;
    return readFileBin(path.c_str(), written) >= 0 && written.view() == bytes;
}

int write_file(const std::string &path, std::string_view bytes)
{
    if (writeFileBin(path.c_str(), bytes) < 0) {
        return fail(kFailed, "cannot write %s: %s", path.c_str(), strerror(errno));
    }
    if (!holds(path, bytes)) {
        return fail(kFailed, "cannot write the whole of %s: is the disk full?", path.c_str());
    }
    return kDone;
}

// Puts header and store into the image; its other bytes stay.
void put_flash_store(std::string &image, std::string_view store)
{
    unsigned char header[kFlashHeaderSize];
    write_flash_header({kFlashMagic, static_cast<uint32_t>(store.size()), crc32(store)}, header);
    if (image.size() < kFlashDataOffset + store.size()) {
        image.resize(kFlashDataOffset + store.size(), '\0');
    }
    memcpy(image.data(), header, sizeof header);
    image.replace(kFlashDataOffset, store.size(), store);
}

int write_settings(SettingsFile &file)
{
    if (file.is_flash) {
        put_flash_store(file.bytes, file.store);
        return write_file(file.path, file.bytes);
    }
    return write_file(file.path, file.store);
}

SettingsFile named_file(const Names &names)
{
    SettingsFile file;
    file.is_flash = !names.flash.empty();
    file.path = file.is_flash ? names.flash : names.store;
    return file;
}

// Reads the named file for an edit. A missing or empty file is a store without entries.
int read_for_edit(SettingsFile &file)
{
    if (is_missing(file.path)) {
        return kDone;
    }
    const int status = read_settings(file);
    if (status != kDone || file.bytes.empty()) {
        return status;
    }
    return require_sound(file, "change");
}

// The store without the entries of `key`; false when there was none.
bool remove_key(std::string &store, const std::string &key)
{
    std::string kept;
    bool found = false;
    for (size_t at = 0; at < store.size() && store[at] != '\0';) {
        const size_t end = store.find('\0', at);
        const std::string_view entry = std::string_view(store).substr(at, end - at);
        if (entry.substr(0, entry.find('=')) == key) {
            found = true;
        } else {
            kept.append(entry) += '\0';
        }
        at = end + 1;
    }
    store = kept + '\0';
    return found;
}

size_t count_entries(const std::string &store)
{
    size_t count = 0;
    for (size_t at = 0; at < store.size() && store[at] != '\0'; ++count) {
        const size_t end = store.find('\0', at);
        at = end == std::string::npos ? store.size() : end + 1;
    }
    return count;
}

using Words = std::vector<std::string>;

// ---- commands --------------------------------------------------------------------------------------------

int command_get(const Names &names, const Words &words)
{
    SettingsFile file = named_file(names);
    if (const int status = read_settings(file); status != kDone) {
        return status;
    }
    if (const int status = file.is_flash ? require_sound(file, "read") : kDone; status != kDone) {
        return status;
    }
    const auto value = store_find(file.store, words[0]);
    if (!value) {
        return fail(kNotSound, "cannot get %s from %s: no such key", words[0].c_str(), file.path.c_str());
    }
    (void)fwrite(value->data(), 1, value->size(), stdout);
    (void)putchar('\n');
    return kDone;
}

int command_set(const Names &names, const Words &words)
{
    for (const std::string &word : words) {
        const size_t equals = word.find('=');
        if (equals == std::string::npos || equals == 0) {
            return fail(kFailed, "cannot set \"%s\": it is not KEY=VALUE", word.c_str());
        }
    }
    SettingsFile file = named_file(names);
    if (const int status = read_for_edit(file); status != kDone) {
        return status;
    }
    for (const std::string &word : words) {
        const size_t equals = word.find('=');
        file.store = store_replace(file.store, word.substr(0, equals), word.substr(equals + 1));
    }
    return write_settings(file);
}

int command_unset(const Names &names, const Words &words)
{
    SettingsFile file = named_file(names);
    if (const int status = read_settings(file); status != kDone) {
        return status;
    }
    if (const int status = require_sound(file, "change"); status != kDone) {
        return status;
    }
    for (const std::string &key : words) {
        if (!remove_key(file.store, key)) {
            return fail(kNotSound, "cannot unset %s in %s: no such key", key.c_str(), file.path.c_str());
        }
    }
    return write_settings(file);
}

void print_header(const SettingsFile &file)
{
    unsigned char bytes[kFlashHeaderSize] = {};
    memcpy(bytes, file.bytes.data(), sizeof bytes);
    const FlashHeader header = read_flash_header(bytes);
    printf("# magic     0x%08x\n", static_cast<unsigned>(header.magic));
    printf("# length    %lu\n", static_cast<unsigned long>(header.length));
    printf("# checksum  0x%08x\n", static_cast<unsigned>(header.checksum));
}

// What it prints can be imported again: everything but the entries stands behind a "#".
int command_show(const Names &names, const Words &)
{
    SettingsFile file = named_file(names);
    if (const int status = read_settings(file); status != kDone) {
        return status;
    }
    printf("# %s %s\n", file.is_flash ? "flash image" : "store", escape(file.path).c_str());
    if (file.is_flash && file.bytes.size() >= kFlashHeaderSize) {
        print_header(file);
    }
    if (const int status = require_sound(file, "show"); status != kDone) {
        return status;
    }
    printf("# entries   %zu\n", count_entries(file.store));
    (void)fputs(forms::settings_text(forms::store_settings(file.store)).c_str(), stdout);
    return kDone;
}

int command_export(const Names &names, const Words &)
{
    SettingsFile file = named_file(names);
    if (const int status = read_settings(file); status != kDone) {
        return status;
    }
    if (const int status = require_sound(file, "export"); status != kDone) {
        return status;
    }
    (void)fputs(forms::settings_text(forms::store_settings(file.store)).c_str(), stdout);
    return kDone;
}

// Reads a whole text; "-" is standard input.
int read_text(const std::string &path, std::string &text)
{
    const bool from_input = path == "-";
    if (const std::string why = from_input ? "" : why_unreadable(path); !why.empty()) {
        return fail(kFailed, "cannot read %s: %s", path.c_str(), why.c_str());
    }
    FILE *file = from_input ? stdin : fopen(path.c_str(), "r");
    if (file == nullptr) {
        return fail(kFailed, "cannot read %s: %s", path.c_str(), strerror(errno));
    }
    char piece[4096];
    for (size_t got = 1; got > 0;) {
        got = fread(piece, 1, sizeof piece, file);
        text.append(piece, got);
    }
    const bool failed = ferror(file) != 0;
    if (!from_input) {
        (void)fclose(file);
    }
    return failed ? fail(kFailed, "cannot read %s: %s", path.c_str(), strerror(EIO)) : kDone;
}

// The entries of the text become the whole store. Of a flash image only header and store are replaced, so
// that a blank or damaged one can be filled.
int command_import(const Names &names, const Words &words)
{
    std::string text;
    if (const int status = read_text(words[0], text); status != kDone) {
        return status;
    }
    SettingsFile file = named_file(names);
    if (!is_missing(file.path)) {
        if (const int status = read_settings(file); status != kDone) {
            return status;
        }
    }
    forms::Fault fault;
    std::vector<forms::Setting> settings;
    if (!forms::read_settings(text, settings, fault)) {
        return fail(kNotSound, "cannot read %s", fault.in(words[0]).c_str());
    }
    file.store = forms::store_bytes(settings);
    return write_settings(file);
}

int command_check(const Names &names, const Words &)
{
    SettingsFile file = named_file(names);
    if (const int status = read_settings(file); status != kDone) {
        return status;
    }
    const std::vector<Damage> found = check_settings(file);
    for (const Damage &damage : found) {
        printf("%s: byte %zu: %s\n", file.path.c_str(), damage.offset, damage.reason.c_str());
    }
    if (!found.empty()) {
        return kNotSound;
    }
    printf("%s: sound, %zu entries, %zu bytes\n", file.path.c_str(), count_entries(file.store),
           file.store.size());
    return kDone;
}

// Store to image, as the router commits.
int command_commit(const Names &names, const Words &)
{
    SettingsFile store;
    store.path = names.store;
    if (const int status = read_settings(store); status != kDone) {
        return status;
    }
    if (const int status = require_sound(store, "commit"); status != kDone) {
        return status;
    }
    SettingsFile image;
    image.path = names.flash;
    image.is_flash = true;
    if (!is_missing(image.path)) {
        if (const int status = read_settings(image); status != kDone) {
            return status;
        }
    }
    image.store = store.store;
    return write_settings(image);
}

// Image to store, as the router loads it at boot.
int command_load(const Names &names, const Words &)
{
    SettingsFile image;
    image.path = names.flash;
    image.is_flash = true;
    if (const int status = read_settings(image); status != kDone) {
        return status;
    }
    if (const int status = require_sound(image, "load"); status != kDone) {
        return status;
    }
    return write_file(names.store, image.store);
}

// ---- command line -----------------------------------------------------------------------------------

constexpr size_t kAnyNumber = SIZE_MAX;

struct Command {
    const char *name;
    size_t least_words;
    size_t most_words;
    bool needs_both;  // a store and a flash image, both named
    int (*run)(const Names &, const Words &);
};

constexpr Command kCommands[] = {
    {"get", 1, 1, false, command_get},
    {"set", 1, kAnyNumber, false, command_set},
    {"unset", 1, kAnyNumber, false, command_unset},
    {"show", 0, 0, false, command_show},
    {"import", 1, 1, false, command_import},
    {"export", 0, 0, false, command_export},
    {"check", 0, 0, false, command_check},
    {"commit", 0, 0, true, command_commit},
    {"load", 0, 0, true, command_load},
};

constexpr char kHelp[] =
    "Usage: nvram [-f STORE | --defaults FILE | --flash IMAGE] COMMAND\n"
    "Reads, edits, checks and converts the router's settings files.\n"
    "\n"
    "  -f, --file STORE     a settings store (default: /tmp/nvram)\n"
    "      --defaults FILE  a defaults file; it has the form of a store\n"
    "      --flash IMAGE    a flash image: a header and a store\n"
    "      --help           this text\n"
    "\n"
    "  get KEY              print the value\n"
    "  set KEY=VALUE...     change or add entries\n"
    "  unset KEY...         remove entries\n"
    "  show                 print header and entries\n"
    "  export               print the entries as text, key=value, with \\n \\t \\\\ \\xHH\n"
    "  import TEXTFILE      make the entries of a text the whole store (-: standard input)\n"
    "  check                report damage with its place\n"
    "  commit               -f STORE --flash IMAGE: write the store into the image\n"
    "  load                 -f STORE --flash IMAGE: write the image's store to the store\n"
    "\n"
    "Exit status: 0 done, 1 no such key or damaged, 2 wrong usage or a file that cannot be used.\n";

int run_command(const Command &command, const Names &names, const Words &words)
{
    if (words.size() < command.least_words || words.size() > command.most_words) {
        return fail(kFailed, "cannot %s: wrong number of words; see nvram --help", command.name);
    }
    const bool has_both = names.store_given && !names.flash.empty();
    if (command.needs_both && !has_both) {
        return fail(kFailed, "cannot %s: -f STORE and --flash IMAGE are needed", command.name);
    }
    if (!command.needs_both && has_both) {
        return fail(kFailed, "cannot %s: more than one file is named", command.name);
    }
    const int status = command.run(names, words);
    if (fflush(stdout) != 0) {
        return fail(kFailed, "cannot write to standard output: %s", strerror(errno));
    }
    return status;
}

enum Option : int { kFile = 'f', kDefaults = 256, kFlash, kHelpOption };

constexpr option kOptions[] = {
    {"file", required_argument, nullptr, kFile},
    {"defaults", required_argument, nullptr, kDefaults},
    {"flash", required_argument, nullptr, kFlash},
    {"help", no_argument, nullptr, kHelpOption},
    {nullptr, 0, nullptr, 0},
};

// Takes one option; false when it is wrong.
bool take_option(int choice, Names &names)
{
    const bool is_store = choice == kFile || choice == kDefaults;
    if ((is_store && !names.store_given) || (choice == kFlash && names.flash.empty())) {
        (is_store ? names.store : names.flash) = optarg;
        names.store_given = names.store_given || is_store;
        return *optarg != '\0';
    }
    return false;
}

}  // namespace

int main(int argc, char **argv)
{
    Names names;
    // "+": options end at the command, so that a key or value may begin with "-".
    for (int choice; (choice = getopt_long(argc, argv, "+:f:", kOptions, nullptr)) != -1;) {
        if (choice == kHelpOption) {
            return fputs(kHelp, stdout) < 0 || fflush(stdout) != 0 ? kFailed : kDone;
        }
        if (!take_option(choice, names)) {
            return fail(kFailed, "cannot use option %s; see nvram --help", argv[optind - 1]);
        }
    }
    if (optind >= argc) {
        return fail(kFailed, "no command is given; see nvram --help");
    }
    for (const Command &command : kCommands) {
        if (strcmp(command.name, argv[optind]) == 0) {
            return run_command(command, names, Words(argv + optind + 1, argv + argc));
        }
    }
    return fail(kFailed, "cannot do \"%s\": no such command; see nvram --help", argv[optind]);
}
