// Replies and effects as the stand-ins inside the root read them.
#pragma once

#include <string>

#include "bench/router.h"

namespace bench {

// The bytes of /.bench/plan: the setup's replies and effects and, when it asks for them, those of the image
// that it does not have itself.
std::string plan_bytes(const Setup &setup, const std::filesystem::path &image);

}  // namespace bench
