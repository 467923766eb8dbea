// The floor of a program that runs commands: starts a command of nothing COUNT times, and nothing else.
//
//     commands_floor COUNT

#include <stdlib.h>

int main(int count, char **words)
{
    for (int left = count > 1 ? atoi(words[1]) : 0; left > 0; --left) {
        if (system(":") != 0) {
            return 1;
        }
    }
    return 0;
}
