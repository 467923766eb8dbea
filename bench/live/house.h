// The live network with its router, and what can be done with it.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/live/network.h"
#include "bench/live/router.h"

namespace live {

class House {
  public:
    // Builds network and root; nothing of rc has run. `choice` is copied.
    explicit House(RouterChoice choice);

    // Boots the router as its boot script does; rc wan start stays in the background.
    void boot();
    // Waits until the Internet connection is up and everything that follows it has run; false: in vain.
    bool wait_online(double seconds);
    // Waits until rc has done what it can, and there is no connection; false: in vain.
    bool wait_offline(double seconds);
    // Waits until no run of rc is left but one that waits for its connection; false: in vain.
    bool wait_idle(double seconds);
    // Runs rc and waits for it, and for the schedule flag to be in force; its output.
    std::string run_rc(const std::string &words, const std::string &clock = "");
    // Starts rc, which is among the processes from then on.
    void start_rc(const std::string &words);
    // A command of the router's shell.
    Result run_shell(const std::string &command);
    void set(const std::vector<bench::Setting> &changes);
    void unset(const std::string &key);
    // Gives the line this state.
    void change_line(const Line &line);
    const Line &line() const { return line_; }

    // The router's address towards the Internet; empty: none.
    std::string wan_address() const;
    std::string setting(const std::string &key) const;
    const Network &network() const { return network_; }
    bench::Root &root() { return *root_; }

  private:
    void await_flag();

    RouterChoice choice_;
    Line line_;
    std::unique_ptr<bench::Root> root_;
    Network network_;
};

}  // namespace live
