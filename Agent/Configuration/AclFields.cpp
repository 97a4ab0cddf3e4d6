// Which fields an ACL's rules can match on, and in which kinds of table.
//
// A field's way to the chip: it is named here, read in AclMatch.cpp, carried by a filter of
// Platform/Acl/Rules.h, and programmed by AgentServices/AclEntryWriter.cpp with a qualifier; see
// ChipModel/Fields/FieldCatalogue.h for a new one.

#include <algorithm>
#include <iterator>

#include "Agent/Configuration/Acls.h"
#include "Agent/Configuration/Names.h"

namespace Agent {

namespace {

// The kinds of table that a field is for.
constexpr unsigned ofIp = 1;
constexpr unsigned ofIpv6 = 2;
constexpr unsigned ofMac = 4;
constexpr unsigned ofBoth = ofIp | ofIpv6;
constexpr unsigned ofAll = ofBoth | ofMac;

enum class Ability : uint8_t { matched, beyond };

struct MatchField {
   std::string_view name;
   unsigned kinds;
   Ability ability = Ability::matched;
};

// VLAN_ID, IN_PORTS, ETHER_TYPE and IP_TYPE say something in every kind of table.
constexpr MatchField matchFields[] = {
   { "VLAN_ID", ofAll },
   { "IN_PORTS", ofAll },
   { "ETHER_TYPE", ofAll },
   { "IP_TYPE", ofAll },
   { "SRC_IP", ofIp },
   { "DST_IP", ofIp },
   { "SRC_IPV6", ofIpv6 },
   { "DST_IPV6", ofIpv6 },
   { "IP_PROTOCOL", ofBoth },
   { "NEXT_HEADER", ofIpv6 },
   { "L4_SRC_PORT", ofBoth },
   { "L4_SRC_PORT_RANGE", ofBoth },
   { "L4_DST_PORT", ofBoth },
   { "L4_DST_PORT_RANGE", ofBoth },
   { "TCP_FLAGS", ofBoth },
   { "DSCP", ofBoth },
   { "ECN", ofBoth },
   { "ICMP_TYPE", ofIp },
   { "ICMP_CODE", ofIp },
   { "ICMPV6_TYPE", ofIpv6 },
   { "ICMPV6_CODE", ofIpv6 },
   { "IP_FRAG", ofBoth },
   { "PCP", ofMac },
   { "SRC_MAC", ofMac },
   { "DST_MAC", ofMac },
   { "MPLS_LABEL", ofMac },
   { "MPLS_INNER_LABEL", ofMac },
   { "DEI", ofMac, Ability::beyond },
   { "TC", ofAll, Ability::beyond },
   { "OUT_PORTS", ofAll, Ability::beyond },
   { "TUNNEL_VNI", ofAll, Ability::beyond },
   { "TUNNEL_TERM", ofAll, Ability::beyond },
   { "INNER_ETHER_TYPE", ofAll, Ability::beyond },
   { "INNER_IP_PROTOCOL", ofAll, Ability::beyond },
   { "INNER_L4_SRC_PORT", ofAll, Ability::beyond },
   { "INNER_L4_DST_PORT", ofAll, Ability::beyond },
   { "INNER_SRC_IP", ofAll, Ability::beyond },
   { "INNER_DST_IP", ofAll, Ability::beyond },
   { "INNER_SRC_MAC", ofAll, Ability::beyond },
   { "INNER_DST_MAC", ofAll, Ability::beyond },
   { "BTH_OPCODE", ofAll, Ability::beyond },
   { "AETH_SYNDROME", ofAll, Ability::beyond },
};

unsigned kindOf( Acl::AclType type ) {
   return type == Acl::ip() ? ofIp : type == Acl::ipv6() ? ofIpv6 : ofMac;
}

std::string typesOf( unsigned kinds ) {
   std::vector< std::string > types;
   if ( kinds & ofIp ) {
      types.push_back( "L3, MIRROR" );
   }
   if ( kinds & ofIpv6 ) {
      types.push_back( "L3V6, MIRRORV6" );
   }
   if ( kinds & ofMac ) {
      types.push_back( "MAC, L2" );
   }
   return joined( types );
}

} // namespace

void checkAclFields( EntryReader& reader, AclTableDraft& table ) {
   for ( const Field& written : reader.entry().fields ) {
      const auto field = std::find_if( std::begin( matchFields ), std::end( matchFields ),
            [ & ]( const MatchField& known ) { return known.name == written.name; } );
      if ( field == std::end( matchFields ) ) {
         continue; // an action
      }
      if ( !( field->kinds & kindOf( table.type ) ) ) {
         reader.error( written.name,
               "not for a table of type " + table.typeText + "; allowed: in tables of type " +
                     typesOf( field->kinds ) );
      } else if ( field->ability == Ability::beyond && !table.beyond ) {
         table.beyond = "ACL_RULE|" + reader.key() + " matches on " + written.name +
               ", which is beyond this chip";
      }
   }
}

const std::vector< std::string_view >& aclMatchFields() {
   static const std::vector< std::string_view > names = [] {
      std::vector< std::string_view > all;
      for ( const MatchField& field : matchFields ) {
         all.push_back( field.name );
      }
      return all;
   }();
   return names;
}

} // namespace Agent
