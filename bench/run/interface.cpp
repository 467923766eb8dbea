// Which interfaces a run can have.
#include <arpa/inet.h>
#include <net/if.h>
#include <netinet/in.h>

#include <string>

#include "bench/router.h"

namespace bench {

bool can_name_interface(const std::string &name)
{
    // A "%" asks Linux for a number, and ";" ends a name in the list that the preloaded library gets.
    return !name.empty() && name.size() < IFNAMSIZ &&
           name.find_first_of("/:%; \t\n\v\f\r\xa0") == std::string::npos && name != "." && name != ".." &&
           name != "lo";
}

bool can_be_interface_address(const std::string &text)
{
    in_addr address = {};
    return inet_pton(AF_INET, text.c_str(), &address) == 1 && address.s_addr != INADDR_ANY &&
           !IN_MULTICAST(ntohl(address.s_addr));
}

}  // namespace bench
