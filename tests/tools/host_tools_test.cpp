// What nvram, leases and vpnconf have in common: input they cannot use, output that cannot be written, and
// files that are replaced whole or not at all.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;

struct Result {
    int status;  // negative: the signal that ended it
    std::string output;
    std::string errors;
};

class HostTools : public testing::Test {
  protected:
    void SetUp() override
    {
        char name[] = "/tmp/host-tools-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        directory_ = name;
    }

    void TearDown() override
    {
        (void)chmod(directory_.c_str(), 0700);
        fs::remove_all(directory_);
    }

    std::string path(const std::string &name) const { return directory_ + "/" + name; }

    void put(const std::string &name, const std::string &bytes) const
    {
        std::ofstream(path(name), std::ios::binary) << bytes;
    }

    std::string bytes(const std::string &name) const
    {
        std::ostringstream all;
        all << std::ifstream(path(name), std::ios::binary).rdbuf();
        return all.str();
    }

    std::vector<std::string> names() const
    {
        std::vector<std::string> all;
        for (const fs::directory_entry &entry : fs::directory_iterator(directory_)) {
            all.push_back(entry.path().filename());
        }
        std::sort(all.begin(), all.end());
        return all;
    }

    // Runs a shell command in the test's directory; $nvram, $leases and $vpnconf are the tools. Its output
    // is caught outside the directory.
    Result run(const std::string &command) const
    {
        const std::string out = directory_ + ".out";
        const std::string errors = directory_ + ".err";
        const std::string whole = "cd " + directory_ +
                                  "; nvram=" NVRAM_TOOL " leases=" LEASES_TOOL " vpnconf=" VPNCONF_TOOL
                                  "; { " +
                                  command + "; } >" + out + " 2>" + errors;
        const int status = system(whole.c_str());
        Result result = {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status),
                         bytes("../" + fs::path(out).filename().string()),
                         bytes("../" + fs::path(errors).filename().string())};
        fs::remove(out);
        fs::remove(errors);
        return result;
    }

    void expect(const std::string &command, int status, const std::string &errors) const
    {
        const Result result = run(command);
        EXPECT_EQ(result.status, status) << command;
        EXPECT_EQ(result.errors, errors) << command;
    }

    std::string directory_;
};

// A store, a lease file and a vpn.conf that the tools can show.
const std::string kStore = "lan_if=br0\0lan_ipaddr=192.168.1.1\0\0"s;
const std::string kLeases(104, '\0');
const std::string kVpn(5472, '\0');

const char *const kShows[] = {"$nvram -f s export",       "$nvram -f s show", "$nvram -f s check",
                              "$nvram -f s get lan_if",   "$leases show l",   "$vpnconf show v",
                              "$vpnconf show --fields v", "$nvram --help",    "$leases --version"};

TEST_F(HostTools, OutputThatCannotBeWrittenIsAnError)
{
    put("s", kStore);
    put("l", kLeases);
    put("v", kVpn);
    for (const std::string show : kShows) {
        const std::string tool = show.substr(1, show.find(' ') - 1);
        expect(show + " >/dev/full", 3, tool + ": cannot write standard output: No space left on device\n");
        expect(show + " >&-", 3, tool + ": cannot write standard output: Bad file descriptor\n");
        EXPECT_EQ(run(show).status, 0) << show;
    }
}

TEST_F(HostTools, LongOutputThatCannotBeWrittenIsAnErrorToo)
{
    put("s", "list=" + std::string(200000, 'x') + "\0\0"s);
    expect("$nvram -f s export >/dev/full", 3, "nvram: cannot write standard output: is the disk full?\n");
    expect("(ulimit -f 1; $nvram -f s export >copy)", 3,
           "nvram: cannot write standard output: File too large\n");
}

TEST_F(HostTools, AReaderThatGoesAwayIsNoCrash)
{
    put("s", "list=" + std::string(900000, 'x') + "\0\0"s);
    expect("{ $nvram -f s export; echo $? >&2; } | :", 0, "3\n");
}

TEST_F(HostTools, NoFileBecomesAClosedStandardDescriptor)
{
    put("s", kStore);
    expect("$nvram -f s set lan_if=br1 <&- >&-", 0, "");
    EXPECT_EQ(bytes("s"), "lan_if=br1\0lan_ipaddr=192.168.1.1\0\0"s);
    expect("$nvram -f s set lan_if=br2 lan_x=1 2>&-", 0, "");
    EXPECT_EQ(bytes("s"), "lan_if=br2\0lan_ipaddr=192.168.1.1\0lan_x=1\0\0"s);
}

TEST_F(HostTools, DirectoriesDevicesAndEndlessInputAreRefused)
{
    for (const std::string show : {"$leases show ", "$vpnconf show "}) {
        const std::string tool = show.substr(1, show.find(' ') - 1);
        expect(show + ".", 2, tool + ": cannot read .: it is a directory\n");
        expect(show + "- < .", 2, tool + ": cannot read standard input: it is a directory\n");
        expect(show + "/dev/zero", 2, tool + ": cannot read /dev/zero: it is a device\n");
        expect(show + "missing", 2, tool + ": cannot read missing: No such file or directory\n");
    }
    expect("$leases show - < /dev/zero", 2, "leases: cannot read standard input: it is larger than 1 MiB\n");
    expect("$vpnconf show - < /dev/zero", 2,
           "vpnconf: cannot read standard input: it is larger than 64 KiB\n");
}

TEST_F(HostTools, PipesAreRead)
{
    put("l", kLeases + kLeases);
    put("s", kStore);
    const Result result = run("mkfifo p; cat l >p & $leases show p; cat s | $nvram -f - get lan_if");
    EXPECT_EQ(result.status, 0);
    EXPECT_NE(result.output.find("2 records\nbr0\n"), std::string::npos) << result.output;
}

TEST_F(HostTools, JunkInAMessageIsCutAndEscaped)
{
    expect("$leases show \"$(printf 'a\\nb\\033[31m')\"", 2,
           "leases: cannot read a\\nb\\x1b[31m: No such file or directory\n");
    const Result result = run("$nvram \"$(head -c 5000 /dev/zero | tr '\\0' x)\"");
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.errors,
              "nvram: unknown command \"" + std::string(200, 'x') + "...\"; see nvram --help\n");
}

TEST_F(HostTools, HelpAndVersionAreWithinEightyColumns)
{
    for (const std::string tool : {"nvram", "leases", "vpnconf"}) {
        const Result help = run("$" + tool + " --help");
        EXPECT_EQ(help.status, 0) << tool;
        EXPECT_TRUE(help.output.starts_with("usage: " + tool + " ")) << help.output;
        EXPECT_NE(help.output.find("Exit status: 0 done; "), std::string::npos) << help.output;
        std::istringstream lines(help.output);
        for (std::string line; std::getline(lines, line);) {
            EXPECT_LT(line.size(), 80U) << line;
        }
        EXPECT_EQ(run("$" + tool + " -h").output, help.output);
        EXPECT_EQ(run("$" + tool + " --version").output, tool + " 1.0\n");
    }
}

// ---- replacing a file -----------------------------------------------------------------------------------

TEST_F(HostTools, AFullDiskLeavesTheOldStoreWhole)
{
    put("s", kStore);
    put("t", "lan_if=" + std::string(4000, 'x') + "\n");
    put("i", std::string(100, '\xff'));
    const std::string image = bytes("i");
    const std::string why = "nvram: cannot write s: File too large; it is as it was\n";
    expect("(ulimit -f 1; $nvram -f s import t)", 3, why);
    expect("(ulimit -f 1; $nvram -f s set lan_if=$(head -c 3000 /dev/zero | tr '\\0' x))", 3, why);
    EXPECT_EQ(bytes("s"), kStore);
    expect("(ulimit -f 1; $nvram --flash i import t)", 3,
           "nvram: cannot write i: File too large; it is as it was\n");
    EXPECT_EQ(bytes("i"), image);
    EXPECT_EQ(names(), (std::vector<std::string>{"i", "s", "t"}));
}

TEST_F(HostTools, ModeAndLinksAreKept)
{
    put("s", kStore);
    ASSERT_EQ(chmod(path("s").c_str(), 0640), 0);
    fs::create_symlink("s", path("link"));
    fs::create_symlink("new", path("dangling"));
    expect("$nvram -f link set lan_if=br1; $nvram -f dangling set lan_if=br2", 0, "");
    EXPECT_EQ(bytes("s"), "lan_if=br1\0lan_ipaddr=192.168.1.1\0\0"s);
    EXPECT_EQ(bytes("new"), "lan_if=br2\0\0"s);
    EXPECT_TRUE(fs::is_symlink(path("link")));
    struct stat status = {};
    ASSERT_EQ(stat(path("s").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0640U);
    EXPECT_EQ(names(), (std::vector<std::string>{"dangling", "link", "new", "s"}));
}

TEST_F(HostTools, TheOwnerIsKept)
{
    if (geteuid() != 0) {
        GTEST_SKIP() << "needs root, to give a file away";
    }
    put("s", kStore);
    ASSERT_EQ(chown(path("s").c_str(), 1234, 4321), 0);
    expect("$nvram -f s set lan_if=br1", 0, "");
    struct stat status = {};
    ASSERT_EQ(stat(path("s").c_str(), &status), 0);
    EXPECT_EQ(status.st_uid, 1234U);
    EXPECT_EQ(status.st_gid, 4321U);
}

TEST_F(HostTools, AnUnwritableDirectoryIsSaid)
{
    put("s", kStore);
    ASSERT_EQ(chmod(path("s").c_str(), 0666), 0);
    ASSERT_EQ(chmod(directory_.c_str(), 0555), 0);
    // Root may write everywhere.
    const std::string as_other = geteuid() == 0 ? "setpriv --reuid=65534 --regid=65534 --clear-groups " : "";
    if (run(as_other + "$nvram --version").status != 0) {
        GTEST_SKIP() << "needs a place that other users can run the program from";
    }
    expect(as_other + "$nvram -f s set lan_if=br1", 3,
           "nvram: cannot write s: its directory . cannot be written to: Permission denied\n");
    EXPECT_EQ(bytes("s"), kStore);
}

TEST_F(HostTools, AFlashImageIsWrittenInPlace)
{
    put("i", std::string(100, '\xff'));
    struct stat before = {};
    struct stat after = {};
    ASSERT_EQ(stat(path("i").c_str(), &before), 0);
    put("t", "lan_if=br0\n");
    expect("$nvram --flash i import t", 0, "");
    ASSERT_EQ(stat(path("i").c_str(), &after), 0);
    EXPECT_EQ(before.st_ino, after.st_ino);
    EXPECT_EQ(bytes("i").size(), 100U);
    EXPECT_EQ(bytes("i").substr(16, 24), std::string(24, '\xff'));
    EXPECT_EQ(run("$nvram --flash i export").output, "lan_if=br0\n");
}

TEST_F(HostTools, AFlashImageMayBeABlockDevice)
{
    put("i", std::string(4096, '\xff'));
    put("s", kStore);
    // Detached at once, the device goes when it is closed.
    const std::string device = "d=$(losetup -f --show i) && exec 9<>$d && losetup -d $d || exit 99; ";
    if (run(device + ":").status != 0) {
        GTEST_SKIP() << "needs a loop device, which root has where devices are allowed";
    }
    const Result result = run(device +
                              "$nvram -f s --flash $d commit && $nvram --flash $d set lan_if=br1 && "
                              "$nvram --flash $d export && test -b $d && sync $d");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, "lan_if=br1\nlan_ipaddr=192.168.1.1\n");
    EXPECT_EQ(result.errors, "");
    EXPECT_EQ(run("$nvram --flash i export").output, result.output);
    EXPECT_EQ(bytes("i").size(), 4096U);
    EXPECT_EQ(bytes("i").substr(3000), std::string(1096, '\xff'));
}

TEST_F(HostTools, ALeaseFileThatIsCutShortIsShownAsDamaged)
{
    put("l", kLeases + "cut");
    const Result result = run("$leases show l");
    EXPECT_EQ(result.status, 1);
    EXPECT_NE(result.output.find("1 record\n"), std::string::npos);
    EXPECT_EQ(result.errors, "leases: l: the last record is cut short, 3 of its bytes are there\n");
}

}  // namespace
