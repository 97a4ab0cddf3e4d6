// What one ACL_RULE matches.

#include <algorithm>

#include "Agent/Configuration/Acls.h"
#include "Agent/Configuration/Names.h"
#include "Agent/Configuration/Values.h"

namespace Agent {

namespace {

constexpr int64_t any8Bits = 0xff;
constexpr int64_t any16Bits = 0xffff;
constexpr int64_t lowestEtherType = 0x600; // below, it is a length (IEEE 802.3 3.2.6)
constexpr int64_t highestLabel = 0xfffff;  // RFC 3032
constexpr uint16_t wholeVlan = 0xfff;
constexpr uint8_t wholeDscp = 0x3f;
constexpr uint8_t highestPriority = 7; // IEEE 802.1Q
// Without a mask: FIN, SYN, RST, PSH, ACK and URG, not those that ECN has added.
constexpr uint8_t classicTcpFlags = 0x3f;

constexpr uint8_t icmp = 1;
constexpr uint8_t tcp = 6;
constexpr uint8_t udp = 17;
constexpr uint8_t icmp6 = 58;
constexpr uint8_t sctp = 132;

class IpMatchReader {
 public:
   IpMatchReader( EntryReader& reader, const AclTableDraft& table )
         : reader_( reader ), typeText_( table.typeText ), isV6_( table.type == Acl::ipv6() ) {}

   Acl::IpFilter read() {
      readAddresses();
      readProtocol();
      readPorts();
      readTcpFlags();
      readTrafficClass();
      readIcmp();
      readFragments();
      checkKind();
      return filter_;
   }

 private:
   void readAddresses() {
      if ( isV6_ ) {
         constexpr auto allowed = "an IPv6 address or prefix like 2001:db8::/32";
         if ( auto prefix = reader_.parsed( "SRC_IPV6", parsePrefix6, allowed ) ) {
            filter_.srcIp6Is( prefix->value );
            filter_.srcIp6MaskIs( prefix->mask );
         }
         if ( auto prefix = reader_.parsed( "DST_IPV6", parsePrefix6, allowed ) ) {
            filter_.dstIp6Is( prefix->value );
            filter_.dstIp6MaskIs( prefix->mask );
         }
         return;
      }
      constexpr auto allowed = "an IPv4 address or prefix like 10.0.0.0/8";
      if ( auto prefix = reader_.parsed( "SRC_IP", parsePrefix, allowed ) ) {
         filter_.srcIpIs( prefix->value );
         filter_.srcIpMaskIs( prefix->mask );
      }
      if ( auto prefix = reader_.parsed( "DST_IP", parsePrefix, allowed ) ) {
         filter_.dstIpIs( prefix->value );
         filter_.dstIpMaskIs( prefix->mask );
      }
   }

   void readProtocol() {
      if ( auto protocol = reader_.number( "IP_PROTOCOL", 0, any8Bits ) ) {
         protocolIs( static_cast< uint8_t >( *protocol ) );
      }
      if ( !isV6_ ) {
         return;
      }
      if ( auto next = reader_.number( "NEXT_HEADER", 0, any8Bits ) ) {
         if ( filter_.protoMask() != 0 && filter_.proto() != *next ) {
            reader_.error( "NEXT_HEADER", "not the IP_PROTOCOL; allowed: one of the two" );
         }
         protocolIs( static_cast< uint8_t >( *next ) );
      }
   }
   void protocolIs( uint8_t protocol ) {
      filter_.protoIs( protocol );
      filter_.protoMaskIs( any8Bits );
   }

   void readPorts() {
      if ( auto ports = readPortsOf( "L4_SRC_PORT", "L4_SRC_PORT_RANGE" ) ) {
         filter_.srcPortIs( *ports );
      }
      if ( auto ports = readPortsOf( "L4_DST_PORT", "L4_DST_PORT_RANGE" ) ) {
         filter_.dstPortIs( *ports );
      }
   }
   std::optional< Acl::PortRange > readPortsOf(
         std::string_view single, std::string_view range ) {
      const auto port = reader_.number( single, 0, any16Bits );
      auto ports = reader_.parsed(
            range, parsePortRange, "two numbers 0 to 65535 like 1000-2000, not falling" );
      if ( !reader_.has( single ) && !reader_.has( range ) ) {
         return std::nullopt;
      }
      if ( reader_.has( single ) && reader_.has( range ) ) {
         reader_.error(
               range, "together with " + std::string( single ) + "; allowed: one of the two" );
      }
      checkProtocol(
            reader_.has( single ) ? single : range, { tcp, udp, sctp }, "TCP, UDP, SCTP" );
      if ( port ) {
         const auto number = static_cast< uint16_t >( *port );
         ports = Acl::PortRange( number, number );
      }
      return ports;
   }
   // Whether the rule is for these protocols, as far as it is known by now. They all have the
   // layer-4 header in the first fragment only.
   void checkProtocol( std::string_view field, std::initializer_list< uint8_t > protocols,
         const std::string& names ) {
      if ( filter_.protoMask() != 0 &&
            std::find( protocols.begin(), protocols.end(), filter_.proto() ) ==
                  protocols.end() ) {
         reader_.error( field,
               "protocol " + std::to_string( filter_.proto() ) +
                     " does not have it; allowed: with the protocol " + joined( protocols ) +
                     " (" + names + ")" );
      }
      layer4Field_ = field;
   }
   static std::string joined( std::initializer_list< uint8_t > numbers ) {
      std::vector< std::string > texts;
      for ( uint8_t number : numbers ) {
         texts.push_back( std::to_string( number ) );
      }
      return Agent::joined( texts );
   }

   void readTcpFlags() {
      if ( !reader_.has( "TCP_FLAGS" ) ) {
         return;
      }
      auto parse = []( std::string_view text ) {
         return parseMasked( text, any8Bits, classicTcpFlags );
      };
      if ( auto flags = reader_.parsed( "TCP_FLAGS", parse,
                 "0 to 0x3f, or a value and a mask, each 0 to 0xff, like 0x02/0x12" ) ) {
         filter_.tcpFlagsIs( flags->value );
         filter_.tcpFlagsMaskIs( flags->mask );
      }
      checkProtocol( "TCP_FLAGS", { tcp }, "TCP" );
      protocolIs( tcp );
   }

   void readTrafficClass() {
      auto parse = []( std::string_view text ) {
         return parseMasked( text, wholeDscp, wholeDscp );
      };
      if ( auto dscp = reader_.parsed(
                 "DSCP", parse, "0 to 63, or a value and a mask like 0x28/0x38" ) ) {
         filter_.dscpIs( dscp->value );
         filter_.dscpMaskIs( dscp->mask );
      }
      if ( auto ecn = reader_.number( "ECN", 0, 3 ) ) {
         filter_.ecnIs( static_cast< uint8_t >( *ecn ) );
         filter_.ecnMaskIs( 3 );
      }
   }

   void readIcmp() {
      const std::string_view typeField = isV6_ ? "ICMPV6_TYPE" : "ICMP_TYPE";
      const std::string_view codeField = isV6_ ? "ICMPV6_CODE" : "ICMP_CODE";
      const auto type = reader_.number( typeField, 0, any8Bits );
      const auto code = reader_.number( codeField, 0, any8Bits );
      if ( !type && !code ) {
         return;
      }
      filter_.icmpIs( static_cast< uint16_t >( type.value_or( 0 ) << 8 | code.value_or( 0 ) ) );
      filter_.icmpMaskIs(
            static_cast< uint16_t >( ( type ? 0xff00 : 0 ) | ( code ? 0xff : 0 ) ) );
      const std::string_view field = type ? typeField : codeField;
      if ( !layer4Field_.empty() ) {
         reader_.error( field,
               "together with " + std::string( layer4Field_ ) + "; allowed: one of the two" );
         return;
      }
      checkProtocol( field, { isV6_ ? icmp6 : icmp }, isV6_ ? "ICMPv6" : "ICMP" );
      protocolIs( isV6_ ? icmp6 : icmp );
   }

   void readFragments() {
      using Acl::Fragments;
      const auto fragments = reader_.choice< Fragments >( "IP_FRAG",
            { { "ANY", Fragments::any }, { "NON_FRAG", Fragments::whole },
                  { "NON_FRAG_OR_HEAD", Fragments::wholeOrFirst }, { "HEAD", Fragments::first },
                  { "NON_HEAD", Fragments::later } } );
      filter_.fragmentsIs( fragments.value_or( Fragments::any ) );
      if ( fragments == Fragments::later && !layer4Field_.empty() ) {
         reader_.error( "IP_FRAG",
               "such fragments do not carry what " + std::string( layer4Field_ ) +
                     " matches; allowed: ANY, NON_FRAG, NON_FRAG_OR_HEAD, HEAD" );
      }
   }

   // These may repeat what the table's type says.
   void checkKind() {
      const int64_t own = isV6_ ? 0x86dd : 0x0800;
      const auto etherType = reader_.number( "ETHER_TYPE", lowestEtherType, any16Bits );
      if ( etherType && *etherType != own ) {
         reader_.error( "ETHER_TYPE",
               "not of a table of type " + typeText_ +
                     "; allowed: " + ( isV6_ ? "0x86dd" : "0x0800" ) );
      }
      constexpr unsigned v4 = 1;
      constexpr unsigned v6 = 2;
      constexpr unsigned both = v4 | v6;
      const auto repeats = reader_.choice< unsigned >( "IP_TYPE",
            { { "ANY", both }, { "IP", both }, { "NON_IP", 0 }, { "IPV4", v4 },
                  { "IPV4ANY", v4 }, { "NON_IPV4", v6 }, { "IPV6", v6 }, { "IPV6ANY", v6 },
                  { "NON_IPV6", v4 }, { "ARP", 0 } } );
      if ( repeats && !( *repeats & ( isV6_ ? v6 : v4 ) ) ) {
         reader_.error( "IP_TYPE",
               "contradicts the table's type " + typeText_ + "; allowed: ANY, IP, " +
                     ( isV6_ ? "IPV6, IPV6ANY, NON_IPV4" : "IPV4, IPV4ANY, NON_IPV6" ) );
      }
   }

   EntryReader& reader_;
   const std::string& typeText_;
   const bool isV6_;
   std::string_view layer4Field_; // one that only whole datagrams and first fragments have
   Acl::IpFilter filter_;
};

Acl::MacFilter readMac( EntryReader& reader ) {
   constexpr auto allowed = "a MAC address like 02:00:00:00:00:01, or one and a mask like "
                            "02:00:00:00:00:00/ff:ff:ff:00:00:00";
   Acl::MacFilter filter;
   if ( auto mac = reader.parsed( "SRC_MAC", parseMaskedMac, allowed ) ) {
      filter.srcMacIs( mac->value );
      filter.srcMacMaskIs( mac->mask );
   }
   if ( auto mac = reader.parsed( "DST_MAC", parseMaskedMac, allowed ) ) {
      filter.dstMacIs( mac->value );
      filter.dstMacMaskIs( mac->mask );
   }
   if ( auto type = reader.number( "ETHER_TYPE", lowestEtherType, any16Bits ) ) {
      filter.etherTypeIs( static_cast< uint16_t >( *type ) );
      filter.etherTypeMaskIs( any16Bits );
   }
   if ( auto label = reader.number( "MPLS_LABEL", 0, highestLabel ) ) {
      filter.mplsLabelIs( *label );
      filter.mplsLabelMaskIs( highestLabel );
   }
   if ( auto label = reader.number( "MPLS_INNER_LABEL", 0, highestLabel ) ) {
      filter.mplsInnerLabelIs( *label );
      filter.mplsInnerLabelMaskIs( highestLabel );
   }
   auto parsePriority = []( std::string_view text ) {
      return parseMasked( text, highestPriority, highestPriority );
   };
   if ( auto priority = reader.parsed(
              "PCP", parsePriority, "0 to 7, or a value and a mask like 4/6" ) ) {
      filter.vlanPriorityIs( priority->value );
      filter.vlanPriorityMaskIs( priority->mask );
   }
   if ( reader.has( "IP_TYPE" ) && !sameText( reader.text( "IP_TYPE" ), "ANY" ) ) {
      reader.notAllowed( "IP_TYPE", "ANY, and ETHER_TYPE for what a frame carries" );
   }
   return filter;
}

template < typename Filter >
bool limitFilter( Filter& filter, uint16_t vlanId ) {
   if ( filter.vlanIdMask() != 0 ) {
      return filter.vlanId() == vlanId;
   }
   filter.vlanIdIs( vlanId );
   filter.vlanIdMaskIs( wholeVlan );
   return true;
}

} // namespace

void readAclMatch( EntryReader& reader, AclTableDraft& table, AclRuleDraft& rule ) {
   checkAclFields( reader, table );
   if ( table.type == Acl::mac() ) {
      rule.config.macIs( readMac( reader ) );
   } else {
      rule.config.ipIs( IpMatchReader( reader, table ).read() );
   }
   if ( auto vlan = reader.number( "VLAN_ID", 1, 4094 ) ) {
      limitToVlan( rule.config, table.type, static_cast< uint16_t >( *vlan ) );
   }
}

bool limitToVlan( Acl::RuleConfig& rule, Acl::AclType type, uint16_t vlanId ) {
   if ( type == Acl::mac() ) {
      Acl::MacFilter filter = rule.mac();
      const bool agrees = limitFilter( filter, vlanId );
      rule.macIs( filter );
      return agrees;
   }
   Acl::IpFilter filter = rule.ip();
   const bool agrees = limitFilter( filter, vlanId );
   rule.ipIs( filter );
   return agrees;
}

} // namespace Agent
