#include "PluginMounters/Slice/Ingress/IfpSm.h"

#include "Platform/Duolog/Duolog.h"
#include "Platform/KarvelMirror/Features.h"
#include "Platform/Zol/Assert.h"

namespace KarvelMirror::Slice {

namespace {

Duolog::Handle trace( "IfpSm" );

} // namespace

Karvel::KarvelAclFeature mtpToFeature( uint8_t mtp ) {
   ZOL_ASSERT_AS( "false && \"Invalid MTP\"", mtp < maxMtps );
   return aclFeature( Mtp( mtp ) );
}

IfpSm::IfpSm( uint32_t unit, Zol::Ptr< IfpConfigColl > ifpConfigColl,
      Zol::Ptr< const IfpSmConfigColl > ifpSmConfigColl,
      Zol::Ptr< const IfpStatusColl > ifpStatusColl,
      Zol::Ptr< IfpSmStatusColl > ifpSmStatusColl,
      Zol::Ptr< Karvel::KarvelTcamGroupManager > groupManager )
      : unit_( unit ), ifpConfigColl_( ifpConfigColl ), ifpSmConfigColl_( ifpSmConfigColl ),
        ifpStatusColl_( ifpStatusColl ), ifpSmStatusColl_( ifpSmStatusColl ),
        groupManager_( groupManager ) {}

void IfpSm::doInit() {
   react< &IfpSm::handleIfpStatus, IfpStatusColl::Attr::status >( ifpStatusColl() );
   follow< &IfpSm::handleIfpSmConfig, IfpSmConfigColl::Attr::config >( ifpSmConfigColl() );
}

void IfpSm::doCleanup() {
   for ( const IfpKey& key : featureSm().keys() ) {
      deleteFeature( key.mtp() );
   }
   ifpConfigColl()->configDelAll();
}

void IfpSm::handleIfpSmConfig( const IfpKey& key ) {
   const Mtp mtp = key.mtp();
   const bool add = ifpSmConfigColl()->configHas( key );
   DUOLOG_IN( trace, 1, "IfpSm::handleIfpSmConfig", " MTP: " << mtp << " add: " << add );
   // The feature watches one configuration entity; another one in its place is another feature.
   deleteFeature( mtp );
   if ( !add ) {
      ifpConfigColl()->configDel( mtp );
      return;
   }
   ifpConfigColl()->configIs( mtp );
   if ( ifpStatusColl()->statusHas( mtp ) ) {
      handleIfpStatus( mtp );
   }
}

void IfpSm::handleIfpStatus( Mtp mtp ) {
   const bool add = ifpStatusColl()->statusHas( mtp );
   DUOLOG_IN( trace, 1, "IfpSm::handleIfpStatus", " MTP: " << mtp << " add: " << add );
   if ( !add ) {
      deleteFeature( mtp );
   } else if ( !featureSmHas( IfpKey( mtp ) ) &&
         ifpSmConfigColl()->configHas( IfpKey( mtp ) ) ) {
      addFeature( mtp );
   }
}

void IfpSm::addFeature( Mtp mtp ) {
   const IfpKey key( mtp );
   auto entryManager = getEntryManager( mtp );
   DUOLOG_IN( trace, 2, "IfpSm::handleIfpStatus", " em " << entryManager.get() );
   groupManager()->groupMirroringAclDataIs( unit(), mtpToFeature( mtp.value() ), {} );
   Zol::Ptr< IfpSmStatus > smStatus = ifpSmStatusColl()->statusIs( key );
   featureSmIs( key, ifpConfigColl()->configIs( mtp ), ifpSmConfigColl()->config( key ),
         ifpStatusColl()->status( mtp ), smStatus, unit(), entryManager, groupManager() );
}

void IfpSm::deleteFeature( Mtp mtp ) {
   featureSmDel( IfpKey( mtp ) );
   ifpSmStatusColl()->statusDel( IfpKey( mtp ) );
}

Zol::Ptr< Karvel::KarvelUnboundedTcamEntryManager > IfpSm::getEntryManager( Mtp mtp ) {
   DUOLOG_IN( trace, 2, "IfpSm::getEntryManager", " MTP: " << mtp );
   return groupManager()->mirroringAclEntryManager( unit(), mtpToFeature( mtp.value() ) );
}

ZOL_DEFINE_ENTITY( IfpFeatureSm );
ZOL_DEFINE_ENTITY( IfpSm );

} // namespace KarvelMirror::Slice
