#pragma once

// The agent's ACL helper: turns ACL rules into hardware entries.
//
//    auto acl = helper->karvelAclDataNew( key, feature );
//    auto onChip = acl->unitDataIs( unit );
//    helper->createIpAclRule( *acl, unit, 0, 0, helper->createIpAclRuleData( ... ), name );
//    ... change the entries' actions ...
//    onChip->sessionSrcIntfListIs( ports );
//    helper->updateAclPortsInUnits( *acl );
//    helper->commitAcl( *acl, unit );      // only now do packets see it
//    helper->withdrawAcl( *acl );
//
// Entries are made as a forwarding ACL needs them: a deny rule's entry drops, a permit rule's
// does nothing, and none matches frames of the L2 classes that the agent keeps for itself
// (DstClassL2). Builders of ACLs for other purposes change that before committing. Earlier
// rules win over later ones, and ACLs do not shadow each other.

#include "Platform/Karvel/KarvelAclData.h"
#include "Platform/Zol/Sm.h"

namespace Karvel {

// One IP or IPv6 rule, in the form that the helper takes.
struct IpAclRuleData {
   Acl::AclType aclType = Acl::ip();
   Acl::RuleAction action = Acl::RuleAction::deny;
   Acl::IpFilter filter; // its ECN is ignored: the next two count
   uint8_t ecnData = 0;  // 2 bits (RFC 3168)
   uint8_t ecnMask = 0;
   Zol::Set< Plix::IntfId > intf; // only on these of the ACL's interfaces; empty: on all
};

// User-defined fields of one rule. These chips' mirroring ACLs have none.
class AclRuleUdfData : public Zol::Value {
   ZOL_VALUE( Karvel, AclRuleUdfData, ( VAL, uint32_t, ruleNum ) );
};

class AclHelper : public Zol::Entity {
   ZOL_ENTITY( Karvel, AclHelper, Zol::Entity );

 public:
   // --- Builders of mirroring ACLs -------------------------------------------------------
   // Registers the machine that builds the ACLs of a kind, direction and feature of mirroring.
   // Registering it again, or clearing what is not registered, changes nothing.
   virtual void setMirroringKarvelAclTypeDirectionFeatureSm( Acl::AclType type,
         Acl::AclDirection direction, KarvelAclFeature feature, const Zol::EntitySm& sm ) = 0;
   virtual void clearMirroringKarvelAclTypeDirectionFeatureSm( Acl::AclType type,
         Acl::AclDirection direction, KarvelAclFeature feature, const Zol::EntitySm& sm ) = 0;

   // --- Building -------------------------------------------------------------------------
   virtual Zol::Ptr< KarvelAclData > karvelAclDataNew(
         const Ixo::AclKey& aclKey, KarvelAclFeature feature ) = 0;
   virtual IpAclRuleData createIpAclRuleData( Acl::AclType type, const Acl::RuleConfig& rule,
         uint8_t ecnData, uint8_t ecnMask ) const = 0;
   // Makes the entries of one sub-rule, all of them or none, and adds them to the unit's data.
   // `name` is for people: it is shown wherever the chip's entries are.
   virtual Ixo::AclCreateError createIpAclRule( KarvelAclData& acl, uint32_t unit,
         uint32_t ruleNum, uint32_t subRuleNum, const IpAclRuleData& rule,
         const Zol::String& name ) = 0;
   virtual Ixo::AclCreateError createMacAclRule( KarvelAclData& acl, uint32_t unit,
         uint32_t ruleNum, uint32_t subRuleNum, const Acl::RuleConfig& rule,
         const Zol::String& name ) = 0;
   // Makes the entries match the interfaces of the units' data.
   virtual Ixo::AclCreateError updateAclPortsInUnits( KarvelAclData& acl ) = 0;
   // Installs all entries, or none.
   virtual Ixo::AclCreateError commitAcl( KarvelAclData& acl, uint32_t unit ) = 0;
   // Records an error that the builder of the ACL met itself, to be reported and tried again.
   virtual void aclProblemIs(
         KarvelAclData& acl, uint32_t unit, Ixo::AclCreateError error ) = 0;
   // Takes everything of the ACL off the chips.
   virtual void withdrawAcl( KarvelAclData& acl ) = 0;
};

} // namespace Karvel
