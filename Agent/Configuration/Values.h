#pragma once

// Values of fields: numbers, addresses and prefixes, values with a mask, ranges. All functions
// return none for a text that is anything else.

#include <cstdint>
#include <optional>
#include <string_view>

#include "Platform/Acl/Rules.h"
#include "Platform/Plix/EthAddr.h"
#include "Platform/Plix/Ip6Addr.h"
#include "Platform/Plix/IpAddr.h"
#include "Platform/Plix/IpGenAddr.h"

namespace Agent {

// Decimal or 0x hexadecimal, nothing else around it; none also beyond 64 bits.
std::optional< uint64_t > parseNumber( std::string_view text );

// An IPv4 or IPv6 address that a station sends from: not zero, loopback or multicast.
std::optional< Plix::IpGenAddr > parseStation( std::string_view text );

// A value and the bits of it that count; the others are zero.
template < typename T >
struct Masked {
   T value{};
   T mask{};
};

// "10.0.0.0/8", "10.0.0.1"; bits behind the prefix may be set and do not count.
std::optional< Masked< Plix::IpAddr > > parsePrefix( std::string_view text );
// "2001:db8::/32", "2001:db8::1"
std::optional< Masked< Plix::Ip6Addr > > parsePrefix6( std::string_view text );

// "10.0.0.1/24", "2001:db8::1/64"; without a length all bits. The address keeps its host bits.
struct AddressWithLength {
   Plix::IpGenAddr address;
   int length = 0;
};
std::optional< AddressWithLength > parseAddressWithLength( std::string_view text );

// "46", "46/0x3f", value and mask up to `most`; without a mask the value is up to `whole`,
// which is the mask then.
std::optional< Masked< uint8_t > > parseMasked(
      std::string_view text, uint8_t most, uint8_t whole );

// "02:00:00:00:00:01", "02:00:00:00:00:00/ff:ff:ff:00:00:00"
std::optional< Masked< Plix::EthAddr > > parseMaskedMac( std::string_view text );

// "1000-2000"; the lower one first.
std::optional< Acl::PortRange > parsePortRange( std::string_view text );

} // namespace Agent
