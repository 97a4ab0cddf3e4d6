#include "AgentServices/EmbeddedAclHelper.h"

#include <typeinfo>
#include <utility>

#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Ixo::AclCreateError;
using Karvel::KarvelAclData;
using Karvel::KarvelAclFeature;

EmbeddedAclHelper::EmbeddedAclHelper( Zol::Ptr< TcamGroupManager > groups )
      : groups_( std::move( groups ) ) {}

void EmbeddedAclHelper::unitIs(
      uint32_t unit, Zol::Ptr< const Karvel::KarvelCommonSmData > common ) {
   Zol::Ptr< AclResources >& place = units_[ unit ];
   if ( !place ) {
      place = Zol::make< AclResources >(
            unit, std::move( common ), groups_->portClasses( unit ) );
   }
}

// --- Builders of mirroring ACLs ------------------------------------------------------------

void EmbeddedAclHelper::setMirroringKarvelAclTypeDirectionFeatureSm( Acl::AclType type,
      Acl::AclDirection direction, KarvelAclFeature feature, const Zol::EntitySm& sm ) {
   builders_.emplace( type, direction, feature, &sm );
}

void EmbeddedAclHelper::clearMirroringKarvelAclTypeDirectionFeatureSm( Acl::AclType type,
      Acl::AclDirection direction, KarvelAclFeature feature, const Zol::EntitySm& sm ) {
   builders_.erase( { type, direction, feature, &sm } );
}

bool EmbeddedAclHelper::mirroringKarvelAclTypeDirectionFeatureSmHas(
      Acl::AclType type, Acl::AclDirection direction, KarvelAclFeature feature ) const {
   const auto first = builders_.lower_bound( { type, direction, feature, nullptr } );
   return first != builders_.end() && std::get< 0 >( *first ) == type &&
         std::get< 1 >( *first ) == direction && std::get< 2 >( *first ) == feature;
}

// --- Building ------------------------------------------------------------------------------

Zol::Ptr< KarvelAclData > EmbeddedAclHelper::karvelAclDataNew(
      const Ixo::AclKey& aclKey, KarvelAclFeature feature ) {
   for ( const auto& [ unit, resources ] : units_ ) {
      problems_.erase( { feature, aclKey, unit } );
   }
   Karvel::takeSdkRefusal(); // nothing of this ACL
   return Zol::make< LiveAcl >( aclKey, feature, acls_ );
}

Karvel::IpAclRuleData EmbeddedAclHelper::createIpAclRuleData(
      Acl::AclType type, const Acl::RuleConfig& rule, uint8_t ecnData, uint8_t ecnMask ) const {
   return { type, rule.action(), rule.ip(), ecnData, ecnMask, rule.intf() };
}

AclCreateError EmbeddedAclHelper::createIpAclRule( KarvelAclData& acl, uint32_t unit,
      uint32_t ruleNum, uint32_t subRuleNum, const Karvel::IpAclRuleData& rule,
      const Zol::String& name ) {
   LiveAcl& of = live( acl );
   Karvel::AclEntryList& entries = acl.unitDataIs( unit )->entries();
   return noted(
         of, unit, onChip( of, unit ).ipRule( ruleNum, subRuleNum, rule, name, entries ) );
}

AclCreateError EmbeddedAclHelper::createMacAclRule( KarvelAclData& acl, uint32_t unit,
      uint32_t ruleNum, uint32_t subRuleNum, const Acl::RuleConfig& rule,
      const Zol::String& name ) {
   LiveAcl& of = live( acl );
   Karvel::AclEntryList& entries = acl.unitDataIs( unit )->entries();
   return noted(
         of, unit, onChip( of, unit ).macRule( ruleNum, subRuleNum, rule, name, entries ) );
}

AclCreateError EmbeddedAclHelper::updateAclPortsInUnits( KarvelAclData& acl ) {
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

AclCreateError EmbeddedAclHelper::commitAcl( KarvelAclData& acl, uint32_t unit ) {
   LiveAcl& of = live( acl );
   const AclCreateError error = noted( of, unit, onChip( of, unit ).commit() );
   if ( error == Ixo::aclCreateErrorNone() ) {
      problems_[ { acl.feature(), acl.aclKey(), unit } ].error = error;
   }
   acl.unitDataIs( unit )->committedIs( error == Ixo::aclCreateErrorNone() );
   return error;
}

void EmbeddedAclHelper::aclProblemIs(
      KarvelAclData& acl, uint32_t unit, AclCreateError error ) {
   noted( live( acl ), unit, error );
}

void EmbeddedAclHelper::withdrawAcl( KarvelAclData& acl ) {
   live( acl ).withdraw();
   std::erase_if( problems_, [ & ]( const auto& row ) {
      return std::get< Ixo::AclKey >( row.first ) == acl.aclKey() &&
            row.second.error == Ixo::aclCreateErrorNone();
   } );
}

LiveAcl& EmbeddedAclHelper::live( KarvelAclData& acl ) const {
   ZOL_ASSERT( typeid( acl ) == typeid( LiveAcl ) );
   return static_cast< LiveAcl& >( acl );
}

ChipAcl& EmbeddedAclHelper::onChip( LiveAcl& acl, uint32_t unit ) {
   if ( ChipAcl* present = acl.onChip( unit ) ) {
      return *present;
   }
   const auto known = units_.find( unit );
   ZOL_ASSERT( known != units_.end() );
   return acl.onChipIs( known->second );
}

// --- For reports ---------------------------------------------------------------------------

AclCreateError EmbeddedAclHelper::noted(
      const LiveAcl& acl, uint32_t unit, AclCreateError error ) {
   Problem& problem = problems_[ { acl.feature(), acl.aclKey(), unit } ];
   // Kept also after a success: whoever changes entries on the way tells its own error last.
   const RefusalNote note( problem.refusal );
   if ( error != Ixo::aclCreateErrorNone() ) {
      problem.error = error;
   }
   return error;
}

AclCreateError EmbeddedAclHelper::problem(
      uint32_t unit, KarvelAclFeature feature, const Ixo::AclKey& aclKey ) const {
   const auto at = problems_.find( { feature, aclKey, unit } );
   return at == problems_.end() ? Ixo::aclCreateErrorNone() : at->second.error;
}

LastRefusal EmbeddedAclHelper::refusal(
      uint32_t unit, KarvelAclFeature feature, const Ixo::AclKey& aclKey ) const {
   const auto at = problems_.find( { feature, aclKey, unit } );
   return at == problems_.end() ? LastRefusal() : at->second.refusal;
}

std::vector< Zol::Ptr< const KarvelAclData > > EmbeddedAclHelper::acls() const {
   return { acls_->all.begin(), acls_->all.end() };
}

ZOL_DEFINE_ENTITY( EmbeddedAclHelper );

} // namespace AgentServices
