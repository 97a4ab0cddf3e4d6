#pragma once

// Works out the egress rules of a slice from all of its destinations, and reports when programming
// them failed. Changes are collected as a backlog; a scheduled task carries them all out at once.
//
//    copies through a tunnel  ─►  efpGreRateLimit: one rule per tunnel header and port, limited
//                                 at the highest rate that is asked for the tunnel
//    other copies             ─►  efpPortRateLimit: one rule per rate, with the ports that it is
//                                 asked for; a port is limited at the highest of its rates

#include <functional>
#include <map>
#include <optional>
#include <set>

#include "Platform/Karvel/KarvelCommonSmData.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Orv/TaskScheduler.h"
#include "Platform/Zol/Sm.h"
#include "PluginMounters/Slice/Egress/EfpStatus.h"

namespace KarvelMirror::Slice {

class MtpEfpConfigSm;

// The kinds of work that are pending.
class MtpEfpBacklog : public Zol::Value {
 public:
   ZOL_NESTED_ENUM( BacklogType, uint8_t, ( recompute, 0 ) );
   ZOL_VALUE( KarvelMirror::Slice, MtpEfpBacklog, ( SET, BacklogType, backlog ) );
};

// Watches the destination ports of one destination.
class MtpEfpInfoSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, MtpEfpInfoSm, Zol::EntitySm, ( CONST, Mtp, mtp ),
         ( CONST, Zol::Ptr< const MtpProgramInfo >, mtpProgramInfo ) );

 public:
   // The configuration machine owns this one, and so outlives it.
   MtpEfpInfoSm( Mtp mtp, Zol::Ptr< const MtpProgramInfo > info, MtpEfpConfigSm& configSm )
         : mtp_( mtp ), mtpProgramInfo_( info ), configSm_( configSm ) {}

 private:
   void doInit() override;
   void handleDstPort( const DstPort& dstPort );

   MtpEfpConfigSm& configSm_;
};

// Watches one tunnel.
class MtpEfpTunnelSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, MtpEfpTunnelSm, Zol::EntitySm,
         ( CONST, TunnelId, tunnelId ), ( CONST, Zol::Ptr< const Tunnel >, tunnel ) );

 public:
   // The configuration machine owns this one, and so outlives it.
   MtpEfpTunnelSm( TunnelId id, Zol::Ptr< const Tunnel > tunnel, MtpEfpConfigSm& configSm )
         : tunnelId_( id ), tunnel_( tunnel ), configSm_( configSm ) {}

 private:
   void doInit() override;
   void handleChange();

   MtpEfpConfigSm& configSm_;
};

// Watches what became of one feature's rules. Its status entity is made after it, and may be made
// anew.
class MtpEfpStatusSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, MtpEfpStatusSm, Zol::EntitySm, ( CONST, EfpKey, key ),
         ( CONST, Zol::Ptr< const EfpSmConfig >, efpSmConfig ),
         ( CONST, Zol::Ptr< const EfpSmStatusColl >, efpSmStatusColl ),
         ( CONST, Zol::Ptr< SliceMtpProgramStatus >, programStatus ),
         ( VAL, Zol::Ptr< const EfpSmStatus >, efpSmStatus ) );

 public:
   MtpEfpStatusSm( const EfpKey& key, Zol::Ptr< const EfpSmConfig > efpSmConfig,
         Zol::Ptr< const EfpSmStatusColl > efpSmStatusColl,
         Zol::Ptr< SliceMtpProgramStatus > programStatus )
         : key_( key ), efpSmConfig_( efpSmConfig ), efpSmStatusColl_( efpSmStatusColl ),
           programStatus_( programStatus ) {}

 private:
   void doInit() override;
   void doCleanup() override;
   void handleEfpSmStatus( const EfpKey& key );
   void handleUpdateId();
   bool hasRate() const;
};

// What the outer headers of the copies of one or several sessions have in common.
struct OuterHeader {
   Plix::IpGenAddr srcIp;
   Plix::IpGenAddr dstIp;
   uint8_t dscp = 0;

   auto operator<=>( const OuterHeader& ) const = default;
};
struct GreTunnelUse {
   std::set< KarvelTypes::KarvelPort > ports;
   std::set< uint32_t, std::greater<> > rates;
};
using GreTunnelMap = std::map< OuterHeader, GreTunnelUse >;

// Turns program information into rules.
class MtpEfpHelper {
 public:
   MtpEfpHelper( Zol::Ptr< const LogicalFapMtpProgramInfo > mtpInfoConfig,
         Zol::Ptr< EfpSmConfigColl > efpSmConfigColl,
         Zol::Ptr< const Karvel::KarvelCommonSmData > scsd )
         : mtpInfoConfig_( mtpInfoConfig ), efpSmConfigColl_( efpSmConfigColl ), scsd_( scsd ) {
   }

   // Writes the rules of all destinations, and a fresh update id for each feature.
   void updateEfp();

 private:
   // The rate of every port; a port may have several destinations.
   using PortRates = std::map< KarvelTypes::KarvelPort, uint32_t >;

   void addDstPort( const DstPort& dstPort, GreTunnelMap& grePorts, PortRates& portRates );
   Zol::Ptr< const Tunnel > activeTunnel( const DstPort& dstPort ) const;
   uint32_t addPortRateLimitRules( const PortRates& portRates );

   Zol::Ptr< const LogicalFapMtpProgramInfo > mtpInfoConfig_;
   Zol::Ptr< EfpSmConfigColl > efpSmConfigColl_;
   Zol::Ptr< const Karvel::KarvelCommonSmData > scsd_;
};

// Completes a generation of `count` rules, numbered from 0: removes those above and gives it a
// fresh update id, or deletes the feature's configuration if there is no rule.
void updateFeatureConfig( Zol::Ptr< EfpSmConfigColl > efpSmConfigColl,
      TcamFeature::EfpFeature feature, uint32_t count );

// One rule for each port of each tunnel that is limited or tagged; returns how many. Of IPv6
// tunnels there are none: the rules match IPv4 headers.
uint32_t addEfpGreRateLimitRules( Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
      Zol::Ptr< EfpSmConfigColl > efpSmConfigColl, const GreTunnelMap& grePorts );

class MtpEfpConfigSm : public Zol::EntitySm {
   ZOL_ENTITY( KarvelMirror::Slice, MtpEfpConfigSm, Zol::EntitySm, ( CONST, uint32_t, unit ),
         ( CONST, Zol::Ptr< const LogicalFapMtpProgramInfo >, mtpInfoConfig ),
         ( CONST, Zol::Ptr< EfpSmConfigColl >, efpSmConfigColl ),
         ( CONST, Zol::Ptr< const EfpSmStatusColl >, efpSmStatusColl ),
         ( CONST, Zol::Ptr< SliceMtpProgramStatus >, programStatus ),
         ( CONST, Zol::Ptr< const Karvel::KarvelCommonSmData >, scsd ),
         ( CONST, Zol::Ptr< Orv::TaskScheduler >, scheduler ), ( VAL, bool, initialized ),
         ( VAL, MtpEfpBacklog, backlog ), ( COLL, Mtp, MtpEfpInfoSm, mtpSm ),
         ( COLL, TunnelId, MtpEfpTunnelSm, tunnelSm ),
         ( COLL, EfpKey, MtpEfpStatusSm, efpStatusSm ) );

 public:
   MtpEfpConfigSm( uint32_t unit, Zol::Ptr< const LogicalFapMtpProgramInfo > mtpInfoConfig,
         Zol::Ptr< EfpSmConfigColl > efpSmConfigColl,
         Zol::Ptr< const EfpSmStatusColl > efpSmStatusColl,
         Zol::Ptr< SliceMtpProgramStatus > programStatus,
         Zol::Ptr< const Karvel::KarvelCommonSmData > scsd,
         Zol::Ptr< Orv::TaskScheduler > scheduler );

   // Marks work as pending, and has the review scheduled.
   void backlogAdd( MtpEfpBacklog::BacklogType type );

 private:
   void doInit() override;
   void doCleanup() override;
   void handleInitialized();
   void handleMtpInfo( Mtp mtp );
   void handleTunnel( TunnelId id );
   void handlePort();
   void handleEfp( const EfpKey& key );
   void taskIs();
   void taskDel() { task_.reset(); }
   void reviewBacklog();

   MtpEfpHelper efpHelper_;
   std::optional< Orv::Task > task_; // while work is pending
};

} // namespace KarvelMirror::Slice
