// What a running router has, as far as rc's commands and files tell: daemons with their words and the files
// they have read, interfaces, routes, filter rules, the radio's driver, kernel modules, names.
#pragma once

#include <map>
#include <set>
#include <string>
#include <vector>

#include "bench/router.h"

namespace settings_test {

// Slot -> what is in it.
using State = std::map<std::string, std::string>;

class Running {
  public:
    // Boots: init, all services, the Internet connection.
    Running(const bench::Target &target, const std::vector<forms::Setting> &settings);

    // As a page does it: the commands before, the change, the commands that apply it.
    void run(const std::string &command);
    void set(const forms::Setting &change) { root_.set({change}); }

    State state();

  private:
    void follow(const bench::Trace &trace);
    void follow_tool(const std::vector<std::string> &words);
    void follow_filter(const std::string &text, const std::vector<std::string> &words);
    void follow_radio(const std::vector<std::string> &words);
    void start(const std::string &daemon, const std::string &text);

    bench::Root root_;
    State slots_;
    std::map<std::string, std::vector<std::string>> daemons_;  // all that were started and not killed
    std::map<std::string, State> files_read_;
    std::vector<std::string> rules_;  // since the whole set was loaded
    std::string rule_set_;
    std::set<std::string> paths_;
};

}  // namespace settings_test
