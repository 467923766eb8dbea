// The sandbox of root where namespaces are refused: the root directory is "/" by chroot. Nothing can be bound
// into it, so what comes from outside is linked in from copies that belong to the bench; init gives up the
// privileges by which one could leave.
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>

#include "bench/run/elf.h"
#include "bench/run/files.h"
#include "bench/run/inside/inside.h"
#include "bench/run/place.h"
#include "bench/run/platform.h"
#include "bench/run/sandbox.h"

namespace fs = std::filesystem;

namespace bench {

namespace {

// Copies of the workstation's files for all roots of this process. A run can spoil the copies its root has
// links to, never the workstation's; a spoilt one is made anew.
class Copies {
  public:
    Copies() : directory_(make_directory_for_root()), lock_(lock_root(directory_))
    {
        fs::create_directory(directory_ / ".bench");
    }
    ~Copies()
    {
        if (owner_ == getpid()) {  // not in a process forked since
            remove_tree(directory_);
        }
        close(lock_);
    }
    Copies(const Copies &) = delete;
    Copies &operator=(const Copies &) = delete;

    // A link to the copy of `outside`, or where links do not reach a copy.
    void put(const fs::path &outside, const fs::path &place)
    {
        const std::lock_guard<std::mutex> guard(mutex_);
        const fs::path copy = copy_of(outside);
        std::error_code error;
        if (fs::equivalent(copy, place, error)) {
            return;
        }
        fs::remove(place, error);
        fs::create_directories(place.parent_path());
        fs::create_hard_link(copy, place, error);
        if (error) {
            fs::copy_file(copy, place);
        }
    }

    const fs::path &directory() const { return directory_; }
    int count() const { return count_; }

  private:
    struct Copy {
        fs::path place;
        fs::file_time_type original;  // when the workstation's was written
        fs::file_time_type written;   // when the copy was
    };

    fs::path copy_of(const fs::path &outside)
    {
        Copy &copy = copies_[outside];
        const fs::file_time_type original = fs::last_write_time(outside);
        if (copy.place.empty() || copy.original != original ||
            fs::last_write_time(copy.place) != copy.written) {
            copy.place = new_file();
            ++count_;
            fs::copy_file(outside, copy.place, fs::copy_options::overwrite_existing);
            copy.original = original;
            copy.written = fs::last_write_time(copy.place);
        }
        return copy.place;
    }

    // Processes forked from this one make copies here, too; of numbers that come again no name is made.
    fs::path new_file() const
    {
        std::string name = directory_ / "copy.XXXXXX";
        const int fd = mkstemp(name.data());
        if (fd < 0) {
            throw Error(system_error("make a copy in", directory_));
        }
        close(fd);
        return name;
    }

    fs::path directory_;
    int lock_;
    pid_t owner_ = getpid();
    int count_ = 0;
    std::map<fs::path, Copy> copies_;
    std::mutex mutex_;
};

// They live as long as a root does, or somebody else who holds them.
std::shared_ptr<Copies> copies()
{
    static std::weak_ptr<Copies> all;
    static std::mutex mutex;
    const std::lock_guard<std::mutex> guard(mutex);
    std::shared_ptr<Copies> held = all.lock();
    if (held == nullptr) {
        held = std::make_shared<Copies>();
        all = held;
    }
    return held;
}

void put_directory(Copies &copies, const fs::path &outside, const fs::path &place)
{
    for (const fs::directory_entry &entry : fs::directory_iterator(outside)) {
        const std::string name = entry.path().filename().string();
        if (entry.is_regular_file() && !name.ends_with(".a") && !name.ends_with(".o")) {
            copies.put(fs::canonical(entry.path()), place / name);
        }
    }
}

// Of the workstation's libraries those that the run's programs need.
void put_libraries(Copies &copies, const Target &target, const Run &run, const fs::path &place)
{
    std::vector<fs::path> programs = {platform().shell, target.program, target.preload};
    for (const fs::path &more : {run.program, run.guest}) {
        if (!more.empty()) {
            programs.push_back(more);
        }
    }
    const fs::path loader = fs::canonical(platform().loader);
    copies.put(loader, place / loader.filename());
    for (const std::string &name : needed_libraries(programs, platform().libraries)) {
        copies.put(fs::canonical(platform().libraries / name), place / name);
    }
}

void put_guests(Copies &copies, const Target &target, const Run &run, const fs::path &root)
{
    for (const Guest &guest : guests(target, run)) {
        const fs::path place = root / guest.inside.substr(1);
        if (guest.outside == platform().libraries) {
            put_libraries(copies, target, run, place);
        } else if (fs::is_directory(guest.outside)) {
            put_directory(copies, guest.outside, place);
        } else {
            copies.put(fs::canonical(guest.outside), place);
        }
    }
}

void put_device(const fs::path &place, unsigned number)
{
    struct stat info = {};
    if (lstat(place.c_str(), &info) == 0 && S_ISCHR(info.st_mode)) {
        return;
    }
    std::error_code error;
    fs::remove_all(place, error);
    if (mknod(place.c_str(), S_IFCHR | 0666, makedev(1, number)) != 0 || chmod(place.c_str(), 0666) != 0) {
        throw Error(system_error("make device", place));
    }
}

}  // namespace

void make_devices(const fs::path &root)
{
    constexpr unsigned kNull = 3;
    constexpr unsigned kFull = 7;
    put_device(root / "dev/null", kNull);
    put_device(root / "dev/full", kFull);
}

std::shared_ptr<void> hold_copies()
{
    return copies();
}

void prepare(const Target &target, const fs::path &program)
{
    Run run;
    run.program = program;
    static std::shared_ptr<Copies> held;
    if (sandbox() == Sandbox::kChroot) {
        held = copies();
        put_guests(*held, target, run, held->directory() / std::to_string(held->count()));
    }
}

SandboxCommand chroot_command(const Target &target, const fs::path &root, const Run &run)
{
    if (run.system_view || !run.wrapper.empty()) {
        throw Error("a checker needs a view of the workstation, which BENCH_SANDBOX=chroot does not have");
    }
    put_guests(*copies(), target, run, root);
    make_devices(root);
    return {{(target.helpers / "bench_init").string(), "chroot", root.string()}};
}

}  // namespace bench
