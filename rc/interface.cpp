// Questions about network interfaces.

#include "rc/interface.h"

#include <netinet/in.h>

#include <cstring>

#include "rc/text.h"

namespace {

// C libraries differ in the type of a question's number.
template <typename Number>
Number as_taken_by(int (*)(int, Number, ...), unsigned long question)
{
    return static_cast<Number>(question);
}

}  // namespace

bool ask_interface(int socket, unsigned long question, const char *name, ifreq &answer)
{
    answer = {};
    copy_text(answer.ifr_name, name);
    answer.ifr_addr.sa_family = AF_INET;
    return ioctl(socket, as_taken_by(ioctl, question), &answer) >= 0;
}

std::optional<uint32_t> interface_address(int socket, unsigned long question, const char *name)
{
    ifreq answer;
    if (!ask_interface(socket, question, name, answer)) {
        return std::nullopt;
    }
    sockaddr_in address;
    static_assert(sizeof address == sizeof answer.ifr_addr);
    memcpy(&address, &answer.ifr_addr, sizeof address);
    return ntohl(address.sin_addr.s_addr);
}
