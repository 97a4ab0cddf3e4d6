#include "Tests/AgentServices/AclBed.h"

namespace AgentServices::Test {

AclBed::AclBed( std::string_view profileName ) : ChipBed( profileName ) {
   Karvel::sdkErrorStreamIs( &errors_ );
   box.control().sinkIs( this );
   for ( int port = 1; port <= profile.ports; ++port ) {
      common->chipPortIs( port );
      common->intfToPortIs( intf( port ).port(), Karvel::SysPort( 0, port ) );
      box.sdk().bcm_port_enable_set( 0, port, true );
   }
   for ( int destination = 0; destination < 4; ++destination ) {
      box.sdk().bcm_mirror_destination_set(
            0, destination, { Shim::MirrorDestination::Kind::port, 50 + destination } );
   }
   helper = Zol::make< EmbeddedAclHelper >( groups );
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

ChipBed::Strings AclBed::remainsInTheEnd() {
   Zol::activityManager().advance( 3 );
   return remains();
}

} // namespace AgentServices::Test
