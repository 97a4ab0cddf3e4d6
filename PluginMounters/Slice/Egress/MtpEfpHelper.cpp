#include "Platform/Duolog/Duolog.h"
#include "PluginMounters/Slice/Egress/SliceMtpEfpConfigSm.h"

namespace KarvelMirror::Slice {

namespace {

Duolog::Handle trace( "MtpEfpHelper" );

using KarvelTypes::KarvelPort;

constexpr uint8_t greProtocol = 47; // IANA protocol numbers
constexpr uint8_t protocolMask = 0xff;
constexpr uint8_t dscpMask = 0x3f;
const Plix::IpAddr hostMask( 0xffffffff );

EfpActions sourceTag( const Karvel::KarvelCommonSmData& scsd, const KarvelPort& port ) {
   ZOL_ASSERT_AS( "channelId", scsd.karvelPortChannelHas( port ) );
   const Karvel::SourceTag& tag = scsd.sourceTag();
   EfpActions actions;
   actions.svtagEnableIs( true );
   actions.svtagSignatureIs( tag.signature() );
   actions.svtagPrioIs( tag.prio() );
   actions.svtagDeviceIdIs( tag.deviceId() );
   actions.svtagOffsetIs( tag.offset() );
   actions.svtagChannelIdIs( scsd.karvelPortChannel( port ) );
   return actions;
}

// The outer header of the copies.
EfpQuals tunnelQuals( const OuterHeader& header ) {
   EfpQuals quals;
   quals.ipTypeIs( Plix::AddressFamily::ipv4 );
   quals.srcIpIs( header.srcIp );
   quals.srcIpMaskIs( hostMask );
   quals.dstIpIs( header.dstIp );
   quals.dstIpMaskIs( hostMask );
   quals.protocolIs( greProtocol );
   quals.protocolMaskIs( protocolMask );
   quals.dscpIs( header.dscp );
   quals.dscpMaskIs( dscpMask );
   return quals;
}

} // namespace

void MtpEfpHelper::updateEfp() {
   DUOLOG_IN( trace, 1, "MtpEfpHelper::updateEfp" );
   GreTunnelMap grePorts;
   PortRates portRates;
   for ( Mtp mtp : mtpInfoConfig_->mtpProgramInfo().keys() ) {
      for ( const DstPort& dstPort : mtpInfoConfig_->mtpProgramInfo( mtp )->dstPort() ) {
         addDstPort( dstPort, grePorts, portRates );
      }
   }
   updateFeatureConfig( efpSmConfigColl_, TcamFeature::EfpFeature::efpPortRateLimit,
         addPortRateLimitRules( portRates ) );
   if ( addEfpGreRateLimitRules( scsd_, efpSmConfigColl_, grePorts ) == 0 ) {
      updateFeatureConfig( efpSmConfigColl_, TcamFeature::EfpFeature::efpGreRateLimit, 0 );
   }
}

void MtpEfpHelper::addDstPort(
      const DstPort& dstPort, GreTunnelMap& grePorts, PortRates& portRates ) {
   DUOLOG_IN( trace, 2, "MtpEfpHelper::updateEfp", " port: " << dstPort.port() );
   const bool isGre = dstPort.tunnelIdx() >= 0;
   const Zol::Ptr< const Tunnel > tunnel = isGre ? activeTunnel( dstPort ) : nullptr;
   if ( isGre && !tunnel ) {
      return;
   }
   DUOLOG_IN( trace, 2, "MtpEfpHelper::updateEfp",
         " tunnel with id: " << dstPort.tunnelIdx()
                             << ( isGre ? " added to gre ports" : " added to non gre ports" ) );
   if ( dstPort.rate() == 0 ) {
      DUOLOG_IN( trace, 2, "MtpEfpHelper::updateEfp", " port without rate limit applied" );
   }
   if ( tunnel ) {
      const TunnelParameters& header = tunnel->parameters();
      GreTunnelUse& use = grePorts[ {
            header.srcIp(), header.dstIp(), static_cast< uint8_t >( header.dscp() ) } ];
      use.ports.insert( dstPort.port() );
      if ( dstPort.rate() != 0 ) {
         use.rates.insert( dstPort.rate() );
      }
   } else if ( dstPort.rate() != 0 ) {
      uint32_t& rate = portRates[ dstPort.port() ];
      rate = std::max( rate, dstPort.rate() );
   }
}

Zol::Ptr< const Tunnel > MtpEfpHelper::activeTunnel( const DstPort& dstPort ) const {
   const auto id = static_cast< uint8_t >( dstPort.tunnelIdx() );
   Zol::Ptr< const Tunnel > tunnel = mtpInfoConfig_->tunnel( TunnelId( id ) );
   if ( !tunnel || !tunnel->active() ) {
      DUOLOG_IN( trace, 2, "MtpEfpHelper::updateEfp",
            " tunnel with tunnelId: " << dstPort.tunnelIdx()
                                      << ( tunnel ? " not yet active " : " not active" ) );
      return nullptr;
   }
   return tunnel;
}

uint32_t MtpEfpHelper::addPortRateLimitRules( const PortRates& portRates ) {
   std::map< uint32_t, EfpRuleData > byRate;
   for ( const auto& [ port, rate ] : portRates ) {
      byRate[ rate ].outPortIs( port );
   }
   uint32_t count = 0;
   for ( auto& [ rate, rule ] : byRate ) {
      rule.entryIdIs( count++ );
      rule.rateIs( rate );
      rule.ruleDescIs( EfpRuleDesc::portRateLimit );
      efpSmConfigColl_->configIs( EfpKey( TcamFeature::EfpFeature::efpPortRateLimit ) )
            ->rulesIs( rule );
   }
   return count;
}

uint32_t addEfpGreRateLimitRules( Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
      Zol::Ptr< EfpSmConfigColl > efpSmConfigColl, const GreTunnelMap& grePorts ) {
   constexpr auto feature = TcamFeature::EfpFeature::efpGreRateLimit;
   uint32_t count = 0;
   for ( const auto& [ header, use ] : grePorts ) {
      if ( header.srcIp.family() != Plix::AddressFamily::ipv4 ) {
         continue;
      }
      const uint32_t rate = use.rates.empty() ? 0 : *use.rates.begin();
      DUOLOG_IN( trace, 2, "EfpMtpHelper::addEfpGreRateLimitRules",
            " numRates: " << use.rates.size() << " rate selected: " << rate );
      for ( const KarvelPort& port : use.ports ) {
         const Karvel::PortType portType = scsd->portType( port );
         DUOLOG_IN( trace, 2, "EfpMtpHelper::addEfpGreRateLimitRules",
               " adding rule for modId: " << port.modId() << " portId: " << port.port()
                                          << " portType: " << portType );
         EfpRuleData rule( count );
         if ( portType == Karvel::PortType::channel ) {
            rule.efpActionsIs( sourceTag( *scsd, port ) );
         } else if ( rate == 0 ) {
            continue; // neither tagged nor limited
         }
         rule.outPortIs( port );
         rule.efpQualsIs( tunnelQuals( header ) );
         rule.rateIs( rate );
         rule.ruleDescIs( rate != 0 ? EfpRuleDesc::efpGreRateLimit : EfpRuleDesc::efpGre );
         efpSmConfigColl->configIs( EfpKey( feature ) )->rulesIs( rule );
         ++count;
      }
   }
   if ( count > 0 ) {
      updateFeatureConfig( efpSmConfigColl, feature, count );
   }
   return count;
}

void updateFeatureConfig( Zol::Ptr< EfpSmConfigColl > efpSmConfigColl,
      TcamFeature::EfpFeature feature, uint32_t count ) {
   DUOLOG_IN( trace, 2, "MtpEfpHelper::updateFeatureConfig",
         " feature: " << feature << " count: " << count );
   const EfpKey key( feature );
   Zol::Ptr< EfpSmConfig > config = efpSmConfigColl->config( key );
   if ( !config ) {
      return;
   }
   // Numbers have no gaps: the highest is one less than how many there are.
   for ( auto last = static_cast< uint32_t >( config->rules().size() ); last > count; --last ) {
      config->rulesDel( last - 1 );
   }
   if ( count > 0 ) {
      config->updateIdIs( Orv::UniqueId::fresh() );
   } else {
      efpSmConfigColl->configDel( key );
   }
}

} // namespace KarvelMirror::Slice
