// The ways to run a command through the shell. There are no others.
//
//                text            echoed   pause after    at most             result
//   run          as it is        no       no             any length          system()'s status
//   run_filled   filled          no       no             any length          system()'s status
//   SYSTEM       filled          no       1 us           1023 characters     0
//   MY_SYSTEM    filled          yes      no             1023 characters     system()'s status
//   myPipe       as it is        no       no             any length          pclose()'s, and the output
//
// Whatever is too long is silently cut. Callers ignore most results: success shows later, in files.
#pragma once

#include <cstddef>
#include <string>

// Room for a command of SYSTEM or MY_SYSTEM and its NUL byte.
constexpr size_t kCommandSize = 1024;

// Choice: where the way to run a command is open, it goes through `SYSTEM` when values are filled in,
// through `run` when its text is fixed, through `run_filled` when it may exceed 1023 characters.
int run(const char *command);

int run_filled(const char *format, ...) __attribute__((format(printf, 1, 2)));

int SYSTEM(const char *format, ...) __attribute__((format(printf, 1, 2)));

// The echo is a line of its own; the wireless services want it.
int MY_SYSTEM(const char *format, ...) __attribute__((format(printf, 1, 2)));

// Collects all standard output in `out` (text up to the first NUL byte of each piece read). 0 when the
// command could not be started; `out` is then empty.
int myPipe(const char *command, std::string &out);
