// The stand-in for every platform tool: notes the words it is called with and plays the prepared answer.
#include <sys/wait.h>

#include "bench/run/inside/inside.h"

namespace {

// How the tool was called.
struct Call {
    const char *tool;
    int count;  // words, the tool's name included
    char **words;
};

// Whether the words after the name, with a blank between, begin with `text` and end a word where it ends.
bool begins_with(const Call &call, const char *text, size_t length)
{
    const char *at = text;
    const char *end = text + length;
    for (int i = 1; i < call.count && at < end; ++i) {
        if (i > 1 && *at++ != ' ') {
            return false;
        }
        for (const char *c = call.words[i]; *c != '\0'; ++c) {
            if (at == end) {
                return *c == ' ';
            }
            if (*at++ != *c) {
                return false;
            }
        }
    }
    return at == end;
}

// One row of the plan: kind ('R' reply, 'E' effect), tool, words, status, output or command, error output.
struct Row {
    char kind;
    const char *words;
    size_t words_length;
    int status;
    const char *output;
    size_t output_length;
    const char *errors;
    size_t errors_length;
};

bool next_row(inside::Fields &fields, const char *tool, Row &row, bool &fits)
{
    char *text[6];
    size_t length[6];
    for (size_t i = 0; i < 6; ++i) {
        if (!inside::next_field(fields, text[i], length[i])) {
            return false;
        }
    }
    row = {text[0][0], text[2], length[2], atoi(text[3]), text[4], length[4], text[5], length[5]};
    fits = strcmp(text[1], tool) == 0;
    return true;
}

// The row to play: of the rows of `kind` that fit the call those with the longest words, of these the one
// whose turn it is.
bool choose(const Call &call, char kind, Row &chosen)
{
    const inside::Fields plan = inside::read_fields(inside::kPlan);
    inside::Fields fields = plan;
    Row row = {};
    bool fits = false;
    bool found = false;
    int index = 0;
    int group = 0;
    while (next_row(fields, call.tool, row, fits)) {
        ++index;
        if (fits && row.kind == kind && begins_with(call, row.words, row.words_length) &&
            (!found || row.words_length > chosen.words_length)) {
            chosen = row;
            group = index;
            found = true;
        }
    }
    if (!found) {
        return false;
    }
    char counter[24];
    snprintf(counter, sizeof counter, "row.%d", group);
    unsigned long turn = inside::next_count(counter);
    const Row first = chosen;
    fields = plan;
    while (turn > 0 && next_row(fields, call.tool, row, fits)) {
        if (fits && row.kind == kind && row.words_length == first.words_length &&
            strcmp(row.words, first.words) == 0) {
            chosen = row;
            --turn;
        }
    }
    return true;
}

void write_all(int fd, const char *text, size_t length)
{
    while (length > 0) {
        const ssize_t written = write(fd, text, length);
        if (written <= 0) {
            return;
        }
        text += written;
        length -= static_cast<size_t>(written);
    }
}

// The command finds the tool's name in $0 and its words in $1, $2...
void run_command(const char *command, const Call &call)
{
    const pid_t child = fork();
    if (child == 0) {
        char *arguments[inside::kMostWords + 4] = {const_cast<char *>("sh"), const_cast<char *>("-c"),
                                                   const_cast<char *>(command)};
        for (int i = 0; i < call.count && static_cast<size_t>(i) < inside::kMostWords; ++i) {
            arguments[i + 3] = call.words[i];
        }
        execv(inside::kShell, arguments);
        _exit(127);
    }
    if (child > 0) {
        int status = 0;
        waitpid(child, &status, 0);
    }
}

}  // namespace

int main(int count, char **words)
{
    if (count < 1) {
        return 127;
    }
    // The words of a process stand one after the other in memory, each ended by NUL.
    const char *end = words[count - 1] + strlen(words[count - 1]) + 1;
    inside::write_record(inside::kEntryTool, words[0], static_cast<size_t>(end - words[0]));

    const char *slash = strrchr(words[0], '/');
    const char *tool = slash == nullptr ? words[0] : slash + 1;
    const Call call = {tool, count, words};
    Row row = {};
    if (choose(call, 'E', row)) {
        run_command(row.output, call);
    }
    if (!choose(call, 'R', row)) {
        return 0;
    }
    write_all(STDERR_FILENO, row.errors, row.errors_length);
    write_all(STDOUT_FILENO, row.output, row.output_length);
    return row.status;
}
