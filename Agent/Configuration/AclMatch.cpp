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

// False if the rule is refused.
bool checkFields( EntryReader& reader, const AclTableDraft& table ) {
   const AclRuleFields& fields = schema().aclRule;
   bool isServed = true;
   for ( const Field& written : reader.entry().fields ) {
      const FieldSchema* field = fields.find( written.name );
      const bool isForIt = field && isFor( *field, table );
      const bool isBeyond = field && fields.match.isBeyond( *field );
      if ( !field || ( isForIt && !isBeyond ) ) {
         continue; // whoever reads it says what is wrong
      }
      isServed = false;
      if ( field->accepts && !field->accepts( written.text ) ) {
         reader.notAllowed( *field, field->allowed );
      } else if ( isForIt ) {
         reader.refuse( *field, "no chip profile can match on it; allowed: other fields" );
      } else {
         reader.refuse( *field,
               "not for a table of type " + table.typeText + "; allowed: in tables of type " +
                     std::string( field->onlyFor ) );
      }
   }
   return isServed;
}

// A value and a mask that do not agree are taken as they are.
void readMasked( EntryReader& reader, const ValueField< Masked< uint8_t > >& field,
      const std::function< void( Masked< uint8_t > ) >& use ) {
   const auto masked = reader.read( field );
   if ( !masked ) {
      return;
   }
   const std::string text = reader.text( field );
   const auto written = parseNumber( std::string_view( text ).substr( 0, text.find( '/' ) ) );
   if ( masked->mask == 0 ) {
      reader.warning( field, "'" + text + "': the mask is 0, so any value matches" );
   } else if ( written != masked->value ) {
      reader.warning( field,
            "'" + text + "': bits outside of the mask do not count, it is the same as " +
                  std::to_string( masked->value ) + "/" + std::to_string( masked->mask ) );
   }
   use( *masked );
}

class IpMatchReader {
 public:
   IpMatchReader( EntryReader& reader, bool isV6 ) : reader_( reader ), isV6_( isV6 ) {}

   // None if the rule is refused.
   std::optional< Acl::IpFilter > read() {
      readAddresses();
      readProtocol();
      readPorts();
      readTcpFlags();
      readTrafficClass();
      readIcmp();
      readFragments();
      return isRefused_ ? std::nullopt : std::optional( filter_ );
   }

 private:
   void refuse( std::string_view field, const std::string& text ) {
      reader_.refuse( field, text );
      isRefused_ = true;
   }

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
            refuse( fields_.nextHeader, "not the IP_PROTOCOL; allowed: one of the two" );
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
         refuse( range,
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
         refuse( field,
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
      readMasked( reader_, fields_.tcpFlags, [ this ]( Masked< uint8_t > flags ) {
         filter_.tcpFlagsIs( flags.value );
         filter_.tcpFlagsMaskIs( flags.mask );
      } );
      checkProtocol( fields_.tcpFlags, { tcp }, "TCP" );
      protocolIs( tcp );
   }

   void readTrafficClass() {
      readMasked( reader_, fields_.dscp, [ this ]( Masked< uint8_t > dscp ) {
         filter_.dscpIs( dscp.value );
         filter_.dscpMaskIs( dscp.mask );
      } );
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
         refuse( field,
               "together with " + std::string( layer4Field_ ) + "; allowed: one of the two" );
         return;
      }
      checkProtocol( field, { isV6_ ? icmp6 : icmp }, isV6_ ? "ICMPv6" : "ICMP" );
      protocolIs( isV6_ ? icmp6 : icmp );
   }

   void readFragments() {
      filter_.fragmentsIs( reader_.read( fields_.fragments ) );
      if ( filter_.fragments() == Acl::Fragments::later && !layer4Field_.empty() ) {
         refuse( fields_.fragments,
               "such fragments do not carry what " + std::string( layer4Field_ ) +
                     " matches; allowed: ANY, NON_FRAG, NON_FRAG_OR_HEAD, HEAD" );
      }
   }

   EntryReader& reader_;
   const AclMatchFields& fields_ = schema().aclRule.match;
   const bool isV6_;
   bool isRefused_ = false;
   std::string_view layer4Field_; // one that only whole datagrams and first fragments have
   Acl::IpFilter filter_;
};

Acl::MacFilter ofEtherType( uint16_t etherType ) {
   Acl::MacFilter filter;
   if ( etherType != 0 ) {
      filter.etherTypeIs( etherType );
      filter.etherTypeMaskIs( wholeEtherType );
   }
   return filter;
}

Acl::MacFilter readMac( EntryReader& reader, uint16_t etherType ) {
   const AclMatchFields& fields = schema().aclRule.match;
   Acl::MacFilter filter = ofEtherType( etherType );
   if ( auto mac = reader.read( fields.srcMac ) ) {
      filter.srcMacIs( mac->value );
      filter.srcMacMaskIs( mac->mask );
   }
   if ( auto mac = reader.read( fields.dstMac ) ) {
      filter.dstMacIs( mac->value );
      filter.dstMacMaskIs( mac->mask );
   }
   if ( auto label = reader.read( fields.mplsLabel ) ) {
      filter.mplsLabelIs( *label );
      filter.mplsLabelMaskIs( wholeLabel );
   }
   if ( auto label = reader.read( fields.mplsInnerLabel ) ) {
      filter.mplsInnerLabelIs( *label );
      filter.mplsInnerLabelMaskIs( wholeLabel );
   }
   readMasked( reader, fields.vlanPriority, [ & ]( Masked< uint8_t > priority ) {
      filter.vlanPriorityIs( priority.value );
      filter.vlanPriorityMaskIs( priority.mask );
   } );
   return filter;
}

// The first field of a rule that only datagrams have; empty if there is none.
std::string ipFieldOf( const EntryReader& reader ) {
   for ( const Field& written : reader.entry().fields ) {
      const FieldSchema* field = schema().aclRule.find( written.name );
      if ( field && !field->onlyFor.empty() && field->onlyFor != onlyMac ) {
         return written.name;
      }
   }
   return "";
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

// Into which kinds of ACL a rule goes, and what it matches there.
class MatchReader {
 public:
   MatchReader( EntryReader& reader, const AclTableDraft& table, AclRuleDraft rule )
         : reader_( reader ), table_( table ), rule_( std::move( rule ) ) {}

   std::vector< AclRuleDraft > read() {
      rule_.isRefused = !checkFields( reader_, table_ );
      readKind();
      const std::vector< Acl::AclType > types = kinds();
      if ( types.empty() || types[ 0 ] == Acl::mac() ) {
         checkOthers();
         rule_.config.macIs( readMac( reader_, etherType_ ) );
      } else if ( auto filter = IpMatchReader( reader_, types[ 0 ] == Acl::ipv6() ).read() ) {
         rule_.config.ipIs( *filter );
      } else {
         rule_.isRefused = true;
      }
      const auto vlan = reader_.read( fields_.vlanId );
      std::vector< AclRuleDraft > rules;
      // What a table for both IPv4 and IPv6 has is the same in both.
      for ( Acl::AclType type : types.empty() ? std::vector{ Acl::mac() } : types ) {
         AclRuleDraft& rule = rules.emplace_back( rule_ );
         rule.type = type;
         if ( vlan ) {
            limitToVlan( rule.config, type, *vlan );
         }
      }
      return rules;
   }

 private:
   void readKind() {
      const auto written = reader_.read( fields_.etherType );
      families_ = reader_.read( fields_.ipType );
      etherType_ = written.value_or( families_.only );
      if ( etherType_ != 0 && !families_.has( etherType_ ) ) {
         refuse( "contradicts ETHER_TYPE; allowed: ANY" );
      }
   }

   // Those of the table's kinds that have frames for the rule.
   std::vector< Acl::AclType > kinds() const {
      std::vector< Acl::AclType > types = table_.types;
      std::erase_if( types, [ this ]( Acl::AclType type ) {
         if ( type == Acl::mac() ) {
            return false;
         }
         const uint16_t own = type == Acl::ipv6() ? ip6EtherType : ip4EtherType;
         return !families_.has( own ) || ( etherType_ != 0 && etherType_ != own );
      } );
      return types;
   }

   // Frames that the filters for IP do not know: nothing but an EtherType tells them.
   void checkOthers() {
      const bool isWhole = families_.ip4 && families_.ip6 && families_.others;
      if ( etherType_ == 0 && !isWhole && !rule_.isRefused ) {
         refuse( "more than one EtherType, or what the table is not for; allowed: ANY, and "
                 "ETHER_TYPE for what a frame carries" );
      }
      const std::string field = table_.types[ 0 ] == Acl::mac() ? "" : ipFieldOf( reader_ );
      if ( !field.empty() && !rule_.isRefused ) {
         reader_.refuse( field,
               "frames of the rule's EtherType do not have it; allowed: with that of the "
               "table's type " +
                     table_.typeText );
         rule_.isRefused = true;
      }
   }

   void refuse( const std::string& text ) {
      reader_.refuse( fields_.ipType, text );
      rule_.isRefused = true;
   }

   EntryReader& reader_;
   const AclTableDraft& table_;
   const AclMatchFields& fields_ = schema().aclRule.match;
   AclRuleDraft rule_;
   Families families_{};
   uint16_t etherType_ = 0; // 0: any
};

} // namespace

std::vector< AclRuleDraft > readAclMatch(
      EntryReader& reader, const AclTableDraft& table, const AclRuleDraft& rule ) {
   return MatchReader( reader, table, rule ).read();
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
