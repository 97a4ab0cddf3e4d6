// What one ACL_RULE matches.

#include <algorithm>

#include "Agent/Configuration/Acls.h"
#include "Agent/Configuration/Names.h"

namespace Agent {

namespace {

constexpr uint16_t wholeVlan = 0xfff;
constexpr uint16_t wholeEtherType = 0xffff;
constexpr uint32_t wholeLabel = mplsLabels.high;
constexpr uint8_t wholeProtocol = 0xff;
constexpr uint8_t wholeEcn = 3;

constexpr uint8_t icmp = 1;
constexpr uint8_t tcp = 6;
constexpr uint8_t udp = 17;
constexpr uint8_t icmp6 = 58;
constexpr uint8_t sctp = 132;

bool isFor( const FieldSchema& field, const AclTableDraft& table ) {
   const std::vector< std::string > types = splitList( field.onlyFor );
   return types.empty() || std::any_of( types.begin(), types.end(), [ & ]( const auto& type ) {
      return sameText( type, table.typeText );
   } );
}

void checkFields( EntryReader& reader, AclTableDraft& table ) {
   const AclRuleFields& fields = schema().aclRule;
   for ( const Field& written : reader.entry().fields ) {
      const FieldSchema* field = fields.find( written.name );
      if ( !field ) {
         continue;
      }
      if ( !isFor( *field, table ) ) {
         reader.error( *field,
               "not for a table of type " + table.typeText + "; allowed: in tables of type " +
                     std::string( field->onlyFor ) );
      } else if ( fields.match.isBeyond( *field ) && !table.beyond ) {
         table.beyond = "ACL_RULE|" + reader.key() + " matches on " + written.name +
               ", which is beyond this chip";
      }
   }
}

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
         if ( auto prefix = reader_.read( fields_.srcIp6 ) ) {
            filter_.srcIp6Is( prefix->value );
            filter_.srcIp6MaskIs( prefix->mask );
         }
         if ( auto prefix = reader_.read( fields_.dstIp6 ) ) {
            filter_.dstIp6Is( prefix->value );
            filter_.dstIp6MaskIs( prefix->mask );
         }
         return;
      }
      if ( auto prefix = reader_.read( fields_.srcIp ) ) {
         filter_.srcIpIs( prefix->value );
         filter_.srcIpMaskIs( prefix->mask );
      }
      if ( auto prefix = reader_.read( fields_.dstIp ) ) {
         filter_.dstIpIs( prefix->value );
         filter_.dstIpMaskIs( prefix->mask );
      }
   }

   void readProtocol() {
      if ( auto protocol = reader_.read( fields_.protocol ) ) {
         protocolIs( *protocol );
      }
      if ( !isV6_ ) {
         return;
      }
      if ( auto next = reader_.read( fields_.nextHeader ) ) {
         if ( filter_.protoMask() != 0 && filter_.proto() != *next ) {
            reader_.error( fields_.nextHeader, "not the IP_PROTOCOL; allowed: one of the two" );
         }
         protocolIs( *next );
      }
   }
   void protocolIs( uint8_t protocol ) {
      filter_.protoIs( protocol );
      filter_.protoMaskIs( wholeProtocol );
   }

   void readPorts() {
      if ( auto ports = readPortsOf( fields_.srcPort, fields_.srcPorts ) ) {
         filter_.srcPortIs( *ports );
      }
      if ( auto ports = readPortsOf( fields_.dstPort, fields_.dstPorts ) ) {
         filter_.dstPortIs( *ports );
      }
   }
   std::optional< Acl::PortRange > readPortsOf(
         const ValueField< uint16_t >& single, const ValueField< Acl::PortRange >& range ) {
      const auto port = reader_.read( single );
      auto ports = reader_.read( range );
      if ( !reader_.has( single ) && !reader_.has( range ) ) {
         return std::nullopt;
      }
      if ( reader_.has( single ) && reader_.has( range ) ) {
         reader_.error( range,
               "together with " + std::string( single.name ) + "; allowed: one of the two" );
      }
      checkProtocol( reader_.has( single ) ? single.name : range.name, { tcp, udp, sctp },
            "TCP, UDP, SCTP" );
      if ( port ) {
         ports = Acl::PortRange( *port, *port );
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
      if ( !reader_.has( fields_.tcpFlags ) ) {
         return;
      }
      if ( auto flags = reader_.read( fields_.tcpFlags ) ) {
         filter_.tcpFlagsIs( flags->value );
         filter_.tcpFlagsMaskIs( flags->mask );
      }
      checkProtocol( fields_.tcpFlags, { tcp }, "TCP" );
      protocolIs( tcp );
   }

   void readTrafficClass() {
      if ( auto dscp = reader_.read( fields_.dscp ) ) {
         filter_.dscpIs( dscp->value );
         filter_.dscpMaskIs( dscp->mask );
      }
      if ( auto ecn = reader_.read( fields_.ecn ) ) {
         filter_.ecnIs( *ecn );
         filter_.ecnMaskIs( wholeEcn );
      }
   }

   void readIcmp() {
      const auto& typeField = isV6_ ? fields_.icmp6Type : fields_.icmpType;
      const auto& codeField = isV6_ ? fields_.icmp6Code : fields_.icmpCode;
      const auto type = reader_.read( typeField );
      const auto code = reader_.read( codeField );
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
      filter_.fragmentsIs( reader_.read( fields_.fragments ) );
      if ( filter_.fragments() == Acl::Fragments::later && !layer4Field_.empty() ) {
         reader_.error( fields_.fragments,
               "such fragments do not carry what " + std::string( layer4Field_ ) +
                     " matches; allowed: ANY, NON_FRAG, NON_FRAG_OR_HEAD, HEAD" );
      }
   }

   // These may repeat what the table's type says.
   void checkKind() {
      const auto etherType = reader_.read( fields_.etherType );
      if ( etherType && *etherType != ( isV6_ ? 0x86dd : 0x0800 ) ) {
         reader_.error( fields_.etherType,
               "not of a table of type " + typeText_ +
                     "; allowed: " + ( isV6_ ? "0x86dd" : "0x0800" ) );
      }
      const Families families = reader_.read( fields_.ipType );
      if ( !( isV6_ ? families.ip6 : families.ip4 ) ) {
         reader_.error( fields_.ipType,
               "contradicts the table's type " + typeText_ + "; allowed: ANY, IP, " +
                     ( isV6_ ? "IPV6, IPV6ANY, NON_IPV4" : "IPV4, IPV4ANY, NON_IPV6" ) );
      }
   }

   EntryReader& reader_;
   const AclMatchFields& fields_ = schema().aclRule.match;
   const std::string& typeText_;
   const bool isV6_;
   std::string_view layer4Field_; // one that only whole datagrams and first fragments have
   Acl::IpFilter filter_;
};

Acl::MacFilter readMac( EntryReader& reader ) {
   const AclMatchFields& fields = schema().aclRule.match;
   Acl::MacFilter filter;
   if ( auto mac = reader.read( fields.srcMac ) ) {
      filter.srcMacIs( mac->value );
      filter.srcMacMaskIs( mac->mask );
   }
   if ( auto mac = reader.read( fields.dstMac ) ) {
      filter.dstMacIs( mac->value );
      filter.dstMacMaskIs( mac->mask );
   }
   if ( auto type = reader.read( fields.etherType ) ) {
      filter.etherTypeIs( *type );
      filter.etherTypeMaskIs( wholeEtherType );
   }
   if ( auto label = reader.read( fields.mplsLabel ) ) {
      filter.mplsLabelIs( *label );
      filter.mplsLabelMaskIs( wholeLabel );
   }
   if ( auto label = reader.read( fields.mplsInnerLabel ) ) {
      filter.mplsInnerLabelIs( *label );
      filter.mplsInnerLabelMaskIs( wholeLabel );
   }
   if ( auto priority = reader.read( fields.vlanPriority ) ) {
      filter.vlanPriorityIs( priority->value );
      filter.vlanPriorityMaskIs( priority->mask );
   }
   const auto& ipType = fields.ipType;
   if ( reader.has( ipType ) && !sameText( reader.text( ipType ), ipType.byDefault ) ) {
      reader.notAllowed( ipType, "ANY, and ETHER_TYPE for what a frame carries" );
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
   checkFields( reader, table );
   if ( table.type == Acl::mac() ) {
      rule.config.macIs( readMac( reader ) );
   } else {
      rule.config.ipIs( IpMatchReader( reader, table ).read() );
   }
   if ( auto vlan = reader.read( schema().aclRule.match.vlanId ) ) {
      limitToVlan( rule.config, table.type, *vlan );
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
