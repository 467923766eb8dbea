#include "bench/packets/refusal.h"

namespace packets {

void refuse(const std::string &reason)
{
    throw Refused{Why::kBadWords, reason};
}

void refuse(const char *before, const std::string &name, const char *behind)
{
    refuse(before + name + behind);
}

void refuse_value(const std::string &value, const char *what)
{
    refuse("\"" + value + "\" is no " + what);
}

void unknown(const char *what, const std::string &name)
{
    throw Error(std::string(what) + " " + name + " is not known here");
}

}  // namespace packets
