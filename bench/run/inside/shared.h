// For sandboxes without namespaces of their own: a run shares the machine's processes and its network, so
// what it may do with them is held back here, and what it leaves running is found through process 1's
// stand-in, the subreaper.
#pragma once

namespace inside {

// Makes this process the one that orphans of the run come to, in a session of its own. With a directory (as
// root alone) that becomes "/". Keeps of all privileges only those over files. False, with a message, when
// something of it cannot be done.
bool leave_workstation(const char *directory);

// From now on this process and all it starts send nothing over the network ("network is unreachable") and
// signal nobody outside the run. Result: the descriptor on which questions about signals arrive for
// answer_signal; -1 when the kernel cannot ask: then nobody is signalled at all.
int guard_calls();

// Answers one question: a signal to a process of the run is sent, one to any other finds no such process.
void answer_signal(int questions);

// Ends every process of the run that is there now; what they started meanwhile is there the next time.
void end_descendants();

}  // namespace inside
