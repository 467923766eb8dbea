// The fixed part of the rule set: data in the order in which it is written.
#pragma once

struct FwChain {
    const char *table;
    const char *name;
};

// Every chain of our own, ended by a row without a table.
extern const FwChain kChains[];

// Lists of fw_rule formats, each ended by null.
extern const char *const kBaseRules[];        // no conversions
extern const char *const kLanRules[];         // filled with the LAN interface
extern const char *const kFloodRules[];       // filled with the WAN interface
extern const char *const kLanRequestRules[];  // filled with the LAN interface
