#include "PluginMounters/Slice/Ports/TcamConfigSm.h"

#include "Platform/Duolog/Duolog.h"

namespace KarvelMirror {

namespace {

Duolog::Handle trace( "TcamConfigSm" );

} // namespace

TcamConfigSm::TcamConfigSm( KarvelTcam::FeatureType featureType,
      Zol::Ptr< KarvelTcamConfig::KarvelTcamEvents > tcamEvents,
      Zol::Ptr< Zol::Dir > tcamConfigDir, Zol::Ptr< const Zol::Dir > tcamStatusDir,
      Zol::Ptr< const KarvelCentral::FeatureAgentCommonSmData > acsd )
      : featureType_( featureType ), tcamEvents_( tcamEvents ), tcamConfigDir_( tcamConfigDir ),
        tcamStatusDir_( tcamStatusDir ), acsd_( acsd ) {}

void TcamConfigSm::doInit() {
   DUOLOG_IN( trace, 2, "TcamConfigSm::doInit" );
   if ( tcamStatusDir() ) {
      react< &TcamConfigSm::handleStatusDir, Zol::Dir::Attr::entity >( tcamStatusDir() );
      handleStatusDir( tcamEvents()->name() );
   }
}

void TcamConfigSm::handleStatusDir( const Zol::String& name ) {
   DUOLOG_IN( trace, 2, "TcamConfigSm::handleStatusDir", " name: " << name );
   if ( name != tcamEvents()->name() ) {
      return; // another slice's
   }
   auto present = Zol::dynamicCast< const Zol::Dir >( tcamStatusDir()->entity( name ) );
   if ( present == requests_ ) {
      return;
   }
   if ( requests_ ) {
      ignore( *requests_ );
   }
   requests_ = present;
   if ( requests_ ) {
      react< &TcamConfigSm::handleRequest, Zol::Dir::Attr::entity >( requests_ );
      for ( const Zol::String& request : requests_->entity().keys() ) {
         handleRequest( request );
      }
   }
}

void TcamConfigSm::handleRequest( const Zol::String& name ) {
   DUOLOG_IN( trace, 2, "TcamConfigSm::handleRequest", " name: " << name );
   if ( !requests_->entityHas( name ) ) {
      return; // the request has gone
   }
   auto status =
         Zol::dynamicCast< const KarvelTcam::RequestStatus >( requests_->entity( name ) );
   if ( !status || status->requestKey().featureType() == featureType() ) {
      handleEventRequestStatus( status );
   }
}

void TcamConfigSm::handleEventRequestStatus(
      const Zol::Ptr< const KarvelTcam::RequestStatus >& status ) {
   ZOL_ASSERT_AS( "!!status", status );
   const KarvelTcam::RequestStatusType type = status->statusType();
   DUOLOG_IN( trace, 1, "TcamConfigSm::handleEventRequestStatus",
         " Status: " << status->typeName() << '@' << status.get()
                     << ", RequestKey: " << status->requestKey() << ", StatusType: " << type );
   // The types ruled out are those of services that take no requests.
   const auto number = static_cast< unsigned >( type );
   ZOL_ASSERT_AS(
         "Unexpected RequestStatusType", number != 1 && ( number < 3 || number > 13 ) );
}

Zol::Ptr< TcamConfigSm > tcamConfigSmFactory( KarvelTcam::FeatureType featureType,
      Zol::Ptr< KarvelTcamConfig::KarvelTcamEvents > tcamEvents,
      Zol::Ptr< Zol::Dir > tcamConfigDir, Zol::Ptr< const Zol::Dir > tcamStatusDir,
      Zol::Ptr< const KarvelCentral::FeatureAgentCommonSmData > acsd ) {
   return Zol::make< TcamConfigSm >(
         featureType, tcamEvents, tcamConfigDir, tcamStatusDir, acsd );
}

ZOL_DEFINE_ENTITY( TcamConfigSm );

} // namespace KarvelMirror
