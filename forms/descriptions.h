// What every setting means, for people and programs: bench/image/settings read as records.
//
//     ## TYPE: MEANING                          the setting that follows
//     #   value WORD: MEANING                   one word of a choice; "values: WORD WORD..." for many
//     #   empty: MEANING                        an empty value is fine and means this
//     #   needed: CONDITION                     it may be empty but when this holds
//     #   read: HOW                             how rc looks at it, when not as its type says
//     #   on: CLAIM  off: CLAIM                 what shows that a flag counts as on, as off
//     #   wrong: PHRASE  seen: CLAIM            other values: "the router will PHRASE", and what shows it
//     #   unless: CONDITION  when: CONDITION    values for which, and settings with which, that is so
//     #   advice: SENTENCE                      instead of wrong, where no trace of rc can show it
//     #   apply: rc WORDS, rc WORDS             what puts a change into effect, in this order
//     #   before: COMMAND                       what must be run before the change is saved
//     #   stays: SENTENCE                       what is left of the old value until the router restarts
//     #   related: KEY KEY...   secret: yes   set by: WHO   refuse: CHARACTERS
//     #   record: FIELD:FIELD...                the fields of a list's record with what separates them
//     #   field NAME: TYPE: MEANING             one of them; also "wrong NAME", "seen NAME", "when NAME"
//     KEY=DEFAULT
//
// CLAIM: "rc WORDS: runs "TEXT"", also never runs, prints, names itself, PATH has, PATH lacks. TEXT may hold
// {value}, {number} (as atoi reads it), {number*60}, {number%256}, {cut} (as much as the type has room for),
// {cut:N}, {FIELD} of the record and {KEY} of another setting.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "forms/settings.h"

namespace forms {

enum class Form {
    kFlag,            // 0 or 1
    kNumber,          // least to most
    kChoice,          // one of the words
    kAddress,         // dotted
    kHostAddress,     // dotted, of a kind that a host can have
    kAddressOrZero,   // dotted, or 0 for none
    kAddresses,       // one, first-last, address/bits or address/netmask
    kNetmask,         // dotted, ones before zeros
    kNetwork,         // of a tunnel: one, first...last or address...netmask; rules of its own
    kHardware,        // six pairs of hexadecimal digits joined by ":"
    kHardwareDigits,  // twelve digits, ":" between pairs or not
    kStation,         // a hardware address and any text behind it
    kInterface,       // a network interface's name
    kHost,            // a host name or an address
    kLabel,           // one label of a host name
    kPort,            // 1 to 65535
    kPorts,           // a port or first-last
    kText,            // least to most characters
    kWord,            // text without spaces
    kDigits,          // hexadecimal, least or most digits
    kHexadecimal,     // hexadecimal, least to most digits
    kDays,            // seven of 0 and 1
    kList,            // records, each ended by \x01
    kFields,          // one record, ended by nothing
    kPolicies,        // the VPN's format number and records
};

struct Type {
    Form form = Form::kText;
    long least = 0;
    long most = 0;
    std::vector<std::string> words;  // of a choice
};

struct Condition {
    enum class Test { kIs, kIsNot, kBegins, kDoesNotBegin, kReads, kDoesNotRead, kIsSet, kIsLonger };
    std::string subject;  // a key, a field, or "it"
    Test test = Test::kIs;
    std::vector<std::string> words;  // one of them is enough
};

// What a run of rc shows.
struct Claim {
    enum class Where { kCommand, kFile, kOutput, kHostName };
    std::string words;  // "firewall create"
    Where where = Where::kCommand;
    std::string path;  // of kFile
    bool is_there = true;
    std::string text;
};

// How wrong values of a setting or field are met.
struct Consequence {
    std::string phrase;  // "the router will ..."
    std::vector<Claim> seen;
    std::vector<Condition> when;
    std::vector<Condition> unless;
};

struct Field {
    std::string name;
    std::string type_text;
    Type type;
    std::string meaning;
    char separator = '\0';  // behind it; NUL: the record's end
    bool is_secret = false;
    Consequence wrong;
};

struct Choice {
    std::string word;
    std::string meaning;
};

struct Description {
    std::string key;
    std::string value;      // the default
    std::string raw_value;  // as written, with escapes
    std::string type_text;
    Type type;
    std::string meaning;
    std::vector<Choice> choices;
    std::optional<std::string> empty;  // what an empty value means; none: it may not be empty
    std::vector<Condition> needed;     // when it may not be empty all the same
    std::string read;
    std::vector<Claim> on;
    std::vector<Claim> off;
    Consequence wrong;
    std::string advice;
    std::string apply;   // as written
    std::string before;  // a command; empty: none
    std::string stays;
    std::vector<std::string> related;
    bool is_secret = false;
    std::string set_by;
    std::string refuse;  // characters that a file of rc's would break on
    std::vector<Field> fields;
    std::string path;  // where it is described
    size_t line = 0;
};

struct Area {
    std::string path;
    std::string title;  // without its full stop
    std::vector<Description> settings;
};

// Reads one file of descriptions; what is wrong with it is added to `faults`.
Area read_descriptions(const std::string &path, std::string_view text, std::vector<Fault> &faults);

// The descriptions this program was built with, in the order system lan wan firewall aux wireless vpn.
const std::vector<Area> &described_areas();
const Description *find_description(std::string_view key);
std::vector<const Description *> all_descriptions();

// A service that reads or sets a setting: what it does, its name, source, what it writes, what it runs.
struct Reader {
    std::string use;
    std::string service;
    std::string source;
    std::string writes;
    std::string runs;
};
std::vector<Reader> readers_of(std::string_view key);

// The number rc reads in a text: spaces, a sign and digits at its front, else 0.
long read_number(std::string_view text);

using Lookup = std::function<std::string(std::string_view name)>;

// Whether all conditions hold; `lookup` gives "it", fields and settings their values.
bool all_hold(const std::vector<Condition> &conditions, const Lookup &lookup);

// A template with its names filled in. `width`: what {cut} leaves.
std::string fill_template(std::string_view text, const Lookup &lookup, size_t width);

// What a consequence says of any value: "{number}" is N.
std::string phrase_of_any(std::string phrase);

// The commands that apply a change, in order. "reboot" is one; none where nothing has to be run.
std::vector<std::string> apply_commands(const Description &setting);

// All of them in the order in which several changes are applied at once. Throws std::logic_error when no
// order fits all descriptions.
std::vector<std::string> all_apply_commands();

// "rc firewall restart" and the like are "firewall restart".
std::string_view words_of(std::string_view command);

}  // namespace forms
