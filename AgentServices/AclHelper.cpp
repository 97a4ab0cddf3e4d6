#include "AgentServices/AclHelper.h"

#include <typeinfo>
#include <utility>

#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Ixo::AclCreateError;
using Karvel::KarvelAclData;
using Karvel::KarvelAclFeature;

AclHelper::AclHelper( Zol::Ptr< TcamGroupManager > groups ) : groups_( std::move( groups ) ) {}

void AclHelper::unitIs( uint32_t unit, Zol::Ptr< const Karvel::KarvelCommonSmData > common ) {
   Zol::Ptr< AclResources >& place = units_[ unit ];
   if ( !place ) {
      place = Zol::make< AclResources >(
            unit, std::move( common ), groups_->portClasses( unit ) );
   }
}

// --- Who builds mirroring ACLs -------------------------------------------------------------

void AclHelper::setMirroringKarvelAclTypeDirectionFeatureSm( Acl::AclType type,
      Acl::AclDirection direction, KarvelAclFeature feature, const Zol::EntitySm& sm ) {
   builders_.emplace( type, direction, feature, &sm );
}

void AclHelper::clearMirroringKarvelAclTypeDirectionFeatureSm( Acl::AclType type,
      Acl::AclDirection direction, KarvelAclFeature feature, const Zol::EntitySm& sm ) {
   builders_.erase( { type, direction, feature, &sm } );
}

bool AclHelper::mirroringKarvelAclTypeDirectionFeatureSmHas(
      Acl::AclType type, Acl::AclDirection direction, KarvelAclFeature feature ) const {
   const auto first = builders_.lower_bound( { type, direction, feature, nullptr } );
   return first != builders_.end() && std::get< 0 >( *first ) == type &&
         std::get< 1 >( *first ) == direction && std::get< 2 >( *first ) == feature;
}

// --- Building ------------------------------------------------------------------------------

Zol::Ptr< KarvelAclData > AclHelper::karvelAclDataNew(
      const Ixo::AclKey& aclKey, KarvelAclFeature feature ) {
   for ( const auto& [ unit, resources ] : units_ ) {
      problems_.erase( { feature, aclKey, unit } );
   }
   return Zol::make< LiveAcl >( aclKey, feature, acls_ );
}

Karvel::IpAclRuleData AclHelper::createIpAclRuleData(
      Acl::AclType type, const Acl::RuleConfig& rule, uint8_t ecnData, uint8_t ecnMask ) const {
   return { type, rule.action(), rule.ip(), ecnData, ecnMask, rule.intf() };
}

AclCreateError AclHelper::createIpAclRule( KarvelAclData& acl, uint32_t unit, uint32_t ruleNum,
      uint32_t subRuleNum, const Karvel::IpAclRuleData& rule, const Zol::String& name ) {
   LiveAcl& of = live( acl );
   Karvel::AclEntryList& entries = acl.unitDataIs( unit )->entries();
   return noted(
         of, unit, onChip( of, unit ).ipRule( ruleNum, subRuleNum, rule, name, entries ) );
}

AclCreateError AclHelper::createMacAclRule( KarvelAclData& acl, uint32_t unit, uint32_t ruleNum,
      uint32_t subRuleNum, const Acl::RuleConfig& rule, const Zol::String& name ) {
   LiveAcl& of = live( acl );
   Karvel::AclEntryList& entries = acl.unitDataIs( unit )->entries();
   return noted(
         of, unit, onChip( of, unit ).macRule( ruleNum, subRuleNum, rule, name, entries ) );
}

AclCreateError AclHelper::updateAclPortsInUnits( KarvelAclData& acl ) {
   LiveAcl& of = live( acl );
   AclCreateError first = Ixo::aclCreateErrorNone();
   for ( const uint32_t unit : acl.unitData().keys() ) {
      ChipAcl* const onUnit = of.onChip( unit );
      if ( !onUnit ) {
         continue; // no rules there
      }
      const Zol::Ptr< const Karvel::KarvelAclUnitData > data = acl.unitData( unit );
      const AclCreateError error = noted( of, unit, onUnit->portsAre( *data ) );
      if ( first == Ixo::aclCreateErrorNone() ) {
         first = error;
      }
   }
   return first;
}

AclCreateError AclHelper::commitAcl( KarvelAclData& acl, uint32_t unit ) {
   LiveAcl& of = live( acl );
   const AclCreateError error = noted( of, unit, onChip( of, unit ).commit() );
   if ( error == Ixo::aclCreateErrorNone() ) {
      problems_.erase( { acl.feature(), acl.aclKey(), unit } );
   }
   acl.unitDataIs( unit )->committedIs( error == Ixo::aclCreateErrorNone() );
   return error;
}

void AclHelper::aclProblemIs(
      KarvelAclData& acl, uint32_t unit, AclCreateError error ) {
   noted( live( acl ), unit, error );
}

void AclHelper::withdrawAcl( KarvelAclData& acl ) { live( acl ).withdraw(); }

LiveAcl& AclHelper::live( KarvelAclData& acl ) const {
   ZOL_ASSERT( typeid( acl ) == typeid( LiveAcl ) );
   return static_cast< LiveAcl& >( acl );
}

ChipAcl& AclHelper::onChip( LiveAcl& acl, uint32_t unit ) {
   if ( ChipAcl* present = acl.onChip( unit ) ) {
      return *present;
   }
   const auto known = units_.find( unit );
   ZOL_ASSERT( known != units_.end() );
   return acl.onChipIs( known->second );
}

// --- For reports ---------------------------------------------------------------------------

AclCreateError AclHelper::noted( const LiveAcl& acl, uint32_t unit, AclCreateError error ) {
   if ( error != Ixo::aclCreateErrorNone() ) {
      problems_[ { acl.feature(), acl.aclKey(), unit } ] = error;
   }
   return error;
}

AclCreateError AclHelper::problem(
      uint32_t unit, KarvelAclFeature feature, const Ixo::AclKey& aclKey ) const {
   const auto at = problems_.find( { feature, aclKey, unit } );
   return at == problems_.end() ? Ixo::aclCreateErrorNone() : at->second;
}

std::vector< Zol::Ptr< const KarvelAclData > > AclHelper::acls() const {
   return { acls_->all.begin(), acls_->all.end() };
}

ZOL_DEFINE_ENTITY( AclHelper );

} // namespace AgentServices
