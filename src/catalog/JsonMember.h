#pragma once

#include <simdjson.h>

#include <string_view>

namespace json {

// One member of a parsed JSON object.
struct Member
{
    std::string_view key;
    simdjson::dom::element value;
};

} // namespace json
