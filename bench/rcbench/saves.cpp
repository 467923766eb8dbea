#include "bench/rcbench/saves.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>

#include "forms/escapes.h"
#include "forms/program.h"

namespace fs = std::filesystem;

namespace rcbench {

namespace {

using forms::Failure;

// A byte in it says that Ctrl-C was pressed.
int over[2] = {-1, -1};

void on_interrupt(int)
{
    const int error = errno;
    (void)!write(over[1], "", 1);
    errno = error;
}

// What rc is started with stays as it is: handlers are not passed on, a blocked signal would be.
void take_interrupts()
{
    if (over[0] < 0 && pipe2(over, O_CLOEXEC | O_NONBLOCK) != 0) {
        throw Failure(forms::kFailed, std::string("cannot make a pipe: ") + strerror(errno));
    }
    struct sigaction action = {};
    action.sa_handler = on_interrupt;
    action.sa_flags = SA_RESTART;
    (void)sigaction(SIGINT, &action, nullptr);
    (void)sigaction(SIGTERM, &action, nullptr);
}

// Milliseconds without an event after which a save is over: some editors write a file in several steps.
constexpr int kQuiet = 50;
constexpr int kForever = -1;

bool is_readable(int fd, int milliseconds)
{
    pollfd asked = {fd, POLLIN, 0};
    return poll(&asked, 1, milliseconds) > 0;
}

}  // namespace

Saves::Saves(const fs::path &file) : file_(file), events_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK))
{
    if (events_ < 0) {
        throw Failure(forms::kFailed, std::string("cannot watch files: ") + strerror(errno));
    }
    take_interrupts();
    watch_places();
}

Saves::~Saves()
{
    close(events_);
}

bool Saves::is_over()
{
    return is_readable(over[0], 0);
}

bool Saves::wait()
{
    while (true) {
        pollfd asked[] = {{events_, POLLIN, 0}, {over[0], POLLIN, 0}};
        const int ready = poll(asked, 2, kForever);
        if (is_over()) {
            return false;
        }
        if (ready > 0 && read_events()) {
            while (is_readable(events_, kQuiet)) {
                (void)read_events();
            }
            watch_places();
            return !is_over();
        }
    }
}

// The file's own name, and where that is a link also what it leads to, which may change with every save.
void Saves::watch_places()
{
    places_.clear();
    watch_directory_of(fs::absolute(file_));
    std::error_code error;
    if (const fs::path real = fs::canonical(file_, error); !error) {
        watch_directory_of(real);
    }
}

void Saves::watch_directory_of(const fs::path &path)
{
    const fs::path directory = path.parent_path();
    const int watch = inotify_add_watch(
        events_, directory.c_str(),
        IN_CLOSE_WRITE | IN_MOVED_TO | IN_CREATE | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR);
    if (watch < 0) {
        throw Failure(forms::kUnusable,
                      "cannot watch " + forms::shown(directory.string()) + ": " + strerror(errno));
    }
    places_.push_back({watch, path.filename()});
}

bool Saves::is_for_file(int watch, const char *name) const
{
    return std::any_of(places_.begin(), places_.end(),
                       [&](const Place &place) { return place.watch == watch && place.name == name; });
}

// Takes the events that are there; true when one of them is a save.
bool Saves::read_events() const
{
    alignas(inotify_event) char bytes[16384];
    bool saved = false;
    ssize_t got = 0;
    while ((got = read(events_, bytes, sizeof bytes)) > 0) {
        for (const char *at = bytes; at < bytes + got;) {
            inotify_event event = {};
            memcpy(&event, at, sizeof event);
            const char *name = event.len == 0 ? "" : at + sizeof event;
            at += sizeof event + event.len;
            if ((event.mask & (IN_DELETE_SELF | IN_MOVE_SELF)) != 0 && places_[0].watch == event.wd) {
                throw Failure(forms::kFailed,
                              "the directory of " + forms::shown(file_.string()) + " is gone");
            }
            // A file that was only just made is still being written, a link is not.
            const bool counts = (event.mask & IN_CREATE) == 0 || fs::is_symlink(file_);
            saved = saved || (event.mask & IN_Q_OVERFLOW) != 0 || (counts && is_for_file(event.wd, name));
        }
    }
    return saved;
}

}  // namespace rcbench
