// Host tools on a disk that is really full: a small file system of the test's own, in a mount namespace.
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>

namespace {

namespace fs = std::filesystem;
using std::string_literals::operator""s;

struct Result {
    int status;  // negative: the signal that ended it
    std::string errors;
};

class FullDisk : public testing::Test {
  protected:
    void SetUp() override
    {
        char name[] = "/tmp/full-disk-XXXXXX";
        ASSERT_NE(mkdtemp(name), nullptr);
        directory_ = name;
        fs::create_directory(directory_ + "/disk");
        put("image", std::string(1024, '\xff'));
        put("store", "lan_if=br0\0lan_ipaddr=192.168.1.1\0\0"s);
        put("plain", "lan_if=br0\nlan_ipaddr=192.168.1.1\n");
        put("leases", std::string(104, '\0'));
        put("vpn", std::string(5472, '\0'));
        put("text", "lan_if=" + std::string(20000, 'x') + "\n");
        if (run(":").status != 0) {
            GTEST_SKIP()
                << "needs a mount namespace (root, or a user namespace) and room in memory for 64 KiB";
        }
    }

    void TearDown() override { fs::remove_all(directory_); }

    void put(const std::string &name, const std::string &bytes) const
    {
        std::ofstream(directory_ + "/" + name, std::ios::binary) << bytes;
    }

    // Runs a shell command on a full disk that holds a store s and a flash image i; others than these, and
    // the standard error caught, are in the directory above.
    Result run(const std::string &command) const
    {
        std::ofstream(directory_ + "/command") << "mount -t tmpfs -o size=64k none disk && cd disk && cp "
                                                  "../store s && cp ../image i || exit 99\n"
                                                  "head -c 200000 /dev/zero >filler 2>/dev/null\n"
                                                  "nvram=" NVRAM_TOOL " leases=" LEASES_TOOL
                                                  " vpnconf=" VPNCONF_TOOL " rcbench=" RCBENCH_TOOL "\n"
                                               << command << "\n";
        const std::string whole =
            "cd " + directory_ + " && unshare --map-root-user --mount sh ./command >/dev/null 2>errors";
        const int status = system(whole.c_str());
        std::ostringstream errors;
        errors << std::ifstream(directory_ + "/errors").rdbuf();
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status), errors.str()};
    }

    void expect(const std::string &command, int status, const std::string &errors) const
    {
        const Result result = run(command);
        EXPECT_EQ(result.status, status) << command;
        EXPECT_EQ(result.errors, errors) << command;
    }

    std::string directory_;
};

TEST_F(FullDisk, ABackupIsNotCalledDone)
{
    for (const std::string show : {"$nvram -f s export", "$leases show ../leases", "$vpnconf show ../vpn",
                                   "$rcbench --brief timezone start", "$rcbench --help"}) {
        const std::string tool = show.substr(1, show.find(' ') - 1);
        expect(show + " >backup", 3, tool + ": cannot write standard output: No space left on device\n");
    }
}

TEST_F(FullDisk, AStoreStaysWhole)
{
    for (const std::string change :
         {"set lan_if=$(head -c 9000 /dev/zero | tr '\\0' x)", "import ../text", "unset lan_ipaddr"}) {
        expect("$nvram -f s " + change +
                   "; status=$?; cmp s ../store || exit 98; ls | tr '\\n' ' ' >&2; exit $status",
               3, "nvram: cannot write s: No space left on device; it is as it was\nfiller i s ");
    }
}

TEST_F(FullDisk, ANewStoreIsNotLeftHalfWritten)
{
    expect("$nvram -f new import ../text; status=$?; ls | tr '\\n' ' ' >&2; exit $status", 3,
           "nvram: cannot write new: No space left on device; nothing is left of it\nfiller i s ");
}

TEST_F(FullDisk, AFlashImageHasItsPlaceAlready)
{
    expect(
        "$nvram -f s --flash i commit && $nvram --flash i check && $nvram --flash i export | cmp - ../plain",
        0, "");
}

TEST_F(FullDisk, TheRoutersDirectoryIsNotKeptThere)
{
    expect("cd .. && $rcbench --brief --keep disk/kept timezone start", 3,
           "rcbench: cannot build the router in " + directory_ + "/disk/kept: No space left on device\n");
}

}  // namespace
