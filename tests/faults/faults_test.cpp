// Every service under faults: a full disk, missing directories, directories in the place of files, settings
// that no user would enter. rc ends by itself each time. Which files a service writes is seen in a run
// without faults, so a file that is written tomorrow is tried too.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "bench/difference.h"
#include "bench/router.h"
#include "tests/faults/verbs.h"

namespace {

using Lines = std::vector<std::string>;

// Files that the run, or a command of it, reads again; a disk that is full gives them no content, which
// shows in what follows.
bool is_read_back(const std::string &path)
{
    static const std::set<std::string> paths = {"/tmp/nvram",      "/etc/TZ",
                                                "/dev/mtdblock/3", "/tmp/adslver",
                                                "/tmp/vcc",        "/tmp/var/tmp/vpn.conf",
                                                "/tmp/wan_ipaddr", "/tmp/wan_uptime",
                                                "/proc/net/route", "/tmp/var/udhcpd.leases",
                                                "/etc/ppp/ip-up"};
    return paths.contains(path) || path.starts_with("/tmp/manual_");
}

// Files that services read and that nothing of them writes, and markers and records that are gone again at
// the end of a run.
Lines read_files(const Verb &verb)
{
    return {"/etc/version",
            "/etc/resolv.conf",
            "/proc/bus/pci/00",
            "/proc/mac",
            "/proc/net/dev",
            "/proc/net/route",
            "/proc/ticfg/env",
            "/proc/nvram/BaseMacAddr",
            "/proc/uptime",
            "/dev/mtdblock/2",
            "/dev/mtdblock/3",
            "/tmp/ddns_update.log",
            "/tmp/ddns.cache",
            "/tmp/ipoa_server",
            "/tmp/vcc",
            "/tmp/adslver",
            "/tmp/wan_ipaddr",
            "/tmp/wan_uptime",
            "/var/run/my_pid",
            "/var/tmp/vpn.conf",
            "/usr/etc/crontab",
            "/var/udhcpd.leases",
            "/var/run/pluto/pluto.pid",
            "/tmp/mac",
            "/tmp/sroute",
            "/var/run/rc." + verb.service + ".run"};
}

// ---- settings -------------------------------------------------------------------------------------------

std::string repeated(const std::string &text, size_t size)
{
    std::string all;
    while (all.size() < size) {
        all += text;
    }
    return all;
}

// Quotes and formats, spaces and control bytes, and both as a very long text.
const Lines kHostile = {
    "\"'`'\"\\$(){};&|<>*?#!~%n%s%n%s%x%999999d%*s%%%",
    " \t \r\n \n\n x\t y\n\x01\x02\x03\x04\x07\x08\x0b\x0c\x0e\x1b\x1f\x7f\x80\xfe\xff\x01\x02\x02\x01",
    repeated("abcdefgh.:;,-01", 5000),
    repeated("1 \x02\":;\x01%s\n192.168.0.1-", 5000),
};

// Every setting with `text` in it. What is a flag stays on or off by its first character, so that services
// still run.
std::vector<bench::Setting> hostile_settings(std::vector<bench::Setting> settings, const std::string &text)
{
    for (bench::Setting &setting : settings) {
        const bool flag = setting.value == "0" || setting.value == "1";
        if (setting.key != "wan_mode") {
            setting.value = flag ? setting.value + text : text;
        }
    }
    return settings;
}

// Every value as it should be, with `text` at its end: records are read up to there.
std::vector<bench::Setting> spoilt_settings(std::vector<bench::Setting> settings, const std::string &text)
{
    for (bench::Setting &setting : settings) {
        setting.value += setting.key == "wan_mode" ? "" : text;
    }
    return settings;
}

// ---- runs -----------------------------------------------------------------------------------------------

bench::Target rc_beside_this_program()
{
    return bench::host_target(std::filesystem::read_symlink("/proc/self/exe").parent_path() / "rc");
}

bench::Trace run_words(bench::Root &root, const Lines &words)
{
    bench::Run run;
    run.words = words;
    run.clock = 1772782140;
    run.limit = 20;
    // A session that does not come up is tried again without end: it comes up in the end.
    for (int pause = 30; pause <= 300; pause += 30) {
        run.pauses[pause] = "[ -e /tmp/wan_uptime ] || /bin/touch /tmp/wan_uptime";
    }
    return root.run(run);
}

// Keeps what every run of a verb has in common.
class Ground {
  public:
    explicit Ground(const Verb &verb) : verb_(verb), target_(rc_beside_this_program())
    {
        rich_ = rich_settings(target_, verb);
        setup_ = rich_setup();
    }

    const std::vector<bench::Setting> &rich() const { return rich_; }

    // One run in a root of its own, in which `spoil` arranged something.
    template <typename Spoil>
    bench::Trace run(const std::vector<bench::Setting> &settings, Spoil spoil) const
    {
        bench::Setup setup = setup_;
        setup.settings = settings;
        bench::Root root(target_, setup);
        if (!verb_.before.empty()) {
            (void)run_words(root, {"/usr/sbin/rc", verb_.before, "start"});
        }
        spoil(root);
        return run_words(root, words_of(verb_));
    }

    void expect_end(const bench::Trace &trace, const std::string &fault) const
    {
        const bool by_itself = !trace.timed_out && trace.signal == 0;
        const bool clean = trace.errors.find("Sanitizer") == std::string::npos &&
                           trace.errors.find("runtime error:") == std::string::npos;
        EXPECT_TRUE(by_itself && clean && may_end_with(verb_, trace.status))
            << "with " << fault << ": status " << trace.status << ", signal " << trace.signal
            << (trace.timed_out ? ", not within the limit" : "") << "\nstandard error:\n"
            << trace.errors.substr(0, 2000);
    }

  private:
    Verb verb_;
    bench::Target target_;
    bench::Setup setup_;
    std::vector<bench::Setting> rich_;
};

// What the run wrote or made anew, the store in any case.
Lines written_files(const bench::Trace &trace)
{
    std::set<std::string> paths = {"/tmp/nvram"};
    for (const bench::FileChange &file : trace.files) {
        if (file.what != bench::FileChange::What::kRemoved && file.type == 'f') {
            paths.insert(file.path);
        }
    }
    return {paths.begin(), paths.end()};
}

void fill_disk(bench::Root &root, const std::string &path)
{
    // What is read from a full disk's file is nothing; from the device it would be zeros without end.
    root.make_link(path, is_read_back(path) && path != "/tmp/nvram" ? "/dev/null" : "/dev/full");
}

// ---- the tests ------------------------------------------------------------------------------------------

class Faults : public testing::TestWithParam<Verb> {};

TEST_P(Faults, FilesCannotBeWritten)
{
    const Ground ground(GetParam());
    const bench::Trace usual = ground.run(ground.rich(), [](bench::Root &) {});
    ground.expect_end(usual, "no fault");
    const Lines written = written_files(usual);
    const Lines commands = usual.commands();

    const auto all = [&](auto spoil_one) {
        return [&written, spoil_one](bench::Root &root) {
            for (const std::string &path : written) {
                spoil_one(root, path);
            }
        };
    };
    const auto directory = [](bench::Root &root, const std::string &path) { root.make_directory(path); };
    if (is_group(GetParam())) {
        ground.expect_end(ground.run(ground.rich(), all(fill_disk)), "a full disk");
        ground.expect_end(ground.run(ground.rich(), all(directory)), "directories in place of files");
    }
    std::set<std::string> parents;
    for (const std::string &path : written) {
        const bool own = path == "/tmp/nvram" || path == "/tmp/adslver" || path == "/etc/svn.info";
        if (is_group(GetParam()) && !own) {
            continue;
        }
        parents.insert(path.substr(0, path.rfind('/')));
        const bench::Trace full =
            ground.run(ground.rich(), [&](bench::Root &root) { fill_disk(root, path); });
        ground.expect_end(full, path + " on a full disk");
        if (!is_read_back(path)) {
            EXPECT_EQ(bench::unified_difference(commands, full.commands()), "") << path << " on a full disk";
        }
        ground.expect_end(ground.run(ground.rich(), [&](bench::Root &root) { root.make_directory(path); }),
                          path + " a directory");
    }
    parents.erase("/tmp");
    const auto remove_parents = [&](bench::Root &root) {
        for (const std::string &path : parents) {
            root.remove(path);
        }
    };
    ground.expect_end(ground.run(ground.rich(), remove_parents), "no directories for what is written");
}

TEST_P(Faults, FilesCannotBeRead)
{
    const Ground ground(GetParam());
    const Lines files = read_files(GetParam());
    ground.expect_end(ground.run(ground.rich(),
                                 [&](bench::Root &root) {
                                     for (const std::string &path : files) {
                                         root.make_directory(path);
                                     }
                                 }),
                      "directories in place of what is read");
    ground.expect_end(ground.run(ground.rich(),
                                 [&](bench::Root &root) {
                                     for (const std::string &path : files) {
                                         root.write(path, repeated("%n%s\" \x01 9\n\xff", 700));
                                     }
                                 }),
                      "nonsense in what is read");
}

TEST_P(Faults, HostileSettings)
{
    const Ground ground(GetParam());
    // A service alone meets the worst text; in its group, and the Internet side, it meets all of them.
    const bool all = is_group(GetParam()) || GetParam().service == "wan";
    for (size_t i = all ? 0 : kHostile.size() - 1; i < kHostile.size(); ++i) {
        const std::string name = "settings of " + bench::escape(kHostile[i].substr(0, 40));
        ground.expect_end(ground.run(hostile_settings(ground.rich(), kHostile[i]), [](bench::Root &) {}),
                          name);
    }
    ground.expect_end(ground.run(spoilt_settings(ground.rich(), kHostile[1]), [](bench::Root &) {}),
                      "control bytes behind each setting");
}

std::string name_of(const testing::TestParamInfo<Verb> &info)
{
    const Verb &verb = info.param;
    std::string name = verb.service.empty() ? "general" : verb.service;
    name += verb.action.empty() ? "" : "_" + verb.action;
    return verb.mode == "pppoe" ? name : name + "_" + verb.mode;
}

INSTANTIATE_TEST_SUITE_P(Services, Faults, testing::ValuesIn(all_verbs()), name_of);

}  // namespace
