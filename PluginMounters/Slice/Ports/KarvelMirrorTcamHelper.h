#pragma once

// The TCAM helpers: they carry out each destination's ProgrammingOp on one chip and answer in
// its MtpTcamHelperStatus. A destination is either fully programmed or has no entries.
//
// TcamHelperSmBase keeps one machine per destination; MtpTcamHelperSmBase is that machine, with
// the cache of what is installed and the choice of the ACLs to touch. Two generations stand on
// these bases. The one here, TcamHelperSm with MtpTcamHelperSm, takes its entries from the
// agent's entry manager and qualifies and installs them by direct SDK calls; the other is in
// KarvelMirrorTcamHelperV2.h.

#include <optional>

#include "Platform/Karvel/KarvelCommonSmData.h"
#include "Platform/Karvel/TcamServices.h"
#include "Platform/Zol/Sm.h"
#include "PluginMounters/Slice/Rules/KarvelMirrorTcamTypes.h"

namespace KarvelMirror {

using CommonData = Zol::Ptr< const Karvel::KarvelCommonSmData >;
using ProgStatus = MtpTcamHelperStatus::ProgStatus;

class MtpTcamHelperSmBase : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, MtpTcamHelperSmBase, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, Mtp, mtp ), ( CONST, Zol::Ptr< const MtpTcamHelperConfig >, mtpHelperConfig ),
         ( CONST, Zol::Ptr< MtpTcamHelperStatus >, mtpHelperStatus ),
         ( CONST, CommonData, scsd ),
         ( COLL, TcamAclKey, TcamAclData, aclDataCache ), // what is installed
         ( MAP, UdfQual, Karvel::QualIdList, udfCache ),
         ( MAP, Karvel::RangeCheckerDesc, uint32_t, rangeCheckerCache ),
         ( VAL, Zol::Ptr< const RateLimitMtp >, rateLimitDataCache ) );

 protected:
   MtpTcamHelperSmBase( uint32_t unit, Mtp mtp,
         Zol::Ptr< const MtpTcamHelperConfig > mtpHelperConfig,
         Zol::Ptr< MtpTcamHelperStatus > mtpHelperStatus, CommonData scsd );

   void doInit() override;
   void doCleanup() override;

   virtual void handleProgrammingOp() = 0;
   virtual void handleRateLimitData();

   // Removes what is installed for the destination and empties the cache.
   virtual void cleanupTcam() = 0;
   // Programs one rule of an ACL; what it installed is in the ACL's cache entry, also when it
   // failed half-way.
   virtual ProgStatus programRule(
         const Zol::Ptr< TcamAclData >& aclData, const RuleData& rule ) = 0;
   // Programs one entry: a rule with at most one destination and one range. `ruleId` is the
   // whole rule's number, `sequence` tells its entries apart.
   virtual ProgStatus programSubRule( const Zol::Ptr< TcamAclData >& aclData, RuleData rule,
         uint32_t ruleId, uint32_t sequence ) = 0;
   // Gives one cached rule's entry back.
   virtual void releaseRule( const RuleData& rule ) = 0;

   virtual void programCommonQuals( Karvel::EntryId entryId, const CommonQuals& quals );
   virtual void programMacQuals( Karvel::EntryId entryId, const MacQuals& quals );
   virtual void programV4Quals( Karvel::EntryId entryId, const V4Quals& quals );
   virtual void programV6Quals( Karvel::EntryId entryId, const V6Quals& quals );
   virtual void programL4Quals( Karvel::EntryId entryId, const L4Quals& quals );

   // Every ACL of the operation; stops at the first rule that fails.
   ProgStatus programAcls( const ProgrammingOp& op );
   // Only the changed ones.
   ProgStatus programSelectAcls( const ProgrammingOp& op );
   // Those that the operation neither changes nor deletes.
   ProgStatus programUnchangedAcls( const ProgrammingOp& op );
   // Releases the installed entries of changed and deleted ACLs.
   void cleanupSelectAcls( const ProgrammingOp& op );
   // Programs the entries that a rule becomes: one for each trunk and port of its destinations,
   // or a single one that does not look at the destination. Stops at the first that fails.
   ProgStatus programSubRules( const Zol::Ptr< TcamAclData >& aclData, const RuleData& rule );
   // Programs the qualifier groups that are not the default ones.
   void programQuals( Karvel::EntryId entryId, const RuleData& rule );
   // The in-ports of a rule as this chip numbers them. A port without an interface, or whose
   // interface has no port here, is a broken invariant.
   Shim::PortBitmap buildInPorts( const RuleData& rule ) const;

 private:
   ProgStatus programAcl( const TcamAclData& wanted );
   void releaseAcl( const TcamAclKey& key );
};

class MtpTcamHelperSm : public MtpTcamHelperSmBase {
   ZOL_ENTITY( KarvelMirror, MtpTcamHelperSm, MtpTcamHelperSmBase,
         ( CONST, Zol::Ptr< Karvel::KarvelTcamGroupManager >, groupManager ) );

 public:
   MtpTcamHelperSm( uint32_t unit, Mtp mtp,
         Zol::Ptr< const MtpTcamHelperConfig > mtpHelperConfig,
         Zol::Ptr< MtpTcamHelperStatus > mtpHelperStatus, CommonData scsd,
         Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager );

   const Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager >& entryManager() const {
      return entryManager_;
   }
   // The group meta-data registered last; none before the first registration.
   const std::optional< KarvelMirrorAclGroupMetaData >& mirroringAclDataCache() const {
      return mirroringAclDataCache_;
   }

 protected:
   void doInit() override;
   void doCleanup() override;
   void handleProgrammingOp() override;
   void cleanupTcam() override;
   ProgStatus programRule(
         const Zol::Ptr< TcamAclData >& aclData, const RuleData& rule ) override;
   ProgStatus programSubRule( const Zol::Ptr< TcamAclData >& aclData, RuleData rule,
         uint32_t ruleId, uint32_t sequence ) override;
   void releaseRule( const RuleData& rule ) override;
   void programCommonQuals( Karvel::EntryId entryId, const CommonQuals& quals ) override;

 private:
   ProgStatus carryOut( const ProgrammingOp& op );
   ProgStatus registerGroup( const ProgrammingOp& op );
   ProgStatus qualifyInPorts( Karvel::EntryId entryId, const RuleData& rule );
   void qualifyDestination( Karvel::EntryId entryId, const RuleData& rule );
   void addAction( Karvel::EntryId entryId, const TcamAclData& aclData );

   Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > entryManager_;
   std::optional< KarvelMirrorAclGroupMetaData > mirroringAclDataCache_;
   Zol::String
         requestName_; // of the entry being programmed; a member, so that its buffer is reused
};

class TcamHelperSmBase : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror, TcamHelperSmBase, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, Zol::Ptr< const TcamHelperConfig >, tcamHelperConfig ),
         ( CONST, Zol::Ptr< TcamHelperStatus >, tcamHelperStatus ), ( CONST, CommonData, scsd ),
         ( COLL, Mtp, MtpTcamHelperSmBase, mtpTcamSm ) );

 protected:
   TcamHelperSmBase( uint32_t unit, Zol::Ptr< const TcamHelperConfig > tcamHelperConfig,
         Zol::Ptr< TcamHelperStatus > tcamHelperStatus, CommonData scsd );

   void doInit() override;
   void doCleanup() override;
   void handleMtpHelperConfig( Mtp mtp );

   // The generation's machine for one destination.
   virtual Zol::Ptr< MtpTcamHelperSmBase > makeMtpTcamSm( Mtp mtp,
         Zol::Ptr< const MtpTcamHelperConfig > config,
         Zol::Ptr< MtpTcamHelperStatus > status ) = 0;
};

class TcamHelperSm : public TcamHelperSmBase {
   ZOL_ENTITY( KarvelMirror, TcamHelperSm, TcamHelperSmBase,
         ( CONST, Zol::Ptr< Karvel::KarvelTcamGroupManager >, groupManager ) );

 public:
   TcamHelperSm( uint32_t unit, Zol::Ptr< const TcamHelperConfig > tcamHelperConfig,
         Zol::Ptr< TcamHelperStatus > tcamHelperStatus, CommonData scsd,
         Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager );

 protected:
   Zol::Ptr< MtpTcamHelperSmBase > makeMtpTcamSm( Mtp mtp,
         Zol::Ptr< const MtpTcamHelperConfig > config,
         Zol::Ptr< MtpTcamHelperStatus > status ) override;
};

Zol::Ptr< TcamHelperSmBase > tcamHelperSmFactory( uint32_t unit,
      Zol::Ptr< const TcamHelperConfig > tcamHelperConfig,
      Zol::Ptr< TcamHelperStatus > tcamHelperStatus, CommonData scsd,
      Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager );

Zol::Ptr< MtpTcamHelperSmBase > mtpTcamHelperSmFactory( uint32_t unit, Mtp mtp,
      Zol::Ptr< const MtpTcamHelperConfig > mtpHelperConfig,
      Zol::Ptr< MtpTcamHelperStatus > mtpHelperStatus, CommonData scsd,
      Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager );

} // namespace KarvelMirror
