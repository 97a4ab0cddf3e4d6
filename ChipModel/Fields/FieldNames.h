#pragma once

// Names for what entries match on and do, as read-backs and reports print them, and how the
// qualifiers that are enumerations lie in the lookup key: as bits, so that each enumerator is
// a value under a mask.

#include <optional>
#include <string_view>

#include "ChipModel/Fields/FieldProcessor.h"
#include "Platform/Shim/SdkTypes.h"

namespace ChipModel {

std::string_view qualifierName( Shim::Qualifier qualifier ); // "InPorts"
std::string_view actionName( Shim::FieldAction action );     // "mirror ingress"
std::string_view rangeName( Shim::FieldRange what );         // "L4SrcPort"

// None for what is no enumerator.
std::optional< Ternary > ipTypeBits( Shim::FieldIpType type );
std::optional< Ternary > ipFragBits( Shim::FieldIpFrag fragment );
// Of what an entry's IpType or IpFrag was set to: "IPv4", "first fragment".
std::string_view ipTypeName( Ternary bits );
std::string_view ipFragName( Ternary bits );

} // namespace ChipModel
