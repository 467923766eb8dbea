// The program's entry; everything it does is rc_main.

#include "rc/frame.h"

int main(int word_count, char **words)
{
    return rc_main(word_count, words);
}
