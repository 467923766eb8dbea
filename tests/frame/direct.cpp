// The command frame's helpers and the settings store, one call at a time.
//
// A number that a call gives back is printed as a line; a text too, "(none)" where there is none. A name
// given as "-" is a null pointer.
#include "tests/direct.h"

#include <cstdlib>
#include <cstring>

#include "rc/files.h"
#include "rc/frame.h"
#include "rc/nvram.h"
#include "rc/rc.h"
#include "rc/toolbox.h"

namespace {

const char *word_or_null(const char *word)
{
    return strcmp(word, "-") == 0 ? nullptr : word;
}

int print_number(long number)
{
    (void)printf("%ld\n", number);
    return 0;
}

int print_text(const std::optional<std::string> &text)
{
    (void)puts(text ? text->c_str() : "(none)");
    return 0;
}

// ---- settings store -------------------------------------------------------------------------------------

// nvram_get KEY
int direct_nvram_get(int count, char **words)
{
    return count == 1 ? print_text(nvram_get(words[0])) : 2;
}

// nvram_get_fun KEY PATH
int direct_nvram_get_fun(int count, char **words)
{
    return count == 2 ? print_text(nvram_get_fun(words[0], words[1])) : 2;
}

// nvram_get_buffer KEY SIZE: reads into a buffer of SIZE bytes that holds "old" before.
int direct_my_nvram_get(int count, char **words)
{
    if (count != 2) {
        return 2;
    }
    char buffer[64] = "old";
    const size_t size = strtoul(words[1], nullptr, 10);
    my_nvram_get(word_or_null(words[0]), buffer, size < sizeof buffer ? size : sizeof buffer);
    (void)puts(buffer);
    return 0;
}

// nvram_set KEY VALUE
int direct_nvram_set(int count, char **words)
{
    if (count != 2) {
        return 2;
    }
    nvram_set(words[0], words[1]);
    return 0;
}

// nvram_set_long KEY COUNT: a value of COUNT letters, 1,048,576 at most.
int direct_nvram_set_long(int count, char **words)
{
    if (count != 2) {
        return 2;
    }
    constexpr unsigned long kMost = 1UL << 20;
    const unsigned long letters = strtoul(words[1], nullptr, 10);
    nvram_set(words[0], std::string(letters < kMost ? letters : kMost, 'x'));
    return 0;
}

// nvram_length KEY: the length of its value.
int direct_nvram_length(int count, char **words)
{
    return count == 1 ? print_number(static_cast<long>(nvram_text(words[0]).size())) : 2;
}

// nvram_int KEY
int direct_nvram_int(int count, char **words)
{
    return count == 1 ? print_number(nvram_int(words[0])) : 2;
}

int direct_nvram_commit(int count, char **)
{
    return count == 0 ? print_number(nvram_commit()) : 2;
}

int direct_nvram_load(int count, char **)
{
    return count == 0 ? print_number(nvram_load()) : 2;
}

// readFileBin PATH: the size.
int direct_read_file(int count, char **words)
{
    Bytes bytes;
    return count == 1 ? print_number(readFileBin(words[0], bytes)) : 2;
}

// writeFileBin PATH TEXT
int direct_write_file(int count, char **words)
{
    return count == 2 ? print_number(writeFileBin(words[0], words[1])) : 2;
}

// ---- shell helpers --------------------------------------------------------------------------------------

// SYSTEM COMMAND
int direct_system(int count, char **words)
{
    return count == 1 ? print_number(SYSTEM("%s", words[0])) : 2;
}

// MY_SYSTEM COMMAND
int direct_my_system(int count, char **words)
{
    return count == 1 ? print_number(MY_SYSTEM("%s", words[0])) : 2;
}

// myPipe COMMAND: the status, then the length of the output, then the output itself.
int direct_my_pipe(int count, char **words)
{
    if (count != 1) {
        return 2;
    }
    std::string output = "old";
    (void)print_number(myPipe(words[0], output));
    (void)print_number(static_cast<long>(output.size()));
    (void)fputs(output.c_str(), stdout);
    return 0;
}

// rc_add_running NAME
int direct_add_running(int count, char **words)
{
    return count == 1 ? print_number(rc_add_running(word_or_null(words[0]))) : 2;
}

// rc_del_running NAME
int direct_del_running(int count, char **words)
{
    return count == 1 ? print_number(rc_del_running(word_or_null(words[0]))) : 2;
}

// getIPAddress INTERFACE
int direct_address(int count, char **words)
{
    return count == 1 ? print_text(getIPAddress(words[0])) : 2;
}

int direct_check_address(int count, char **)
{
    return count == 0 ? print_number(check_wanIp()) : 2;
}

// boot_env_set NAME VALUE
int direct_boot_env(int count, char **words)
{
    return count == 2 ? print_number(set_boot_env(words[0], words[1])) : 2;
}

int direct_factory_data(int count, char **)
{
    return count == 0 ? print_number(read_factory_data()) : 2;
}

int direct_version_letter(int count, char **)
{
    return count == 0 ? print_number(version_letter()) : 2;
}

}  // namespace

const DirectOperation kFrameOperations[] = {
    {"nvram_get", direct_nvram_get},           {"nvram_get_fun", direct_nvram_get_fun},
    {"nvram_get_buffer", direct_my_nvram_get}, {"nvram_set", direct_nvram_set},
    {"nvram_set_long", direct_nvram_set_long}, {"nvram_length", direct_nvram_length},
    {"nvram_int", direct_nvram_int},           {"nvram_commit", direct_nvram_commit},
    {"nvram_load", direct_nvram_load},         {"readFileBin", direct_read_file},
    {"writeFileBin", direct_write_file},       {"SYSTEM", direct_system},
    {"MY_SYSTEM", direct_my_system},           {"myPipe", direct_my_pipe},
    {"rc_add_running", direct_add_running},    {"rc_del_running", direct_del_running},
    {"getIPAddress", direct_address},          {"check_wanIp", direct_check_address},
    {"boot_env_set", direct_boot_env},         {"factory_data", direct_factory_data},
    {"version_letter", direct_version_letter}, {nullptr, nullptr},
};
