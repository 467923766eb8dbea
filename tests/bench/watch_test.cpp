// rcbench --watch: what each save of the settings file changes. A test waits for what is printed, for no
// time.
#include <gtest/gtest.h>
#include <signal.h>

#include <string>
#include <vector>

#include "tests/programs.h"
#include "tests/running.h"

namespace {

namespace fs = std::filesystem;

// rcbench at work, what it prints and what it notes in one stream.
class Watching {
  public:
    Watching(const std::string &directory, const std::vector<std::string> &words)
    {
        int ends[2] = {-1, -1};
        if (pipe(ends) != 0 || (process_ = fork()) < 0) {
            throw std::runtime_error("cannot start rcbench");
        }
        if (process_ == 0) {
            start(directory, words, ends[1]);
        }
        close(ends[1]);
        output_ = fdopen(ends[0], "r");
    }
    ~Watching()
    {
        fclose(output_);
        if (process_ > 0) {
            kill(process_, SIGKILL);
            waitpid(process_, nullptr, 0);
        }
    }
    Watching(const Watching &) = delete;
    Watching &operator=(const Watching &) = delete;

    // Everything up to the line that begins so, that line included; all there is where none comes.
    std::string until(const std::string &beginning) const
    {
        std::string text;
        char line[4096];
        while (fgets(line, sizeof line, output_) != nullptr) {
            text += line;
            if (std::string(line).starts_with(beginning)) {
                break;
            }
        }
        return text;
    }

    // The exit status after the signal.
    int end(int signal)
    {
        kill(process_, signal);
        int status = -1;
        waitpid(process_, &status, 0);
        process_ = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

  private:
    [[noreturn]] static void start(const std::string &directory, const std::vector<std::string> &words,
                                   int output)
    {
        const std::string program = (program_folder() / "rcbench").string();
        std::vector<char *> pointers = {const_cast<char *>(program.c_str())};
        for (const std::string &word : words) {
            pointers.push_back(const_cast<char *>(word.c_str()));
        }
        pointers.push_back(nullptr);
        dup2(output, STDOUT_FILENO);
        dup2(output, STDERR_FILENO);
        if (chdir(directory.c_str()) == 0) {
            execv(program.c_str(), pointers.data());
        }
        _exit(127);
    }

    pid_t process_ = -1;
    FILE *output_ = nullptr;
};

constexpr const char *kFirst = "lan_if=br0\nhttp_timeout=5\nlan_ipaddr=192.168.0.1\n";
constexpr const char *kBegun = "Watching ";
constexpr const char *kSame = "Saved, and no setting changed.";

class Watch : public testing::Test {
  protected:
    // As editors do that write a new file and put it in place.
    void replace(const std::string &text) const
    {
        fs::rename(folder_.file("new", text), folder_.path() + "/settings");
    }
    // As others do.
    void overwrite(const std::string &text) const { (void)folder_.file("settings", text); }

    // What was printed since the last save was noticed; the same settings, saved again, are its end.
    std::string rest(const Watching &watching, const std::string &text) const
    {
        replace(text);
        const std::string all = watching.until(kSame);
        EXPECT_TRUE(all.ends_with(std::string("\n") + kSame + "\n")) << all;
        return all.substr(0, all.size() - std::string(kSame).size() - 2);
    }

    Folder folder_;
};

// Of `rc lan start`, which sets the address.
constexpr const char *kOtherAddress =
    "$ rc lan start\n"
    "Commands\n";

TEST_F(Watch, ShowsWhatASaveChangesHoweverTheFileIsWritten)
{
    overwrite(kFirst);
    Watching watching(folder_.path(), {"--watch", "settings", "--brief", "lan", "start"});
    EXPECT_EQ(watching.until(kBegun), "Watching settings: each save shows what it changes. Ctrl-C ends.\n");

    const std::string second = "lan_if=br0\nhttp_timeout=5\nlan_ipaddr=192.168.7.1\n";
    replace(second);
    EXPECT_EQ(watching.until("# "), "\n# lan_ipaddr=192.168.7.1, was 192.168.0.1\n");
    const std::string shown = rest(watching, second);
    EXPECT_TRUE(shown.starts_with(kOtherAddress)) << shown;
    EXPECT_NE(shown.find("\n  -  run    /sbin/ifconfig br0 192.168.0.1"), std::string::npos) << shown;
    EXPECT_NE(shown.find("\n  +  run    /sbin/ifconfig br0 192.168.7.1"), std::string::npos) << shown;

    const std::string third = "lan_if=br0\nlan_ipaddr=192.168.7.1\nhttp_username=me\n";
    overwrite(third);
    EXPECT_EQ(watching.until("# http_timeout"), "\n# http_username=me, new\n# http_timeout gone, was 5\n");
    EXPECT_EQ(rest(watching, third), "$ rc lan start\nNo difference.\n");
    EXPECT_EQ(watching.end(SIGINT), 0);
}

TEST_F(Watch, GoesOnAfterSettingsThatCannotBeReadAndAFileThatIsAway)
{
    overwrite(kFirst);
    Watching watching(folder_.path(), {"--watch", "settings", "--brief", "lan", "start"});
    (void)watching.until(kBegun);

    replace("lan_if=br0\nthis is no setting\n");
    EXPECT_EQ(watching.until("rcbench: "),
              "rcbench: note: cannot read settings:2: no \"=\" in entry; waiting for the next save\n");

    // An editor moves the old file away before it writes the new one.
    fs::rename(folder_.path() + "/settings", folder_.path() + "/settings~");
    overwrite("lan_if=br1\nlan_ipaddr=192.168.0.1\nhttp_timeout=5\n");
    EXPECT_EQ(watching.until("# "), "\n# lan_if=br1, was br0\n");

    replace("lan_if=br1\nlan_ipaddr=192.168.0.1\nhttp_timeout=5\nlan_ipadr=10.0.0.1\n");
    (void)watching.until("# ");
    EXPECT_EQ(watching.until("rcbench: "),
              "rcbench: note: lan_ipadr is not among the default settings (did you mean lan_ipaddr?)\n");
    EXPECT_EQ(watching.end(SIGTERM), 0);
}

TEST_F(Watch, FollowsALinkToTheFileAndToAnother)
{
    fs::create_directory(folder_.path() + "/kept");
    (void)folder_.file("kept/one", kFirst);
    (void)folder_.file("kept/two", "lan_if=br2\n");
    fs::create_symlink("kept/one", folder_.path() + "/settings");
    Watching watching(folder_.path(), {"--watch", "settings", "--brief", "printk", "start"});
    (void)watching.until(kBegun);

    (void)folder_.file("kept/one", "lan_if=br1\nhttp_timeout=5\nlan_ipaddr=192.168.0.1\n");
    EXPECT_EQ(watching.until("# "), "\n# lan_if=br1, was br0\n");

    fs::create_symlink("kept/two", folder_.path() + "/other");
    fs::rename(folder_.path() + "/other", folder_.path() + "/settings");
    EXPECT_EQ(watching.until("# lan_ipaddr"),
              "$ rc printk start\nNo difference.\n"
              "\n# lan_if=br2, was br1\n# http_timeout gone, was 5\n# lan_ipaddr gone, was 192.168.0.1\n");
    EXPECT_EQ(watching.end(SIGINT), 0);
}

TEST_F(Watch, EndsWithStatus0WhileRcRuns)
{
    overwrite(kFirst);
    Watching watching(folder_.path(), {"--watch", "settings", "--brief", "lan", "start"});
    (void)watching.until(kBegun);
    replace("lan_if=br1\n");
    EXPECT_EQ(watching.until("# lan_if"), "\n# lan_if=br1, was br0\n");
    EXPECT_EQ(watching.end(SIGINT), 0);
}

TEST_F(Watch, SettingsThatAreNotThereAreRefusedAndTheFolderThatGoesIsSaid)
{
    const std::string rcbench = (program_folder() / "rcbench").string();
    Ran ran = folder_.run(rcbench + " --watch nothing lan start");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.errors, "rcbench: cannot read nothing: No such file or directory\n");
    ran = folder_.run(rcbench + " --watch no/settings lan start");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.errors, "rcbench: cannot watch " + folder_.path() + "/no: No such file or directory\n");
    ran = folder_.run(rcbench + " --watch - lan start");
    EXPECT_EQ(ran.status, 2);

    fs::create_directory(folder_.path() + "/gone");
    (void)folder_.file("gone/settings", kFirst);
    Watching watching(folder_.path(), {"--watch", "gone/settings", "--brief", "printk", "start"});
    (void)watching.until(kBegun);
    fs::rename(folder_.path() + "/gone", folder_.path() + "/away");
    EXPECT_EQ(watching.until("rcbench: "), "rcbench: the directory of gone/settings is gone\n");
}

}  // namespace
