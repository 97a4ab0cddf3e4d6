#pragma once

// Which tables the agent reads, and which fields an entry of theirs may have. A field that
// the convention knows and mirroring does not need is allowed and has no effect; any other
// name is taken for a typing error.

#include <string_view>
#include <vector>

namespace Agent {

const std::vector< std::string_view >& readTables();
bool isReadTable( std::string_view table );

// False for what may be anything: devices say much about themselves, and only the MAC address
// has to do with mirroring.
bool isLookedAt( std::string_view table, std::string_view field );

// Of a table that the agent reads, its own fields included.
const std::vector< std::string_view >& knownFields( std::string_view table );

} // namespace Agent
