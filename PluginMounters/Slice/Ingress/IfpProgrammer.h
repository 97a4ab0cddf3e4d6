#pragma once

// Programs the rules of each destination's IfpConfig on one chip, and answers in its IfpStatus.
//
// A plain rule is one TCAM entry, which its feature machine has allocated: qualified on ports
// and IPv4 addresses, given the mirror action, installed. A rule with an ACL is built through
// the agent's ACL helper: the ACL's entries lose what they would do to the traffic, those that
// permit get the mirror action, and only then are they committed. So a deny entry keeps the
// traffic from the rules below it, and drops nothing.

#include "Platform/Acl/AclConfig.h"
#include "Platform/Karvel/AclSmPluginEntity.h"
#include "Platform/Karvel/KarvelCommonSmData.h"
#include "Platform/Karvel/SdkCall.h"
#include "PluginMounters/Slice/Ingress/IfpSm.h"

namespace KarvelMirror::Slice {

using CommonData = Zol::Ptr< const Karvel::KarvelCommonSmData >;

// The action for ingress mirroring. The shim has two: one takes the destination as its first
// parameter, the other the unit and then the destination.
constexpr Shim::FieldAction getMirrorIngressAction( bool destinationFirst ) {
   return destinationFirst ? Shim::FieldAction::mirrorIngressTo
                           : Shim::FieldAction::mirrorIngress;
}

class IfpProgrammerMtpSm : public Zol::EntitySm {
 public:
   // The user-defined fields of an ACL's rules, by their numbers.
   class AclUdfData : public Zol::Value {
      ZOL_VALUE( KarvelMirror::Slice::IfpProgrammerMtpSm, AclUdfData, ( VAL, Ixo::AclKey, key ),
            ( MAP, uint32_t, Karvel::AclRuleUdfData, udfDataForRule ) );
   };

   class IpAclRuleHelperReturnValue : public Zol::Value {
      ZOL_VALUE( KarvelMirror::Slice::IfpProgrammerMtpSm, IpAclRuleHelperReturnValue,
            ( VAL, Ixo::AclCreateError, error ), ( VAL, uint32_t, rulesProgrammed ) );
   };

   ZOL_ENTITY( KarvelMirror::Slice, IfpProgrammerMtpSm, Zol::EntitySm, ( CONST, Mtp, mtp ),
         ( CONST, Zol::Ptr< const IfpConfig >, ifpConfig ),
         ( CONST, Zol::Ptr< IfpStatus >, ifpStatus ),
         ( CONST, Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager >, entryManager ),
         ( CONST, Zol::Ptr< Karvel::KarvelTcamGroupManager >, groupManager ),
         ( CONST, Zol::Ptr< Karvel::AclHelper >, karvelAclHelper ),
         ( CONST, Zol::Ptr< Ixo::AclSm >, aclSm ), ( CONST, uint32_t, unit ),
         ( CONST, CommonData, scsd ),
         ( CONST, Zol::Ptr< const Acl::Config >, mirroringAclConfig ), // wanted
         ( SET, uint32_t, entryIdCache ),                              // installed
         ( MAP, uint32_t, bool, unitDirty ), ( COLL, Ixo::AclKey, Ixo::AclData, mirrorAclData ),
         ( COLL, Ixo::AclKey, Karvel::KarvelAclData, mirroringKarvelAclData ),
         ( MAP, Ixo::AclKey, AclUdfData, mirroringUdfData ),
         ( MAP, Ixo::AclKey, Zol::Ptr< const Acl::RuleList >,
               mirroringAclCurrConfig ), // programmed
         ( MAP, Ixo::AclKey, Ixo::IxoPortList, aclToIntf ), ( VAL, Ixo::AclKey, fwdDropAclId ),
         ( VAL, Zol::Ptr< Karvel::KarvelAclData >, fwdDropKarvelAclData ) );

 public:
   // What all destinations of a chip share.
   struct Context {
      uint32_t unit = 0;
      Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager;
      Zol::Ptr< Ixo::AclSm > aclSm;
      CommonData scsd;
      Zol::Ptr< const Acl::Config > aclConfig;
   };

   IfpProgrammerMtpSm( Mtp mtp, Zol::Ptr< const IfpConfig > ifpConfig,
         Zol::Ptr< IfpStatus > ifpStatus,
         Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > entryManager,
         const Context& context );

 private:
   using AclCreateError = Ixo::AclCreateError;

   // An ACL while it is built: what it is, and where it is applied.
   struct AclBuild {
      Zol::String sessionName;
      Zol::Ptr< Ixo::AclData > aclData;
      Zol::Ptr< Karvel::KarvelAclData > karvelAclData;
      Zol::Ptr< Karvel::KarvelAclUnitData > unitData;
      AclUdfData udfData;
      Ixo::IxoPortList ports;
      Ixo::IxoPortList subIntfPorts;
      uint32_t nextRuleNum = 0; // on the chip; a rule with a fragment rule takes two

      Acl::AclType aclType() const { return aclData->aclKey().aclType(); }
      const Zol::String& aclName() const { return aclData->aclKey().aclName(); }
   };

   void doInit() override;
   void doCleanup() override;
   void registerWithAclHelper();
   void deregisterFromAclHelper();
   void handleUpdate();
   ProgramResult programRule( const IfpRuleData& rule );
   void forgetReleasedEntries();

   // --- Plain rules -----------------------------------------------------------------------
   // 0 on success; E_RESOURCE if no port class is to be had. Any other refusal is a broken
   // invariant: the entry is there and the values are checked.
   Shim::Rc qualifyEntry( const IfpRuleData& ifpRule );
   void clearEntry( int entryId );
   bool emptyEntry( uint32_t entryId );
   Shim::Rc qualifyPorts( const IfpRuleData& rule );
   void qualifyV4( const IfpRuleData& ifpRule );
   // 0 on success.
   Shim::Rc installEntry( uint32_t entryId );

   // --- Rules with an ACL -------------------------------------------------------------------
   // False if the ACL is not there or could not be made; nothing of it is applied then.
   bool addMirroringSessionAcls( const Zol::String& sessionName, const IfpRuleData& rule );
   AclBuild startAcl( const Zol::String& sessionName, const IfpRuleData& rule );
   AclCreateError createAcl( AclBuild& build, const Acl::RuleList& rules );
   AclCreateError applyAcl( AclBuild& build );
   void withdrawAcl( const Ixo::AclKey& aclKey );
   void withdrawAcls();

   AclCreateError createMirroringIpAclRule(
         AclBuild& build, const Acl::RuleConfig& ruleConfig, const Zol::String& name );
   AclCreateError createMirroringMacAclRule(
         AclBuild& build, const Acl::RuleConfig& ruleConfig, const Zol::String& name );
   // The entries of one rule, on every kind of interface that the ACL is applied to.
   IpAclRuleHelperReturnValue createMirroringIpAclRuleHelper( AclBuild& build,
         const Karvel::IpAclRuleData& ruleData, uint32_t ruleNum, const Zol::String& name );
   // Whether the rule also has to decide on these fragments, which carry no layer-4 header: the
   // first rule that could does.
   bool checkMirroringIpFragRule( AclBuild& build, const Acl::RuleConfig& ruleConfig,
         const Acl::IpFilter& fragments, uint32_t ruleNum );
   IpAclRuleHelperReturnValue createMirroringIpFragRule( AclBuild& build,
         const Karvel::IpAclRuleData& ruleData, const Acl::IpFilter& fragments,
         uint32_t ruleNum, const Zol::String& name );
   bool addPortToMirroringAcl( const Ixo::AclKey& aclKey, const Plix::IntfId& intf );
   AclCreateError maybeAddOuterVlanIdQualifier( const Karvel::KarvelAclUnitData& unitData,
         uint32_t ruleNum, uint32_t subRuleNum, uint32_t vlanId, uint32_t vlanMask );
   AclCreateError addMirrorDestinationToAcl( const Ixo::AclData& aclData,
         const Karvel::KarvelAclData* saclData, uint32_t mirrorDestId );
   void mirrorByEntry(
         const Ixo::AclKey& acl, uint32_t unit, Karvel::EntryId entry, uint32_t mirrorDestId );

   // Extension points, called where a chip would need such qualifiers; these chips need none.
   void tryAddingUdfQualifiers( const Karvel::KarvelAclUnitData& unitData,
         const AclUdfData& udfData, uint32_t ruleNum, uint32_t subRuleNum );
   void tryAddingVlanQualifier(
         const Karvel::KarvelAclUnitData& unitData, const Plix::IntfId& intf );

   AclCreateError addOuterVlan(
         const AclBuild& build, uint32_t ruleNum, uint32_t subRuleNum, uint16_t vlanId );
   void noteProblem( const AclBuild& build, AclCreateError error );

   enum class Presence : uint8_t { absent, present, unknown };
   static Presence presence( const Karvel::SdkOutcome& outcome );
   // The worst outcome of setting actions among the entries of the ACL being built.
   enum class ActionState : uint8_t {
      done,
      incomplete,   // it may mirror less than it should
      dropsTraffic, // it must not be installed
   };
   void actionStateIs( ActionState state );

   Karvel::KarvelAclFeature feature() const { return mtpToFeature( mtp().value() ); }

   ActionState actionState_ = ActionState::done;
};

class IfpProgrammer : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, IfpProgrammer, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, Zol::Ptr< const IfpConfigColl >, ifpConfigColl ),
         ( CONST, Zol::Ptr< IfpStatusColl >, ifpStatusColl ),
         ( CONST, Zol::Ptr< Karvel::KarvelTcamGroupManager >, groupManager ),
         ( CONST, Zol::Ptr< Karvel::AclSmPluginEntity >, aclSmPluginEntity ),
         ( CONST, CommonData, scsd ), ( CONST, Zol::Ptr< const Acl::Config >, aclConfig ),
         ( COLL, Mtp, IfpProgrammerMtpSm, featureSm ) );

 public:
   IfpProgrammer( uint32_t unit, Zol::Ptr< const IfpConfigColl > ifpConfigColl,
         Zol::Ptr< IfpStatusColl > ifpStatusColl,
         Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager,
         Zol::Ptr< Karvel::AclSmPluginEntity > aclSmPluginEntity, CommonData scsd,
         Zol::Ptr< const Acl::Config > aclConfig );

 private:
   void doInit() override;
   void doCleanup() override;
   void handleMtp( Mtp mtp );
   void addMtp( Mtp mtp );
   void deleteMtp( Mtp mtp );
};

} // namespace KarvelMirror::Slice
