#include "Agent/Slices/SliceHost.h"

#include "ChipModel/Tables/LogicalTables.h"
#include "Platform/Karvel/AclSmPluginEntity.h"
#include "Platform/KarvelCentral/Status.h"
#include "Platform/KarvelMirror/Features.h"
#include "Platform/KarvelMirror/KarvelChipAttributesMirror.h"
#include "Platform/KarvelMirror/Paths.h"
#include "Platform/Zol/TypeRegistry.h"

namespace Agent {

namespace {

KarvelCentral::ChipAttributes attributesOf( const ChipModel::Profile& profile ) {
   KarvelCentral::ChipAttributes attributes;
   attributes.chipIs( Zol::String( profile.name ) );
   attributes.loopbackTrunkMapIs( profile.loopbackPort != 0 );
   attributes.mirroringTcamHelpersIs( profile.tcamHelpers );
   attributes.newTcamInterfaceIs( profile.tcamInterface == ChipModel::TcamInterface::request );
   attributes.aclGroupIs( profile.aclGroup );
   return attributes;
}

Zol::Ptr< KarvelCentral::ChipProfile > featuresOf( const ChipModel::Profile& profile ) {
   auto mirror = Zol::make< KarvelMirror::KarvelChipAttributesMirror >();
   mirror->mirrorEditIdBaseIs( static_cast< uint8_t >( profile.mirrorEditIdBase ) );
   if ( profile.logicalTables ) {
      mirror->headerInsertionTableIs( Zol::String( ChipModel::LogicalTables::insertProfiles ) );
   }
   auto features = Zol::make< KarvelCentral::ChipProfile >( Zol::String( profile.name ) );
   features->featureIs( mirror );
   return features;
}

// Source tags stand behind the addresses of the outer header; receivers that do not know them see
// an experimental EtherType.
Karvel::SourceTag sourceTagOf( int unit ) {
   constexpr uint16_t localExperimentalType2 = 0x88b6; // IEEE 802
   constexpr uint8_t behindAddresses = 12;
   constexpr int deviceIds = 32;
   Karvel::SourceTag tag;
   tag.signatureIs( localExperimentalType2 );
   tag.deviceIdIs( static_cast< uint8_t >( unit % deviceIds ) );
   tag.offsetIs( behindAddresses );
   return tag;
}

template < typename T >
Zol::Ptr< T > makeByName( const char* typeName, const Zol::String& name ) {
   Zol::Ptr< T > made = Zol::dynamicCast< T >( Zol::TypeRegistry::make( typeName, name ) );
   ZOL_ASSERT( made && "the plug-in registers its types" );
   return made;
}

} // namespace

SliceHost::SliceHost( int unit, const ChipModel::Profile& profile, Hubdb::Store& store,
      Zol::Ptr< KarvelCentral::ChipTable > chipTable,
      Zol::Ptr< AgentServices::TcamGroupManager > groupManager )
      : unit_( unit ), profile_( profile ), name_( "slice" + std::to_string( unit ) ),
        store_( store ), entityManager_( store ),
        scsd_( Zol::make< Karvel::KarvelCommonSmData >() ), groupManager_( groupManager ),
        shared_( Zol::make< Zol::Dir >() ) {
   const auto number = static_cast< uint16_t >( unit );
   scsd_->unitIs( number );
   scsd_->chipAttributesIs( attributesOf( profile ) );
   scsd_->logicalFapIdIs( LogicalFap::LogicalFapId( number ) );
   scsd_->chipTableIs( chipTable );
   scsd_->chipProfileIs( featuresOf( profile ) );
   scsd_->karvelModIdIs( unit, number );
   scsd_->sourceTagIs( sourceTagOf( unit ) );
   for ( int port = 1; port <= profile.ports; ++port ) {
      scsd_->chipPortIs( port );
   }
   shared_->entityIs( "karvelCommon", Zol::Ptr< Zol::Entity >( scsd_ ) );
   shared_->entityIs( "tcamManager", Zol::Ptr< Zol::Entity >( groupManager ) );
   KarvelCentral::karvelAttributes()->chipAttributesIs(
         scsd_->chipAttributes().chip(), scsd_->chipAttributes() );
   makeRequestManager( groupManager );
   aclHelper_ = Zol::make< AgentServices::EmbeddedAclHelper >( groupManager );
   aclHelper_->unitIs( static_cast< uint32_t >( unit ), scsd_ );
   auto aclSm = Zol::make< Ixo::AclSm >();
   aclSm->aclHelperIs( Zol::Ptr< Karvel::AclHelper >( aclHelper_ ) );
   auto aclPlugin = Zol::make< Karvel::AclSmPluginEntity >();
   aclPlugin->aclSmIs( aclSm );
   aclPlugin->mirrorAclSupportedIs( profile.tcamHelpers );
   shared_->entityIs( "aclSmPluginEntity", Zol::Ptr< Zol::Entity >( aclPlugin ) );

   auto capability = Zol::make< KarvelMirror::SliceCapability >();
   capability->mirrorDestinationsIs( static_cast< uint32_t >( profile.mirrorDestinations ) );
   store_.entityIs(
         KarvelMirror::slicePath( KarvelMirror::sliceCapabilityPath, name_ ), capability );

   auto portTables = Zol::make< KarvelCentral::PortTabWriteRequestDir >();
   store_.entityIs( KarvelMirror::sourceTrunkMapPath( name_ ), portTables );
   portTabWriter_ = Zol::make< PortTabWriter >( unit, portTables );
   portTabWriter_->zolStart();
}

// A slice finds the paths to the manager in the store only on a chip that is programmed by requests.
void SliceHost::makeRequestManager(
      const Zol::Ptr< AgentServices::TcamGroupManager >& groupManager ) {
   auto featureCommon = Zol::make< KarvelCentral::FeatureAgentCommonSmData >();
   shared_->entityIs( "featureCommon", Zol::Ptr< Zol::Entity >( featureCommon ) );
   if ( profile_.tcamInterface != ChipModel::TcamInterface::request ) {
      return;
   }
   auto statusDir = store_.entity< Zol::Dir >( KarvelMirror::tcamStatusPath );
   if ( !statusDir ) {
      statusDir = Zol::make< Zol::Dir >();
      store_.entityIs( KarvelMirror::tcamStatusPath, statusDir );
   }
   requestManager_ = Zol::make< AgentServices::TcamRequestManager >(
         static_cast< uint32_t >( unit_ ), logicalFap(), name_, groupManager, statusDir );
   requestManager_->zolStart();
   featureCommon->tcamEventsIs( requestManager_->events() );
   featureCommon->intfProfileManagerIs( Zol::Ptr< KarvelTcam::KarvelTcamIntfProfileMgr >(
         requestManager_->intfProfileManager() ) );
}

SliceHost::~SliceHost() {
   // The directory holds the mounter, and the mounter the directory.
   shared_->entityDelAll();
   callback_ = nullptr;
   mounter_ = nullptr;
   portTabWriter_ = nullptr;
   store_.entityDel( KarvelMirror::sourceTrunkMapPath( name_ ),
         KarvelCentral::PortTabWriteRequestDir::zolTypeName() );
   store_.entityDel( KarvelMirror::slicePath( KarvelMirror::sliceMtpProgramStatusPath, name_ ),
         KarvelMirror::SliceMtpProgramStatus::zolTypeName() );
   store_.entityDel( KarvelMirror::slicePath( KarvelMirror::sliceCapabilityPath, name_ ),
         KarvelMirror::SliceCapability::zolTypeName() );
}

void SliceHost::start() {
   mounter_ = makeByName< Plugin::Mounter >( "KarvelMirror::SliceMounter", name_ );
   mounter_->sharedEntitiesIs( shared_ );
   mounter_->entityManagerIs( &entityManager_ );
   shared_->entityIs( name_, Zol::Ptr< Zol::Entity >( mounter_ ) );
   callback_ =
         makeByName< Plugin::AgentCommandCallback >( "KarvelMirror::SliceCliCallback", name_ );
   callback_->sharedEntitiesIs( shared_ );
   mounter_->doInit();
   mounter_->doMountsComplete( entityManager_.mountsComplete(), entityManager_ );
}

Zol::Ptr< const KarvelMirror::SliceMtpProgramStatus > SliceHost::programStatus() const {
   return store_.entity< KarvelMirror::SliceMtpProgramStatus >(
         KarvelMirror::slicePath( KarvelMirror::sliceMtpProgramStatusPath, name_ ) );
}

KarvelMirror::ProgramStatus SliceHost::portStatus( KarvelMirror::Mtp mtp ) const {
   using KarvelMirror::ProgramStatus;
   using KarvelTcam::RequestStatusType;
   const ProgramStatus said = programStatus()->programStatus( mtp );
   if ( !requestManager_ || said != ProgramStatus::success ) {
      return said;
   }
   switch ( requestManager_->status( KarvelMirror::featureGroup( mtp ) ) ) {
   case RequestStatusType::programmed:
   case RequestStatusType::withdrawn:
      return said; // without rules there is no request
   case RequestStatusType::reviewing:
      return ProgramStatus::unknown;
   case RequestStatusType::noRoom:
      return ProgramStatus::resourceExhaustion;
   default:
      return ProgramStatus::failed;
   }
}

void SliceHost::retryRequests() const {
   if ( requestManager_ ) {
      requestManager_->retry();
   }
}

AgentServices::LastRefusal SliceHost::portRefusal( KarvelMirror::Mtp mtp ) const {
   return requestManager_ ? requestManager_->lastRefusal( KarvelMirror::featureGroup( mtp ) )
                          : groupManager_->lastRefusal( static_cast< uint32_t >( unit_ ), mtp );
}

AgentServices::LastRefusal SliceHost::filterRefusal( KarvelMirror::Mtp mtp ) const {
   return groupManager_->lastRefusal(
         static_cast< uint32_t >( unit_ ), KarvelMirror::aclFeature( mtp ) );
}

AgentServices::LastRefusal SliceHost::egressRefusal( KarvelMirror::RateLimitKind kind ) const {
   return groupManager_->lastRefusal( static_cast< uint32_t >( unit_ ),
         kind == KarvelMirror::RateLimitKind::gre ? KarvelMirror::greRateLimitFeature
                                                  : KarvelMirror::portRateLimitFeature );
}

std::optional< SessionOutcome > SliceHost::aclProblem(
      KarvelMirror::Mtp mtp, const Ixo::AclKey& key ) const {
   const auto unit = static_cast< uint32_t >( unit_ );
   const Karvel::KarvelAclFeature feature = KarvelMirror::aclFeature( mtp );
   const Ixo::AclCreateError error = aclHelper_->problem( unit, feature, key );
   if ( error == Ixo::aclCreateErrorNone() ) {
      return {};
   }
   const bool isFull = error == Ixo::AclCreateError::aclCreateErrorTcamFull;
   const bool isPartly = error == Ixo::AclCreateError::aclCreateErrorIncomplete;
   SessionOutcome result = failedBecause( aclHelper_->refusal( unit, feature, key ),
         isFull ? SessionCause::entries : SessionCause::refusedCall );
   result.reason = "ACL " + key.aclName() +
         ( isPartly ? " is applied in part: " : " is not applied: " ) + result.reason;
   return result;
}

void SliceHost::configurationIs( const Configuration& configuration ) {
   portsAre( configuration );
   lagsAre( configuration );
}

void SliceHost::portsAre( const Configuration& configuration ) {
   std::map< KarvelTypes::KarvelPort, Zol::String > wanted;
   for ( const auto& [ name, port ] : configuration.ports ) {
      if ( port.unit == unit_ ) {
         wanted[ { static_cast< uint32_t >( unit_ ), port.chipPort } ] = name;
      }
   }
   for ( const KarvelTypes::KarvelPort& port : scsd_->karvelPortToIntf().keys() ) {
      if ( !wanted.contains( port ) ) {
         scsd_->karvelPortToIntfDel( port );
      }
   }
   for ( const Zol::String& intf : scsd_->intfToPort().keys() ) {
      auto at = configuration.ports.find( intf );
      if ( at == configuration.ports.end() || at->second.unit != unit_ ) {
         scsd_->intfToPortDel( intf );
      }
   }
   channelsAre( configuration );
   for ( const auto& [ port, intf ] : wanted ) {
      scsd_->karvelPortToIntfIs( port, intf );
      scsd_->intfToPortIs(
            intf, { unit_, static_cast< int32_t >( uint32_t( port.logicalPort() ) ) } );
   }
}

void SliceHost::channelsAre( const Configuration& configuration ) {
   std::map< KarvelTypes::KarvelPort, uint32_t > wanted;
   for ( const auto& [ name, port ] : configuration.ports ) {
      if ( port.unit == unit_ && port.channel ) {
         wanted[ { static_cast< uint32_t >( unit_ ), port.chipPort } ] =
               static_cast< uint32_t >( *port.channel );
      }
   }
   for ( const KarvelTypes::KarvelPort& port : scsd_->portType().keys() ) {
      if ( !wanted.contains( port ) ) {
         scsd_->portTypeDel( port );
         scsd_->karvelPortChannelDel( port );
      }
   }
   for ( const auto& [ port, channel ] : wanted ) {
      scsd_->karvelPortChannelIs( port, channel );
      scsd_->portTypeIs( port, Karvel::PortType::channel );
   }
}

void SliceHost::lagsAre( const Configuration& configuration ) {
   std::map< int, Zol::Set< KarvelTypes::KarvelPort > > wanted;
   for ( const auto& [ name, channel ] : configuration.portChannels ) {
      if ( channel.unit != unit_ ) {
         continue;
      }
      auto& members = wanted[ channel.trunk ];
      for ( const std::string& member : channel.members ) {
         members.insert( { static_cast< uint32_t >( unit_ ),
               configuration.ports.at( member ).chipPort } );
      }
   }
   for ( int32_t trunk : scsd_->lagPortList().keys() ) {
      if ( !wanted.contains( trunk ) ) {
         scsd_->lagPortListDel( trunk );
      }
   }
   for ( const auto& [ trunk, members ] : wanted ) {
      Zol::Ptr< Ixo::LagPortList > list = scsd_->lagPortListIs( trunk );
      const auto present = list->port();
      for ( const KarvelTypes::KarvelPort& port : present ) {
         if ( !members.contains( port ) ) {
            list->portDel( port );
         }
      }
      for ( const KarvelTypes::KarvelPort& port : members ) {
         list->portIs( port );
      }
   }
}

} // namespace Agent
