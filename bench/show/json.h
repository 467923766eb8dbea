// A run as JSON: words, status, events, settings, files, standard error.
//
// rc's texts are bytes; each byte is one character of a JSON text, so that those that are no ASCII become
// \u0080 to \u00ff.
#pragma once

#include <nlohmann/json.hpp>

#include <string>
#include <string_view>
#include <vector>

#include "bench/router.h"

namespace bench {

using Json = nlohmann::ordered_json;

Json json_text(std::string_view bytes);
Json json_report(const std::vector<std::string> &words, const Trace &trace);

// With two spaces a level, ASCII alone, one line end at the end.
std::string written(const Json &json);

}  // namespace bench
