// Operations of rc that no command reaches, run by name in the bench so that scenarios can watch them.
#pragma once

// One operation: its name and a function that takes the words after it (argc counts only those), prints
// what the operation gives back on standard output and returns the exit status.
struct DirectOperation {
    const char *name;
    int (*run)(int argc, char **argv);
};

// Each table ends with a row whose name is null.
extern const DirectOperation kFrameOperations[];
extern const DirectOperation kProcessOperations[];
extern const DirectOperation kLanOperations[];
extern const DirectOperation kWanOperations[];
extern const DirectOperation kFirewallOperations[];
extern const DirectOperation kAuxOperations[];
extern const DirectOperation kWirelessOperations[];
extern const DirectOperation kVpnOperations[];
