#include "bench/live/house.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <sstream>

#include "bench/run/files.h"

namespace live {

namespace {

using bench::Error;
using Clock = std::chrono::steady_clock;

// Looks again and again, often enough that nobody waits for the looking.
template <typename Condition>
bool wait_until(const Condition &condition, double seconds)
{
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    while (!condition()) {
        if (Clock::now() > end) {
            return false;
        }
        usleep(10000);
    }
    return true;
}

}  // namespace

House::House(RouterChoice choice) : choice_(std::move(choice)), root_(build_router(choice_))
{
    set_line(*root_, line_);
    network_ = make_network([&] { be_router_init(choice_.target); });
    start_outside_services(network_, choice_.target.helpers / "bench_live_tool");
    if (!wait_until([&] { return root_->exists("/.live/ready"); }, 20)) {
        throw Error("the router does not start: " + log_tail("router", 5));
    }
}

void House::boot()
{
    (void)run_rc("init");
    (void)run_shell("/usr/sbin/iptables -t nat -N BYPASS_TMSS");
    (void)run_rc("start");
    start_rc("wan start");
}

bool House::wait_idle(double seconds)
{
    return wait_until(
        [&] {
            const std::vector<int> running = running_rc();
            const std::optional<std::string> waiting = root_->read("/var/run/my_pid");
            return running.empty() ||
                   (running.size() == 1 && waiting && atoi(waiting->c_str()) == running[0]);
        },
        seconds);
}

bool House::wait_online(double seconds)
{
    const auto is_up = [&] {
        const std::optional<std::string> known = root_->read("/tmp/wan_ipaddr");
        return root_->exists("/tmp/wan_uptime") && known && known->size() >= 7;
    };
    const auto end = Clock::now() + std::chrono::duration<double>(seconds);
    do {
        if (wait_until(is_up, seconds) && wait_idle(seconds) && is_up()) {
            await_flag();
            return true;
        }
    } while (Clock::now() < end);
    return false;
}

bool House::wait_offline(double seconds)
{
    return wait_until([&] { return wait_idle(seconds) && !root_->exists("/tmp/wan_uptime"); }, seconds);
}

// The set that rules match on follows the flag a moment later.
void House::await_flag()
{
    const auto in_force = [&] {
        const std::string flag = root_->read("/proc/net/ipt_condition/schedule").value_or("0");
        const std::string set = root_->read("/.live/schedule").value_or("0");
        return flag.substr(0, 1) == set.substr(0, 1);
    };
    if (!wait_until(in_force, 10)) {
        throw Error("the filter does not follow the schedule flag");
    }
}

std::string House::run_rc(const std::string &words, const std::string &clock)
{
    const Result result = run_in_router(network_.router, rc_run(choice_, words, clock));
    if (result.status >= 128) {
        throw Error("rc " + words + " did not end: " + result.output);
    }
    await_flag();
    return result.output;
}

void House::start_rc(const std::string &words)
{
    const std::vector<int> before = running_rc();
    start_in_router(network_.router, rc_run(choice_, words));
    // Until it is seen among the processes: from then on the router is not idle.
    const auto is_new = [&](int one) { return std::find(before.begin(), before.end(), one) == before.end(); };
    (void)wait_until(
        [&] {
            const std::vector<int> running = running_rc();
            return std::any_of(running.begin(), running.end(), is_new);
        },
        2);
}

Result House::run_shell(const std::string &command)
{
    RouterRun run;
    run.words = {"/bin/sh", "-c", command};
    run.environment = rc_run(choice_, "").environment;
    return run_in_router(network_.router, run);
}

void House::set(const std::vector<bench::Setting> &changes)
{
    root_->set(changes);
}

void House::unset(const std::string &key)
{
    std::vector<bench::Setting> settings = root_->settings().value_or(std::vector<bench::Setting>{});
    std::erase_if(settings, [&](const bench::Setting &one) { return one.key == key; });
    root_->write("/tmp/nvram", bench::store_bytes(settings));
}

void House::change_line(const Line &line)
{
    if (line.has_signal != line_.has_signal) {
        plug_cables(line.has_signal);
    }
    line_ = line;
    set_line(*root_, line_);
}

std::string House::setting(const std::string &key) const
{
    return root_->setting(key).value_or("");
}

std::string House::wan_address() const
{
    const Result result =
        run_outside({"ip", "-n", "router", "-4", "-o", "address", "show", "dev", setting("wan_ifname")});
    const size_t at = result.output.find("inet ");
    if (result.status != 0 || at == std::string::npos) {
        return "";
    }
    return result.output.substr(at + 5, result.output.find('/', at) - at - 5);
}

}  // namespace live
