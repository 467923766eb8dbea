// The clock of a run where it is the bench's: pauses, and nothing else, move it. A command begins at the time
// of the run that gives it, and that run goes on when the command has ended, if it waits for it.
#pragma once

namespace preload {

// A pause of so many microseconds.
void time_passes(long long microseconds);

// The run gives this command to the shell, and the shell is back.
void command_begins(const char *command);
void command_ended();

}  // namespace preload
