#pragma once

// What each chip family needs so that GRE headers carry keys, and what takes it back: memories,
// entries, fields, values. The headers are 8 bytes long with the key-present flag (RFC 2890), and
// the IP length fields count 4 bytes more.

#include <map>
#include <set>
#include <utility>

#include "Platform/Shim/Memory.h"

namespace KarvelMirror::Slice {

// By memory and entry: fields and their values.
using GreTable = std::map< Shim::Memory,
      std::map< int, std::set< std::pair< Shim::MemField, uint32_t > > > >;

GreTable tomahawkGreKeyCfg();
GreTable tomahawkGreCfg();
GreTable t3x4GreKeyCfg();
GreTable t3x4GreCfg();
GreTable t3x1x2XgsApiV6GreKeyCfg();
GreTable t3x1x2XgsApiV6GreCfg();
GreTable t3x5x7GreKeyCfg();
GreTable t3x5x7GreCfg();
GreTable t3x3GreKeyCfg();
GreTable t3x3GreCfg();

// The family's table: with keys, or without. Empty for a chip of none of these families.
GreTable greTable( int unit, bool apply );

} // namespace KarvelMirror::Slice
