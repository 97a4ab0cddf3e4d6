#pragma once

// The agent's ACL helper over the SDK: see Karvel::AclHelper for what the operations promise.
//
//    auto helper = Zol::make< EmbeddedAclHelper >( groupManager );
//    helper->unitIs( 0, karvelCommon );
//    auto acl = helper->karvelAclDataNew( { "web", Acl::ip() }, feature );
//
// What an ACL is on a chip is in ChipAcl.h; what the ACLs of a chip share is in
// AclResources.h. Only ACLs that this helper has made may be given to it. An ACL that is
// dropped without being withdrawn withdraws itself.

#include <map>
#include <set>
#include <tuple>
#include <vector>

#include "AgentServices/LiveAcl.h"
#include "AgentServices/RefusalNote.h"
#include "AgentServices/TcamGroupManager.h"
#include "Platform/Karvel/AclHelper.h"

namespace AgentServices {

class EmbeddedAclHelper : public Karvel::AclHelper {
   ZOL_ENTITY( AgentServices, EmbeddedAclHelper, Karvel::AclHelper );

 public:
   explicit EmbeddedAclHelper( Zol::Ptr< TcamGroupManager > groups );
   // Registers a chip that the group manager knows, with its port maps. A unit that is
   // registered already keeps what it has.
   void unitIs( uint32_t unit, Zol::Ptr< const Karvel::KarvelCommonSmData > common );

   // --- Builders of mirroring ACLs -------------------------------------------------------
   void setMirroringKarvelAclTypeDirectionFeatureSm( Acl::AclType type,
         Acl::AclDirection direction, Karvel::KarvelAclFeature feature,
         const Zol::EntitySm& sm ) override;
   void clearMirroringKarvelAclTypeDirectionFeatureSm( Acl::AclType type,
         Acl::AclDirection direction, Karvel::KarvelAclFeature feature,
         const Zol::EntitySm& sm ) override;
   // Whether a machine is registered.
   bool mirroringKarvelAclTypeDirectionFeatureSmHas( Acl::AclType type,
         Acl::AclDirection direction, Karvel::KarvelAclFeature feature ) const;

   // --- Building (units must be known) ---------------------------------------------------
   Zol::Ptr< Karvel::KarvelAclData > karvelAclDataNew(
         const Ixo::AclKey& aclKey, Karvel::KarvelAclFeature feature ) override;
   Karvel::IpAclRuleData createIpAclRuleData( Acl::AclType type, const Acl::RuleConfig& rule,
         uint8_t ecnData, uint8_t ecnMask ) const override;
   Ixo::AclCreateError createIpAclRule( Karvel::KarvelAclData& acl, uint32_t unit,
         uint32_t ruleNum, uint32_t subRuleNum, const Karvel::IpAclRuleData& rule,
         const Zol::String& name ) override;
   Ixo::AclCreateError createMacAclRule( Karvel::KarvelAclData& acl, uint32_t unit,
         uint32_t ruleNum, uint32_t subRuleNum, const Acl::RuleConfig& rule,
         const Zol::String& name ) override;
   // Goes on with the other units after an error, and returns the first.
   Ixo::AclCreateError updateAclPortsInUnits( Karvel::KarvelAclData& acl ) override;
   Ixo::AclCreateError commitAcl( Karvel::KarvelAclData& acl, uint32_t unit ) override;
   void aclProblemIs(
         Karvel::KarvelAclData& acl, uint32_t unit, Ixo::AclCreateError error ) override;
   void withdrawAcl( Karvel::KarvelAclData& acl ) override;

   // --- For reports ----------------------------------------------------------------------
   // The last error of an ACL of this name, until one is committed or made anew. Withdrawing
   // does not clear it, since a machine that meets an error takes the rest back.
   Ixo::AclCreateError problem(
         uint32_t unit, Karvel::KarvelAclFeature feature, const Ixo::AclKey& aclKey ) const;
   // What the chip refused last while the ACL was made; none if the error came from elsewhere.
   LastRefusal refusal(
         uint32_t unit, Karvel::KarvelAclFeature feature, const Ixo::AclKey& aclKey ) const;
   // The ACLs that somebody holds, in the order in which they were made.
   std::vector< Zol::Ptr< const Karvel::KarvelAclData > > acls() const;

 private:
   using Builder = std::tuple< Acl::AclType, Acl::AclDirection, Karvel::KarvelAclFeature,
         const Zol::EntitySm* >;
   using ProblemKey = std::tuple< Karvel::KarvelAclFeature, Ixo::AclKey, uint32_t >;

   struct Problem {
      Ixo::AclCreateError error = Ixo::aclCreateErrorNone();
      LastRefusal refusal;
   };

   LiveAcl& live( Karvel::KarvelAclData& acl ) const;
   ChipAcl& onChip( LiveAcl& acl, uint32_t unit );
   Ixo::AclCreateError noted( const LiveAcl& acl, uint32_t unit, Ixo::AclCreateError error );

   Zol::Ptr< TcamGroupManager > groups_;
   std::map< uint32_t, Zol::Ptr< AclResources > > units_;
   Zol::Ptr< LiveAcls > acls_ = Zol::make< LiveAcls >();
   std::set< Builder > builders_;
   std::map< ProblemKey, Problem > problems_;
};

} // namespace AgentServices
