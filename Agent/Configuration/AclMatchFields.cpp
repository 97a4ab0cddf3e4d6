#include "Agent/Configuration/AclMatchFields.h"

#include <algorithm>
#include <iterator>

namespace Agent {

ValueKind< Masked< Plix::IpAddr > > ip4Prefix() {
   return { "an IPv4 address or prefix like 10.0.0.0/8", parsePrefix };
}

ValueKind< Masked< Plix::Ip6Addr > > ip6Prefix() {
   return { "an IPv6 address or prefix like 2001:db8::/32", parsePrefix6 };
}

ValueKind< Acl::PortRange > portRange() {
   return { "two numbers 0 to 65535 like 1000-2000, not falling", parsePortRange };
}

ValueKind< Masked< Plix::EthAddr > > maskedMac() {
   return { "a MAC address like 02:00:00:00:00:01, or one and a mask like "
            "02:00:00:00:00:00/ff:ff:ff:00:00:00",
      parseMaskedMac };
}

ValueKind< Masked< uint8_t > > maskedNumber(
      uint8_t most, uint8_t whole, const std::string& allowed ) {
   ValueKind< Masked< uint8_t > > kind( allowed, [ most, whole ]( std::string_view text ) {
      return parseMasked( text, most, whole );
   } );
   kind.range = NumberRange{ 0, whole };
   return kind;
}

bool AclMatchFields::isBeyond( const FieldSchema& field ) const {
   return &field == &dei ||
         std::any_of( std::begin( beyond ), std::end( beyond ),
               [ &field ]( const BeyondField& known ) { return &known == &field; } );
}

bool Families::has( uint16_t etherType ) const {
   const bool isKnown = etherType == ip4EtherType ? ip4
         : etherType == ip6EtherType              ? ip6
                                                  : others;
   return isKnown && ( only == 0 || only == etherType );
}

} // namespace Agent
