#pragma once

// What the ingress machines are asked for.

#include "Tests/PluginMounters/SliceBed.h"

namespace KarvelMirror::Slice {

class IfpBed : public SliceBed {
 protected:
   static IpMatch to( uint32_t address ) {
      IpMatch match;
      match.dstIpIs( Plix::IpAddr( address ) );
      match.dstIpMaskIs( Plix::IpAddr( 0xffffffff ) );
      return match;
   }
   // A destination that mirrors what goes to these addresses, with a turn of the loop.
   Zol::Ptr< MtpProgramInfo > matching(
         Mtp mtp, std::initializer_list< uint32_t > addresses, const char* intf = "E1" ) {
      auto made = info()->mtpProgramInfoIs( mtp );
      made->sessionIs( "s" );
      made->ipMatchIntfIs( Plix::IntfId( intf ) );
      for ( uint32_t address : addresses ) {
         made->ipMatchIs( to( address ) );
      }
      run();
      return made;
   }
   void setAcl( const Zol::String& name, std::initializer_list< Acl::RuleAction > actions ) {
      std::vector< Acl::RuleConfig > rules;
      for ( Acl::RuleAction action : actions ) {
         Acl::RuleConfig rule;
         rule.nameIs( "r" + std::to_string( rules.size() ) );
         rule.actionIs( action );
         rules.push_back( rule );
      }
      aclConfig->aclTypeConfigIs( Acl::ip() )
            ->aclIs( name )
            ->currCfgIs( Zol::make< const Acl::RuleList >( rules ) );
   }
   static AclKey aclKey( const Zol::String& name ) {
      AclKey key;
      key.aclNameIs( name );
      key.aclTypeIs( Acl::ip() );
      return key;
   }
   void addAcl( const Zol::Ptr< MtpProgramInfo >& mtp, const Zol::String& name ) {
      mtp->aclPortsIs( aclKey( name ) )->intfIs( Plix::IntfId( "E1" ) );
      mtp->aclIs( aclKey( name ) );
      run();
   }
};

} // namespace KarvelMirror::Slice
