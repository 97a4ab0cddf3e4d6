#include "PluginMounters/Slice/Egress/EfpSm.h"

#include "Platform/Duolog/Duolog.h"
#include "Platform/KarvelMirror/Features.h"

namespace KarvelMirror::Slice {

namespace {

Duolog::Handle trace( "EfpSm" );

} // namespace

Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager > getFeatureEntryMgr(
      Zol::Ptr< Karvel::KarvelTcamGroupManager > tcamManager,
      TcamFeature::EfpFeature feature ) {
   switch ( feature ) {
   case TcamFeature::EfpFeature::efpGreRateLimit:
      return tcamManager->boundedEntryManager( greRateLimitFeature );
   case TcamFeature::EfpFeature::efpPortRateLimit:
      return tcamManager->boundedEntryManager( portRateLimitFeature );
   default:
      return nullptr;
   }
}

EfpSm::EfpSm( uint32_t unit, Zol::Ptr< EfpConfigColl > efpConfig,
      Zol::Ptr< const EfpSmConfigColl > efpSmConfig, Zol::Ptr< const EfpStatusColl > efpStatus,
      Zol::Ptr< EfpSmStatusColl > efpSmStatus,
      Zol::Ptr< Karvel::KarvelTcamGroupManager > tcamManager )
      : unit_( unit ), efpConfig_( efpConfig ), efpSmConfig_( efpSmConfig ),
        efpStatus_( efpStatus ), efpSmStatus_( efpSmStatus ), tcamManager_( tcamManager ) {}

void EfpSm::doInit() {
   react< &EfpSm::handleEfpStatus, EfpStatusColl::Attr::status >( efpStatus() );
   follow< &EfpSm::handleEfpSmConfig, EfpSmConfigColl::Attr::config >( efpSmConfig() );
}

void EfpSm::doCleanup() {
   for ( const EfpKey& key : featureSm().keys() ) {
      deleteFeature( key.feature() );
   }
   efpConfig()->configDelAll();
}

void EfpSm::handleEfpSmConfig( const EfpKey& key ) {
   const TcamFeature::EfpFeature feature = key.feature();
   const bool add = efpSmConfig()->configHas( key );
   DUOLOG_IN(
         trace, 1, "EfpSm::handleEfpSmConfig", " EfpFeature: " << feature << " add: " << add );
   // The feature watches one configuration entity; another one in its place is another feature.
   if ( Zol::Ptr< const EfpFeatureSm > present = featureSm( key );
         present && add && present->efpSmConfig() == efpSmConfig()->config( key ) ) {
      return;
   }
   deleteFeature( feature );
   if ( !add ) {
      efpConfig()->configDel( feature );
      return;
   }
   efpConfig()->configIs( feature );
   if ( efpStatus()->statusHas( feature ) ) {
      handleEfpStatus( feature );
   }
}

void EfpSm::handleEfpStatus( TcamFeature::EfpFeature feature ) {
   const bool add = efpStatus()->statusHas( feature );
   DUOLOG_IN(
         trace, 1, "EfpSm::handleEfpStatus", " EfpFeature: " << feature << " add: " << add );
   const EfpKey key( feature );
   if ( !add || !efpSmConfig()->configHas( key ) ) {
      deleteFeature( feature );
   } else if ( !featureSmHas( key ) ) {
      addFeature( feature );
   }
}

void EfpSm::addFeature( TcamFeature::EfpFeature feature ) {
   const EfpKey key( feature );
   Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager > entryManager = getEntryManager( feature );
   if ( !entryManager ) {
      return;
   }
   Zol::Ptr< EfpSmStatus > status = efpSmStatus()->statusIs( key );
   featureSmIs( key, EfpFeatureSm::Context{ unit(), tcamManager(), entryManager },
         efpSmConfig()->config( key ), status, efpConfig()->configIs( feature ),
         efpStatus()->status( feature ) );
}

void EfpSm::deleteFeature( TcamFeature::EfpFeature feature ) {
   featureSmDel( EfpKey( feature ) );
   efpSmStatus()->statusDel( EfpKey( feature ) );
}

Zol::Ptr< Karvel::KarvelBoundedTcamEntryManager > EfpSm::getEntryManager(
      TcamFeature::EfpFeature feature ) const {
   return getFeatureEntryMgr( tcamManager(), feature );
}

ZOL_DEFINE_ENTITY( EfpFeatureSm );
ZOL_DEFINE_ENTITY( EfpSm );

} // namespace KarvelMirror::Slice
