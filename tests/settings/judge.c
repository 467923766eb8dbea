/* Judges settings with share/settings_check.c: reads KEY NUL VALUE NUL pairs, prints a line for each: the
 * reason, or nothing. */
#include <stdio.h>
#include <string.h>

#include "share/settings_check.h"

/* Reads up to a NUL; 0 at the end of the input. */
static int read_text(char *text, size_t size)
{
    size_t length = 0;
    int c = getchar();
    if (c == EOF) {
        return 0;
    }
    for (; c != EOF && c != '\0'; c = getchar()) {
        if (length < size - 1) {
            text[length++] = (char)c;
        }
    }
    text[length] = '\0';
    return 1;
}

int main(void)
{
    static char key[256];
    static char value[65536];
    while (read_text(key, sizeof key) && read_text(value, sizeof value)) {
        const char *why = settings_refuse(key, value);
        puts(why == NULL ? "" : why);
    }
    return fflush(stdout) == 0 ? 0 : 1;
}
