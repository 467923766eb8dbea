// The router on the desk: builds a root directory with everything rc touches, runs rc in it, and returns
// what happened.
//
//     bench::Target target = bench::host_target("build/host/bin/rc");  // or bench::emulated_target(...)
//     bench::Setup setup;
//     setup.settings = {{"lan_if", "br0"}, {"lan_ipaddr", "192.168.1.1"}};
//     setup.replies.push_back({"adslctl", "info", "Status: Showtime\n"});
//     bench::Root root(target, setup);
//     bench::Trace trace = root.rc("lan start");           // again and again in the same root
//     for (const std::string &command : trace.commands()) puts(command.c_str());
//     std::optional<std::string> tz = root.read("/etc/TZ");
//
// A run is isolated, the root directory as "/" (see Sandbox), and always ends: by itself together with every
// command it left in the background, or by its limit. rc is process 2 in every run.
// Whatever the bench itself cannot do is thrown as bench::Error; what rc does is in the trace.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "forms/escapes.h"
#include "forms/events.h"
#include "forms/replies.h"
#include "forms/settings.h"

namespace bench {

// The bench could not do its own work (a missing helper, a sandbox that does not start, a bad path).
struct Error : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// ---- how runs are kept apart ------------------------------------------------------------------------------

// The ways to keep a run apart from the workstation, the strongest first.
enum class Sandbox {
    kNamespaces,  // namespaces of its own, as root or through a user namespace
    kChroot,  // as root where those are refused: "/" by chroot, interfaces played by the preloaded library
    kProot,   // as an ordinary user where those are refused: "/" by proot, the rest as with chroot
};

// The strongest that works here, or the one that the environment variable BENCH_SANDBOX names; found once.
// Throws Error, saying what is missing, when none works.
Sandbox sandbox();
// "namespaces", "chroot" or "proot".
const char *sandbox_name(Sandbox sandbox);

// ---- what is run ----------------------------------------------------------------------------------------

// The program under test and the parts of the bench that depend on its processor. No rebuild of the bench
// is needed to run another program.
struct Target {
    std::filesystem::path program;   // the rc binary
    std::filesystem::path preload;   // bench_preload shared object of the program's processor
    std::filesystem::path emulator;  // user-mode emulator (static); empty: the program runs natively
    std::filesystem::path library;   // directory of the emulated program's C library and loader
    std::filesystem::path helpers;   // directory of bench_init and the recorders
    std::filesystem::path image;     // the bench/image directory
};

// A file of the bench itself, named from the directory above that of the running program: "lib/rcbench/rc" is
// /usr/lib/rcbench/rc for /usr/bin/rcbench. The build directory has the same names.
std::filesystem::path own_file(const char *name);

// A target for this workstation's processor: helpers, preload and image as built or installed, or from the
// environment variables BENCH_HELPERS, BENCH_PRELOAD and BENCH_IMAGE.
Target host_target(const std::filesystem::path &program);

// The same for a program of another processor: the preloaded library of its own build
// (../lib/libbench_preload.so beside it), the emulator for its processor and the directory with its C
// library, as Debian's packages install them, or from BENCH_EMULATOR and BENCH_LIBRARY. Throws Error when it
// is no program, or when emulator or C library are missing.
Target emulated_target(const std::filesystem::path &program);

// Makes ahead what all roots with this target share, in this process and in those forked from it: each makes
// it for itself otherwise. `program`: another one that runs will have, too.
void prepare(const Target &target, const std::filesystem::path &program = {});

// ---- what the router is like before the run -------------------------------------------------------------

using forms::Setting;

struct NamedFile {
    std::string path;  // absolute path in the root; missing directories are made
    std::string bytes;
};

struct Interface {
    std::string name;
    std::string address;        // dotted; empty: an interface without an address
    int bits = 24;              // network part of the address
    std::string hardware = {};  // "00:11:22:33:44:55"; empty: 02:00:00:00:00:01 and up, in order
};

// Whether a run can have an interface of this name: one that Linux takes as it is, and that is not always
// there.
bool can_name_interface(const std::string &name);

// Whether Linux gives an interface this address: dotted, and neither 0.0.0.0 nor a group's.
bool can_be_interface_address(const std::string &text);

using forms::Effect;
using forms::Reply;

struct Setup {
    // The working copy /tmp/nvram, in this order; none: the file does not exist.
    std::optional<std::vector<Setting>> settings = std::vector<Setting>{};
    // /etc/default: the image's default settings (when asked for) with these entries put in: in place when
    // the key is there, else at the end.
    bool image_defaults = false;
    std::vector<Setting> defaults;

    // Put in after all that, in this order.
    std::vector<NamedFile> files;
    std::vector<std::string> removed;      // the image's file or directory is not there
    std::vector<std::string> directories;  // made, also in a file's place
    std::vector<Interface> interfaces;
    std::vector<Reply> replies;
    std::vector<Effect> effects;
    // Also the image's usual answers (bench/image/replies), but for tools and words that `replies` and
    // `effects` have.
    bool image_replies = false;
};

// ---- one run --------------------------------------------------------------------------------------------

struct Run {
    std::vector<std::string> words;  // all words, the program name included
    std::filesystem::path program;   // another program of the target's processor than rc; empty: rc
    std::string command;  // in place of rc: a shell command, recorded as one of rc's; not with `wrapper`
    bool nested = false;  // runs of rc started by rc really run; else they are only recorded
    // Seconds since 1970 UTC that rc sees when it begins; its pauses, and nothing else, move them on. Runs
    // that a command starts begin when it does; what is in the background moves no clock but its own. None:
    // real time.
    std::optional<int64_t> clock;
    // n -> shell command run in the root at the n-th pause of the outer run (sleep, and usleep of 10 or
    // more; the first is 1). A pause of a millisecond or more first lets the commands in the background end.
    std::map<int, std::string> pauses;
    std::vector<std::string> environment;  // "NAME=value" for the program, beside the bench's own
    // A library of the program's processor, preloaded before the bench's; empty: none.
    std::filesystem::path guest;
    // Words put before the program: a checker of the workstation by its path and its options, such as
    // /usr/bin/valgrind.bin --tool=callgrind --callgrind-out-file=/tmp/calls. Implies `system_view`. A
    // checker that is a script loses the preloaded library.
    std::vector<std::string> wrapper;
    // The real /proc/self (and /proc/2, the outer run), and the workstation's files at /.bench/workstation.
    // With ASAN_OPTIONS=detect_leaks=1:verify_asan_link_order=0 in `environment` leaks are reported.
    bool system_view = false;
    bool calls_fail = false;  // sethostname, setdomainname, klogctl, kill fail (still recorded)
    // Seconds of processor time, and seconds in which nothing of the run uses any; past either everything of
    // the run is killed.
    double limit = 20;
    int most_pauses = 5000;  // a run of rc that pauses more often is killed, as one past the limit
    int most_output = 32;    // MiB; who writes more into one file, standard output included, is killed
};

// ---- what happened --------------------------------------------------------------------------------------

using forms::Event;
using forms::Kind;

struct FileChange {
    enum class What {
        kCreated,
        kChanged,
        kRewritten,  // written with the content it had
        kRemoved,
    };
    std::string path;
    What what = What::kChanged;
    std::string before;  // content; of a symbolic link, its text
    std::string after;
    char type = 'f';  // what it is now, or was: f file, d directory, l link, o anything else
};

struct SettingChange {
    std::string key;
    std::optional<std::string> before;  // none: not there
    std::optional<std::string> after;
};

struct Trace {
    // In order. Tool calls stand after the command of rc that led to them. A line of output stands where
    // its line end was written. The events of a run started by rc stand together after the command that
    // started it, also when that command ran in the background.
    std::vector<Event> events;
    int status = 0;                       // exit status; 128 + signal when a signal ended the program
    int signal = 0;                       // 0: it ended by itself
    bool timed_out = false;               // a limit was reached; events up to then
    std::string limit;                    // which one: "time", "pauses" or "output"; empty: none
    std::string output;                   // the outer run's whole standard output
    std::string errors;                   // standard error of rc and its commands
    std::vector<FileChange> files;        // by path; without the bench's own and links to tools
    std::vector<SettingChange> settings;  // of /tmp/nvram, in store order, removed ones last
    double seconds = 0;                   // how long it took
    // With Run::clock: microseconds since 1970 when the last of it all had ended.
    int64_t clock_end = 0;

    // The commands given to the shell, in order, those of nested runs too.
    std::vector<std::string> commands() const;
    // The lines of standard output, in order, of nested runs too.
    std::vector<std::string> lines() const;
    // The change of a file of the root, or null.
    const FileChange *file(std::string_view path) const;
};

// ---- the root -------------------------------------------------------------------------------------------

class Root {
  public:
    // Builds the root in a directory of its own, in memory (/dev/shm) where there is room, else under $TMPDIR
    // or /tmp; removed at the end, or, when the process is killed, by the next one.
    Root(const Target &target, const Setup &setup);
    // Builds it in `directory`, which must not exist or be empty, and leaves it there.
    Root(const Target &target, const Setup &setup, const std::filesystem::path &directory);
    ~Root();
    Root(const Root &) = delete;
    Root &operator=(const Root &) = delete;

    Trace run(const Run &run);
    // rc with these words, one space between them: rc("wan start"). `like` says everything else.
    Trace rc(std::string_view words, Run like = {});
    // The same without a trace, which is quicker: only what the run leaves in the root counts.
    void run_unwatched(const Run &run);

    // A shell command in the root, with its tools and interfaces, for looking and arranging; its standard
    // output. Nothing of it is in a trace.
    std::string shell(const std::string &command);

    // A whole file of the root, none when it is no readable file. Links are followed inside the root.
    std::optional<std::string> read(std::string_view path) const;
    bool exists(std::string_view path) const;
    void write(std::string_view path, std::string_view bytes);
    void remove(std::string_view path);
    void make_directory(std::string_view path);
    // A symbolic link, in place of what is there. One to /dev/full is a file on a full disk.
    void make_link(std::string_view path, const std::string &text);

    // The entries of the working copy, or of another store file; none when there is no such file.
    std::optional<std::vector<Setting>> settings(std::string_view path = "/tmp/nvram") const;
    std::optional<std::string> setting(std::string_view key) const;
    // What the interface is like from the next run on; one of that name need not be there yet.
    void set_interface(const Interface &interface);
    // Changes entries of the working copy, each in its place or at the end, as a user's page does.
    void set(const std::vector<Setting> &changes);

    // Leaves the directory behind at the end.
    void keep();
    const std::filesystem::path &directory() const { return directory_; }
    // Where `path` of the root is for the workstation, links (but for a last one) followed inside the root.
    std::filesystem::path host_path(std::string_view path) const;

  private:
    void build(const Setup &setup);
    void build_all(const Setup &setup);
    void build_tree();
    void build_tools();
    void build_state(const Setup &setup);

    Target target_;
    std::vector<Interface> interfaces_;
    std::filesystem::path directory_;
    bool keep_ = false;
    int lock_ = -1;  // held while the root is in use
    std::shared_ptr<void> shared_;
};

// True when a stand-in was called so that it could give the reply, or have the effect, for `tool` and
// `words`.
bool was_called(const std::vector<Trace> &traces, const std::string &tool, const std::string &words);

// Puts an entry in the place of that with its key, or at the end.
void set_entry(std::vector<Setting> &settings, const Setting &entry);

// ---- text forms -----------------------------------------------------------------------------------------

using forms::escape;
using forms::event_line;
using forms::store_bytes;
using forms::store_settings;

// The reverse of escape(), for what a shell passes: raw control bytes stay. Throws Error for an unknown
// escape.
std::string unescape(std::string_view text);

// The settings, or the replies and effects, of a text file; they throw Error with file and line.
std::vector<Setting> read_settings_text(const std::filesystem::path &file);
void read_replies_text(const std::filesystem::path &file, std::vector<Reply> &replies,
                       std::vector<Effect> &effects);

// All of the image's *.settings in the order system lan wan firewall aux wireless vpn.
std::vector<Setting> image_settings(const std::filesystem::path &image);

// The lines of a trace in order; without tool calls unless asked for.
std::vector<std::string> trace_lines(const Trace &trace, bool tools = false);

}  // namespace bench
