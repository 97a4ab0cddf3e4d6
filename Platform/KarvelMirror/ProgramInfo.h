#pragma once

// What the central agents publish about mirroring, and what the slices answer.

#include "Platform/Acl/AclType.h"
#include "Platform/KarvelMirror/Mtp.h"
#include "Platform/KarvelMirror/TunnelParameters.h"
#include "Platform/KarvelTypes/KarvelPort.h"
#include "Platform/LogicalFap/LogicalFapId.h"
#include "Platform/Plix/IntfId.h"
#include "Platform/Plix/IpAddr.h"
#include "Platform/Zol/Entity.h"
#include "Platform/Zol/Enum.h"
#include "Platform/Zol/Value.h"

namespace KarvelMirror {

ZOL_ENUM( Direction, uint8_t, ( none, 0 ), ( ingress, 1 ), ( egress, 2 ) );

// A port whose traffic is mirrored: module and logical port, or a link aggregation.
class SourcePort : public Zol::Value {
   ZOL_VALUE( KarvelMirror, SourcePort, ( VAL, uint32_t, modId ), ( VAL, int32_t, port ),
         ( VAL, int32_t, trunk, -1 ) ); // -1: this is a port

 public:
   SourcePort() = default;
   static SourcePort ofPort( uint32_t modId, int32_t port ) {
      SourcePort source;
      source.modIdIs( modId );
      source.portIs( port );
      return source;
   }
   static SourcePort ofTrunk( int32_t trunk ) {
      SourcePort source;
      source.trunkIs( trunk );
      return source;
   }
   bool isTrunk() const { return trunk() >= 0; }
};

// An ACL that filters a destination's traffic.
class AclKey : public Zol::Value {
   ZOL_VALUE(
         KarvelMirror, AclKey, ( VAL, Zol::String, aclName ), ( VAL, Acl::AclType, aclType ) );
};

// The interfaces whose traffic one ACL filters.
class AclPorts : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, AclPorts, Zol::Entity, ( CONST, AclKey, aclKey ),
         ( SET, Plix::IntfId, intf ),      // ports as a whole
         ( SET, Plix::IntfId, subIntf ) ); // ports with one outer VLAN

 public:
   explicit AclPorts( const AclKey& aclKey ) : aclKey_( aclKey ) {}
};

// IPv4 traffic by its addresses; a mask of zero does not match on the address.
class IpMatch : public Zol::Value {
   ZOL_VALUE( KarvelMirror, IpMatch, ( VAL, Plix::IpAddr, srcIp ),
         ( VAL, Plix::IpAddr, srcIpMask ), ( VAL, Plix::IpAddr, dstIp ),
         ( VAL, Plix::IpAddr, dstIpMask ) );
};

// A port that a destination's copies leave by.
class DstPort : public Zol::Value {
   ZOL_VALUE( KarvelMirror, DstPort, ( VAL, KarvelTypes::KarvelPort, port ),
         ( VAL, int32_t, tunnelIdx, -1 ), // of the tunnel that they leave through; -1: none
         ( VAL, uint32_t, rate ) );       // limit in kilobits per second; 0: none
};

// A mirror tunnel. Its ports are known only while it is active.
class Tunnel : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, Tunnel, Zol::Entity, ( CONST, TunnelId, tunnelId ),
         ( VAL, TunnelParameters, parameters ),
         ( VAL, uint32_t, headerSize ), // bytes that stand in front of a copy; at most 128
         ( VAL, bool, active ) ); // its route is known, and the chip sends copies through it

 public:
   explicit Tunnel( TunnelId tunnelId ) : tunnelId_( tunnelId ) {}
};

// What was decided for one destination. A destination is used in one direction; a change of
// direction withdraws it and publishes it anew.
class MtpProgramInfo : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, MtpProgramInfo, Zol::Entity, ( CONST, Mtp, mtp ),
         ( SET, SourcePort, srcPort ), // an ingress link aggregation stands as its members
         ( VAL, Direction, direction ), ( VAL, bool, aclPortMirroring ), // mirrors by port
         ( SET, AclKey, acl ),                 // mirrors what these permit
         ( COLL, AclKey, AclPorts, aclPorts ), // on these interfaces
         ( SET, IpMatch, ipMatch ),            // mirrors what these match
         ( SET, Plix::IntfId, ipMatchIntf ),   // on these interfaces
         ( SET, DstPort, dstPort ),            // a link aggregation stands as its members
         ( VAL, Zol::String, session ) );      // the session it serves: for people

 public:
   explicit MtpProgramInfo( Mtp mtp ) : mtp_( mtp ) {}
};

class LogicalFapMtpProgramInfo : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, LogicalFapMtpProgramInfo, Zol::Entity,
         ( CONST, LogicalFap::LogicalFapId, logicalFap ),
         ( COLL, Mtp, MtpProgramInfo, mtpProgramInfo ), ( COLL, TunnelId, Tunnel, tunnel ) );

 public:
   explicit LogicalFapMtpProgramInfo( LogicalFap::LogicalFapId fap ) : logicalFap_( fap ) {}
};

class LogicalFapMtpProgramInfoColl : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, LogicalFapMtpProgramInfoColl, Zol::Entity,
         ( COLL, LogicalFap::LogicalFapId, LogicalFapMtpProgramInfo, lfMtpProgramInfo ) );

 public:
   explicit LogicalFapMtpProgramInfoColl( std::string_view = {} ) {}
};

// What the chip of a slice can do for mirroring.
class SliceCapability : public Zol::Entity {
   ZOL_ENTITY(
         KarvelMirror, SliceCapability, Zol::Entity, ( VAL, uint32_t, mirrorDestinations ) );

 public:
   explicit SliceCapability( std::string_view = {} ) {}
};

ZOL_ENUM( ProgramStatus, uint8_t, ( unknown, 0 ), ( success, 1 ), ( failed, 2 ),
      ( resourceExhaustion, 3 ) ); // the hardware ran out of entries

// The copies that a rate limits.
ZOL_ENUM( RateLimitKind, uint8_t, ( gre, 0 ), // copies that leave through tunnels
      ( port, 1 ) );                          // copies that leave by a port

// How programming went, per destination. A destination that has gone has no status; one without
// rules of a kind has no status of that kind.
class SliceMtpProgramStatus : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, SliceMtpProgramStatus, Zol::Entity,
         ( MAP, Mtp, ProgramStatus, programStatus ),    // port mirroring
         ( MAP, Mtp, ProgramStatus, ifpProgramStatus ), // filtered ingress mirroring
         ( MAP, RateLimitKind, ProgramStatus,
               efpProgramStatus ) ); // rates, of all destinations

 public:
   explicit SliceMtpProgramStatus( std::string_view = {} ) {}
};

namespace Slice {

// Parameters that apply to all slices.
class ParamConfig : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror::Slice, ParamConfig, Zol::Entity );

 public:
   explicit ParamConfig( std::string_view = {} ) {}
};

} // namespace Slice
} // namespace KarvelMirror
