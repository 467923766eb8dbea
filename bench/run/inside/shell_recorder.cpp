// /bin/sh in the root: notes the exact text of a command that rc gives to the shell, then becomes the real
// shell. Scripts and the commands of commands are passed on without a note.
#include "bench/run/inside/inside.h"

int main(int count, char **words)
{
    if (getenv(inside::kDirectName) != nullptr && count >= 3 && strcmp(words[1], "-c") == 0) {
        // Some C libraries put "--" before the text.
        const char *text = count >= 4 && strcmp(words[2], "--") == 0 ? words[3] : words[2];
        const unsigned long number = inside::write_record(inside::kEntryShell, text);
        char digits[24];
        snprintf(digits, sizeof digits, "%lu", number);
        setenv(inside::kCommandName, digits, 1);
    }
    // What was meant for rc only must not reach its commands.
    unsetenv(inside::kDirectName);
    unsetenv("LD_PRELOAD");
    execv(inside::kShell, words);
    perror("bench_shell_recorder: cannot run the shell");
    return 127;
}
