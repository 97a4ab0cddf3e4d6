#include "Tests/AgentServices/AclBed.h"

namespace AgentServices::Test {

namespace {

void put( Bytes& to, uint64_t value, int bytes ) {
   while ( bytes-- > 0 ) {
      to.push_back( static_cast< uint8_t >( value >> ( bytes * 8 ) ) );
   }
}

Bytes layer4Of( const Packet& packet ) {
   Bytes bytes;
   put( bytes, packet.srcPort, 2 );
   put( bytes, packet.dstPort, 2 );
   put( bytes, 0, 8 );
   put( bytes, 0x50, 1 ); // of TCP: the header's length
   put( bytes, packet.tcpFlags, 1 );
   bytes.resize( 24 );
   return bytes;
}

void putIp4( Bytes& to, const Packet& packet, size_t payload ) {
   constexpr uint32_t moreFragments = 0x2000;
   put( to, 0x45, 1 );
   put( to, packet.tos, 1 );
   put( to, 20 + payload, 2 );
   put( to, 0, 2 );
   put( to,
         packet.part == Packet::Part::whole         ? 0
               : packet.part == Packet::Part::first ? moreFragments
                                                    : moreFragments | 100,
         2 );
   put( to, 64, 1 );
   put( to, packet.protocol, 1 );
   put( to, 0, 2 );
   put( to, packet.src, 4 );
   put( to, packet.dst, 4 );
}

void putIp6( Bytes& to, const Packet& packet, size_t payload ) {
   constexpr uint8_t fragmentHeader = 44;
   const bool isPart = packet.part != Packet::Part::whole;
   put( to, 6U << 28 | uint32_t{ packet.tos } << 20, 4 );
   put( to, payload + ( isPart ? 8 : 0 ), 2 );
   put( to, isPart ? fragmentHeader : packet.protocol, 1 );
   put( to, 64, 1 );
   for ( const uint32_t last : { packet.src, packet.dst } ) {
      const auto address = ip6( last ).bytes();
      to.insert( to.end(), address.begin(), address.end() );
   }
   if ( isPart ) {
      put( to, packet.protocol, 1 );
      put( to, 0, 1 );
      put( to, packet.part == Packet::Part::first ? 1 : 100 << 3 | 1, 2 );
      put( to, 7, 4 );
   }
}

} // namespace

Plix::Ip6Addr ip6( uint32_t last, uint8_t first ) {
   std::array< uint8_t, 16 > bytes{ first };
   for ( size_t i = 0; i < 4; ++i ) {
      bytes[ 12 + i ] = static_cast< uint8_t >( last >> ( 24 - 8 * i ) );
   }
   return Plix::Ip6Addr( bytes );
}

Bytes frameOf( const Packet& packet ) {
   Bytes bytes;
   put( bytes, 0x020000000001, 6 );
   put( bytes, 0x020000000002, 6 );
   if ( packet.vlan != 0 ) {
      put( bytes, 0x8100, 2 );
      put( bytes, packet.vlan, 2 );
   }
   put( bytes, packet.isIpv6 ? 0x86dd : 0x0800, 2 );
   const Bytes layer4 = layer4Of( packet );
   packet.isIpv6 ? putIp6( bytes, packet, layer4.size() )
                 : putIp4( bytes, packet, layer4.size() );
   bytes.insert( bytes.end(), layer4.begin(), layer4.end() );
   return bytes;
}

AclBed::AclBed( std::string_view profileName )
      : profile( *ChipModel::chipProfile( profileName ) ) {
   Karvel::sdkErrorStreamIs( &errors_ );
   box.addChip( 0, profile );
   box.control().sinkIs( this );
   Shim::sdk_ = &box.sdk();
   for ( int port = 1; port <= profile.ports; ++port ) {
      common->chipPortIs( port );
      common->intfToPortIs( intf( port ).port(), Karvel::SysPort( 0, port ) );
      box.sdk().bcm_port_enable_set( 0, port, true );
   }
   for ( int destination = 0; destination < 4; ++destination ) {
      box.sdk().bcm_mirror_destination_set(
            0, destination, { Shim::MirrorDestination::Kind::port, 50 + destination } );
   }
   groups->unitIs( 0, { profile.aclGroup, profile.portClassBits } );
   helper = Zol::make< AclHelper >( groups );
   helper->unitIs( 0, common );
   emptyChip = chip();
}

AclBed::~AclBed() {
   gate().observerIs( {} );
   gate().faultsDelAll();
   helper = nullptr;
   Karvel::sdkErrorStreamIs( nullptr );
}

AclCreateError AclBed::add(
      const AclPtr& to, uint32_t ruleNum, const Acl::RuleConfig& rule, uint32_t subRule ) {
   const Acl::AclType type = to->aclKey().aclType();
   const Zol::String name = ruleName( ruleNum );
   if ( type == Acl::mac() ) {
      return helper->createMacAclRule( *to, 0, ruleNum, subRule, rule, name );
   }
   return helper->createIpAclRule( *to, 0, ruleNum, subRule,
         helper->createIpAclRuleData( type, rule, rule.ip().ecn(), rule.ip().ecnMask() ),
         name );
}

void AclBed::mirror( const AclPtr& of, uint32_t destination ) {
   uint32_t ignored = 0;
   for ( const Karvel::AclEntry& entry : of->unitDataIs( 0U )->entries().all() ) {
      const int id = static_cast< int >( entry.key() );
      Sdk& sdk = box.sdk();
      const bool drops =
            sdk.bcm_field_action_get( 0, id, Shim::FieldAction::drop, &ignored, &ignored ) == 0;
      EXPECT_EQ( sdk.bcm_field_action_remove_all( 0, id ), 0 );
      EXPECT_EQ( sdk.bcm_field_qualifier_delete( 0, id, Shim::Qualifier::dstClassL2 ), 0 );
      if ( !drops ) {
         EXPECT_EQ( sdk.bcm_field_action_add(
                          0, id, Shim::FieldAction::mirrorIngressTo, destination, 0 ),
               0 );
      }
   }
}

AclCreateError AclBed::updatePorts( const AclPtr& of, const Ixo::IxoPortList& ports ) {
   of->unitDataIs( 0U )->sessionSrcIntfListIs( ports );
   return helper->updateAclPortsInUnits( *of );
}

AclCreateError AclBed::apply( const AclPtr& of, const Ixo::IxoPortList& ports ) {
   const AclCreateError error = updatePorts( of, ports );
   return error == ok ? helper->commitAcl( *of, 0 ) : error;
}

AclPtr AclBed::mirroringAcl( const Zol::String& name,
      const std::vector< Acl::RuleConfig >& rules, const Ixo::IxoPortList& ports,
      uint32_t destination, Acl::AclType type ) {
   const AclPtr made = acl( name, type, static_cast< uint8_t >( destination + 1 ) );
   for ( uint32_t i = 0; i < rules.size(); ++i ) {
      EXPECT_EQ( add( made, i, rules[ i ] ), ok );
   }
   mirror( made, destination );
   EXPECT_EQ( apply( made, ports ), ok );
   return made;
}

uint32_t AclBed::mirrored( int port, const Bytes& frame ) {
   copies_ = 0;
   const auto error = box.control().inject(
         0, port, { 0, frame.data(), static_cast< uint32_t >( frame.size() ), 0 } );
   EXPECT_EQ( error, std::nullopt );
   return copies_;
}

void AclBed::sent( const ChipModel::SentFrame& out ) {
   if ( out.kind == ChipModel::CopyKind::ingressMirror ) {
      copies_ |= 1U << out.mirrorDestination;
   }
}

std::vector< std::string > AclBed::remains() {
   return differences( emptyChip, chip(), ChipModel::ReadBackScope::programmed );
}

std::vector< std::string > AclBed::remainsInTheEnd() {
   Zol::activityManager().advance( 3 );
   return remains();
}

size_t AclBed::installed() {
   size_t result = 0;
   for ( const ChipModel::EntryView& entry : chip().entries ) {
      result += entry.installed;
   }
   return result;
}

void AclBed::refuseNth( uint64_t nth, Fault::Effect effect ) {
   gate().faultsDelAll();
   gate().faultAdd( { .first = nth, .last = nth, .effect = effect } );
}

} // namespace AgentServices::Test
