#include "PluginMounters/Slice/ChipWide/MtpTunnelConfigSm.h"

#include <algorithm>
#include <array>

#include "Platform/Duolog/Duolog.h"

namespace KarvelMirror::Slice {

namespace {

Duolog::Handle trace( "MtpTunnelConfigSm" );

constexpr uint32_t profiles = 16;
constexpr uint32_t longestInsertion = 64; // bytes
constexpr uint64_t encapsulationHeader = 1;
constexpr uint64_t mirrorEngine = 13;

constexpr const char* profileFields[] = { "INSERT_0_VALID", "INSERT_1_VALID",
   "INSERT_0_NUM_INS_HDR_ID", "INSERT_1_NUM_INS_HDR_ID", "HDR_ID_LIST_0_HDR_ID",
   "HDR_ID_LIST_1_HDR_ID", "HDR_ID_LIST_0_HDR_SIZE", "HDR_ID_LIST_1_HDR_SIZE",
   "HDR_ID_LIST_0_INS_COMMAND_NUM", "HDR_ID_LIST_1_INS_COMMAND_NUM", "INSERT_0_ENGINE_ID" };

} // namespace

MtpTunnelConfigHelper::MtpTunnelConfigHelper( uint32_t unit, uint8_t baseIndex,
      const Zol::String& table, Zol::Ptr< PtHelper > ptHelper )
      : unit_( unit ), baseIndex_( baseIndex ), table_( table ), ptHelper_( ptHelper ) {}

void MtpTunnelConfigHelper::update( const EncapHelpers& encapHelpers ) {
   TableValues empty;
   for ( const char* field : profileFields ) {
      empty.fieldsIs( field, 0 );
   }
   std::array< TableValues, profiles > entries;
   entries.fill( empty );
   for ( const auto& encapHelper : encapHelpers ) {
      for ( const auto& [ id, buffer ] : encapHelper->encapBuffer() ) {
         if ( !buffer.active() ) {
            DUOLOG_IN( trace, 4, "MtpTunnelConfigHelper::update", " skipping tunnel " << id );
            continue;
         }
         DUOLOG_IN( trace, 4, "MtpTunnelConfigHelper::update",
               " tunnel " << id << " hdrSize=" << buffer.headerSize() );
         const uint32_t idx = insertProfileOf( id );
         ZOL_ASSERT_AS( "idx < 16", idx < profiles );
         addTunnel( buffer.headerSize(), entries[ idx ] );
      }
   }
   for ( uint32_t idx = 0; idx < profiles; ++idx ) {
      entries[ idx ].fieldsIs( "BCMLT_PT_INDEX", baseIndex_ + idx );
      ptHelper_->write( unit_, table_, entries[ idx ] );
   }
}

void MtpTunnelConfigHelper::addTunnel( uint32_t headerSize, TableValues& values ) {
   const uint32_t first = std::min( headerSize, longestInsertion );
   const uint32_t rest = headerSize - first;
   const uint64_t hasRest = rest > 0 ? 1 : 0;
   values.fieldsIs( "INSERT_0_VALID", 1 );
   values.fieldsIs( "INSERT_1_VALID", hasRest );
   values.fieldsIs( "INSERT_0_NUM_INS_HDR_ID", 1 );
   values.fieldsIs( "INSERT_1_NUM_INS_HDR_ID", hasRest );
   values.fieldsIs( "HDR_ID_LIST_0_HDR_ID", encapsulationHeader );
   values.fieldsIs( "HDR_ID_LIST_1_HDR_ID", hasRest * encapsulationHeader );
   values.fieldsIs( "HDR_ID_LIST_0_HDR_SIZE", first );
   values.fieldsIs( "HDR_ID_LIST_1_HDR_SIZE", rest );
   values.fieldsIs( "HDR_ID_LIST_0_INS_COMMAND_NUM", 0 );
   values.fieldsIs( "HDR_ID_LIST_1_INS_COMMAND_NUM", hasRest );
   values.fieldsIs( "INSERT_0_ENGINE_ID", mirrorEngine );
}

MtpTunnelConfigSm::MtpTunnelConfigSm( uint32_t unit, uint8_t mirrorEditIdBase,
      const Zol::String& table, Zol::Ptr< const LogicalFapMtpProgramInfo > info,
      Zol::Ptr< PtHelper > ptHelper )
      : unit_( unit ), lfMtpProgramInfo_( info ), ptHelper_( ptHelper ),
        helper_( unit, mirrorEditIdBase, table, ptHelper ), updateClock_( *this, [ this ] {
           updateClock_.timeMinIs( Zol::never );
           update();
        } ) {}

void MtpTunnelConfigSm::doInit() {
   encapHelperIs( true, true );
   update(); // also clears what an agent before this one left
}

void MtpTunnelConfigSm::doCleanup() {
   encapHelperIs( false, false );
   helper_.update( {} );
}

void MtpTunnelConfigSm::encapHelperIs( bool ip4, bool ip6 ) {
   using Plix::AddressFamily;
   ip4EncapHelperDel();
   ip6EncapHelperDel();
   if ( ip4 ) {
      react< &MtpTunnelConfigSm::handleEncapBuffer, EncapBufferHelper::Attr::encapBuffer >(
            ip4EncapHelperIs( lfMtpProgramInfo(), AddressFamily::ipv4 ) );
   }
   if ( ip6 ) {
      react< &MtpTunnelConfigSm::handleEncapBuffer, EncapBufferHelper::Attr::encapBuffer >(
            ip6EncapHelperIs( lfMtpProgramInfo(), AddressFamily::ipv6 ) );
   }
}

void MtpTunnelConfigSm::handleEncapBuffer() {
   DUOLOG_IN( trace, 4, "MtpTunnelConfigSm::handleEncapBuffer", " unit: " << unit() );
   updateClock_.timeMinIs( Zol::activityManager().now() );
}

void MtpTunnelConfigSm::update() {
   MtpTunnelConfigHelper::EncapHelpers helpers;
   for ( const auto& helper : { ip4EncapHelper(), ip6EncapHelper() } ) {
      if ( helper ) {
         helpers.emplace_back( helper );
      }
   }
   helper_.update( helpers );
}

ZOL_DEFINE_ENTITY( MtpTunnelConfigSm );

} // namespace KarvelMirror::Slice
