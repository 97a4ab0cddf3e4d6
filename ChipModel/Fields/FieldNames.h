#pragma once

// Names for what entries do and for the enumerations that they match on, as read-backs and reports
// print them, and how these enumerations lie in the lookup key: as bits, so that each enumerator
// is a value under a mask.

#include <optional>
#include <string_view>

#include "ChipModel/Fields/FieldProcessor.h"
#include "Platform/Shim/SdkTypes.h"

namespace ChipModel {

std::string_view actionName( Shim::FieldAction action ); // "mirror ingress"
std::string_view rangeName( Shim::FieldRange what );     // "L4SrcPort"

// None for what is no enumerator.
std::optional< Ternary > ipTypeBits( Shim::FieldIpType type );
std::optional< Ternary > ipFragBits( Shim::FieldIpFrag fragment );
// Of what an entry's IpType or IpFrag was set to, or of a frame's bits under a mask of ones:
// "IPv4", "first fragment".
std::string_view ipTypeName( Ternary bits );
std::string_view ipFragName( Ternary bits );

} // namespace ChipModel
