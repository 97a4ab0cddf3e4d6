#pragma once

// Writes what one ACL rule matches and does into one entry. The first call that the chip
// refuses ends it: what follows does nothing, and rc() tells.
//
//    AclEntryWriter writer( unit, entryId );
//    writer.rule( ruleNum, Acl::RuleAction::deny );
//    writer.ip( ruleData, plan, sourcePrefix, destinationPrefix );
//    if ( writer.rc() != Shim::Sdk::QX_BCM_E_NONE() ) ...
//
// The ports are not written here: see AclPorts.h.

#include <cstdint>

#include "AgentServices/Layer4Plan.h"
#include "AgentServices/TcamGroup.h"
#include "Platform/Karvel/AclHelper.h"

namespace AgentServices {

// The qualifiers of a kind's entries besides the ports.
Shim::QualifierSet aclQualifiers( Acl::AclType type );

class AclEntryWriter {
 public:
   AclEntryWriter( uint32_t unit, Karvel::EntryId entry )
         : unit_( static_cast< int >( unit ) ), entry_( static_cast< int >( entry ) ) {}

   // What every rule has: its rank among the rules, its action, and that it leaves the
   // agent's own L2 classes alone.
   void rule( uint32_t ruleNum, Acl::RuleAction action );
   // One entry of those that the plan calls for.
   void ip( const Karvel::IpAclRuleData& rule, const Layer4Plan& plan, const PortPrefix& source,
         const PortPrefix& destination );
   void mac( const Acl::MacFilter& filter );

   Shim::Rc rc() const { return rc_; }

 private:
   // Calls unless a mask of zero says that nothing is matched, or a call has failed.
   template < typename Call >
   void callIf( bool isWanted, Call call ) {
      if ( isWanted && rc_ == Shim::Sdk::QX_BCM_E_NONE() ) {
         rc_ = call();
      }
   }
   void outerVlan( uint16_t vlanId, uint16_t mask );
   void addresses( const Acl::IpFilter& filter );
   void addresses6( const Acl::IpFilter& filter );
   void header( const Karvel::IpAclRuleData& rule );
   void layer4( const Acl::IpFilter& filter );
   void layer4Ports(
         const Layer4Plan& plan, const PortPrefix& source, const PortPrefix& destination );

   int unit_;
   int entry_;
   Shim::Rc rc_ = Shim::Sdk::QX_BCM_E_NONE();
};

} // namespace AgentServices
