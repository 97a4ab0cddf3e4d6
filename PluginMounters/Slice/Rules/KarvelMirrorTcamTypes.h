#pragma once

// What a destination wants in the TCAM, and how it went.
//
// A ProgrammingOp is built completely, then handed over by storing its pointer in the
// destination's MtpTcamHelperConfig, and never changed after that. The TCAM helper answers in
// the destination's MtpTcamHelperStatus.

#include "Platform/Karvel/RangeCheckerDesc.h"
#include "Platform/KarvelCentral/KarvelModPort.h"
#include "Platform/KarvelMirror/Mtp.h"
#include "Platform/KarvelMirror/TunnelParameters.h"
#include "Platform/Zol/Entity.h"
#include "PluginMounters/Slice/Rules/RuleData.h"

namespace KarvelMirror {

// The kind of an ACL: one byte, printed as the name alone.
class TcamAclType {
 public:
   ZOL_NESTED_ENUM( AclType, uint8_t, ( none, 0 ),
         ( port, 1 ), // port mirroring: the keys named "ingress" and "egress"
         ( mac, 2 ), ( ip, 3 ), ( ipv6, 4 ) );

   constexpr TcamAclType() = default;
   constexpr TcamAclType( AclType type ) : type_( type ) {}
   constexpr AclType value() const { return type_; }
   constexpr uint8_t number() const { return static_cast< uint8_t >( type_ ); }
   constexpr bool operator==( const TcamAclType& ) const = default;
   constexpr auto operator<=>( const TcamAclType& ) const = default;

   Zol::String toString() const { return Zol::toString( type_ ); }
   // None if there is no kind of that name.
   static std::optional< TcamAclType > fromString( std::string_view text );

 private:
   AclType type_ = AclType::none;
};

std::ostream& operator<<( std::ostream& out, const TcamAclType& type );

} // namespace KarvelMirror

template <>
struct std::hash< KarvelMirror::TcamAclType > {
   size_t operator()( const KarvelMirror::TcamAclType& type ) const { return type.number(); }
};

namespace KarvelMirror {

// An ACL by name and kind: ACLs of one name but different kinds are different keys.
class TcamAclKey : public Zol::Value {
   ZOL_VALUE( KarvelMirror, TcamAclKey, ( VAL, Zol::String, aclName ),
         ( VAL, TcamAclType, aclType ) );

 public:
   TcamAclKey() = default;
   TcamAclKey( const Zol::String& aclName, TcamAclType aclType )
         : aclName_( aclName ), aclType_( aclType ) {}
};

// Port mirroring has one ACL for each direction, told by its name.
inline const Zol::String ingressAclName = "ingress";
inline const Zol::String egressAclName = "egress";
inline bool isEgressAcl( const TcamAclKey& key ) { return key.aclName() == egressAclName; }

// What changed in one ACL since it was last programmed.
class AclOp : public Zol::Value {
   ZOL_VALUE( KarvelMirror, AclOp, ( VAL, bool, ruleChange ), ( VAL, bool, portChange ) );

 public:
   AclOp() = default;
   AclOp( bool ruleChange, bool portChange )
         : ruleChange_( ruleChange ), portChange_( portChange ) {}
};

// Under what a destination's ACL group is known to the TCAM group manager.
class KarvelMirrorAclGroupMetaData : public Zol::Value {
   ZOL_VALUE( KarvelMirror, KarvelMirrorAclGroupMetaData,
         ( VAL, int32_t, type, -1 ), // 0 IPv4, 1 IPv6, 2 MAC and ports, -1 no group
         ( VAL, bool, egress ) );

 public:
   KarvelMirrorAclGroupMetaData() = default;
   KarvelMirrorAclGroupMetaData( int32_t type, bool egress )
         : type_( type ), egress_( egress ) {}
};

// The full rule set of one ACL.
class TcamAclData : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, TcamAclData, Zol::Entity, ( CONST, TcamAclKey, aclKey ),
         ( MAP, uint32_t, RuleData, rule ) ); // by entryId

 public:
   explicit TcamAclData( const TcamAclKey& aclKey ) : aclKey_( aclKey ) {}

   // Inserts or replaces by the rule's entryId.
   void ruleIs( const RuleData& rule ) { ruleIs( rule.entryId(), rule ); }
};

// Everything that one destination programs.
class TcamGroupData : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, TcamGroupData, Zol::Entity,
         ( COLL, TcamAclKey, TcamAclData, aclData ),
         // The unions over all rules, for groups that need them to be made. Port rules have
         // neither, so both stay empty until ACLs' rules come into group data.
         ( SET, UdfQual, udf ), ( SET, Karvel::RangeCheckerDesc, rangeChecker ) );
};

// One programming request for one destination.
class ProgrammingOp : public Zol::Entity {
 public:
   ZOL_NESTED_ENUM( TcamFeature, uint8_t, ( noFeature, 0 ),
         ( egress, 1 ),                                             // port mirroring on egress
         ( ingress, 2 ),                                            // port mirroring on ingress
         ( ipIngress, 3 ), ( ipv6Ingress, 4 ), ( macIngress, 5 ) ); // filtered by ACLs

   ZOL_ENTITY( KarvelMirror, ProgrammingOp, Zol::Entity, ( VAL, TcamFeature, feature ),
         ( VAL, bool, fullReprogram ), // remove everything, program groupData from scratch
         ( MAP, TcamAclKey, AclOp, change ), ( SET, TcamAclKey, del ),
         ( OWN, TcamGroupData, groupData ) );
};

// The group meta-data of a feature; type -1 for noFeature.
KarvelMirrorAclGroupMetaData getMirroringAclData( ProgrammingOp::TcamFeature feature );

// Rate limits of one destination.
class RateLimitMtp : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, RateLimitMtp, Zol::Entity, ( CONST, Mtp, mtp ),
         ( SET, KarvelCentral::KarvelModPort, port ), ( SET, TunnelParameters, tunnel ) );

 public:
   explicit RateLimitMtp( Mtp mtp ) : mtp_( mtp ) {}
};

class MtpTcamHelperConfig : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, MtpTcamHelperConfig, Zol::Entity, ( CONST, Mtp, mtp ),
         ( VAL, Zol::Ptr< const ProgrammingOp >, programmingOp ),
         ( VAL, Zol::Ptr< const RateLimitMtp >, rateLimitData ) );

 public:
   explicit MtpTcamHelperConfig( Mtp mtp ) : mtp_( mtp ) {}
};

class MtpTcamHelperStatus : public Zol::Entity {
 public:
   ZOL_NESTED_ENUM( ProgStatus, uint8_t, ( unknown, 0 ), ( success, 1 ), ( failed, 2 ),
         ( resourceExhaustion, 3 ) ); // out of entries, counters or range checkers

   ZOL_ENTITY( KarvelMirror, MtpTcamHelperStatus, Zol::Entity, ( CONST, Mtp, mtp ),
         ( VAL, ProgStatus, programmingOp ), ( VAL, ProgStatus, rateLimitData ) );

   explicit MtpTcamHelperStatus( Mtp mtp ) : mtp_( mtp ) {}
};

class TcamHelperConfig : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, TcamHelperConfig, Zol::Entity,
         ( COLL, Mtp, MtpTcamHelperConfig, mtpHelperConfig ) );
};

class TcamHelperStatus : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror, TcamHelperStatus, Zol::Entity,
         ( COLL, Mtp, MtpTcamHelperStatus, mtpHelperStatus ) );
};

// New, empty entities, owned by the caller's pointer.
Zol::Ptr< ProgrammingOp > programmingOpFactory();
Zol::Ptr< TcamGroupData > tcamGroupDataFactory();
Zol::Ptr< TcamHelperConfig > tcamHelperConfigFactory();
Zol::Ptr< TcamHelperStatus > tcamHelperStatusFactory();

} // namespace KarvelMirror
