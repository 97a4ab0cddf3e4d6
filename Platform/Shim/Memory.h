#pragma once

// The chip's memories as SDK calls name them: tables of entries, each with fields of their own
// width. An entry is read whole into a buffer, its fields are changed there, and it is written
// back whole. Which memories a chip has, and how many entries, depends on its family.

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

// One list for numbers and names.
#define SHIM_MEMORIES( MEMORY )                                                                \
   MEMORY( ING_DEVICE_PORTm )          /* by port: what the chip knows of an ingress port */   \
   MEMORY( SOURCE_TRUNK_MAP_MODBASEm ) /* by module: where its part of the map begins */       \
   MEMORY( SOURCE_TRUNK_MAP_TABLEm )   /* what a frame's source port belongs to */             \
   MEMORY( ING_FLEX_EDITOR_PROFILEm )  /* where editing begins: frames as received, */         \
   MEMORY( EGR_FLEX_EDITOR_PROFILEm )  /* and as sent */                                       \
   MEMORY(                                                                                     \
         EGR_MIRROR_ENCAP_DATAm ) /* by mirror destination: what its header is filled with */  \
   MEMORY( EGR_MIRROR_ENCAP_CONTROLm ) /* how the headers of mirror tunnels are built */       \
   MEMORY( EGR_MIRROR_PROFILEm )                                                               \
   MEMORY( EGR_GRE_HEADER_FORMATm )                                                            \
   MEMORY( EGR_TUNNEL_LENGTH_ADJUSTm )

#define SHIM_MEMORY_FIELDS( FIELD )                                                            \
   FIELD( PORT_TYPEf )              /* 0 front panel, 1 loopback, 2 CPU */                     \
   FIELD( SOURCE_TRUNK_MAP_INDEXf ) /* the port's place in the source-trunk map */             \
   FIELD( BASEf )                                                                              \
   FIELD( MODULE_IDf )                                                                         \
   FIELD( OFFSETf ) /* bytes from the start of the frame */                                    \
   FIELD( GRE_KEYf )                                                                           \
   FIELD( GRE_HEADER_BYTESf ) /* of a header with a key */                                     \
   FIELD( GRE_KEY_SELECTf )   /* what stands behind its protocol: 0 zeros, 1 the key */        \
   FIELD( GRE_FLAGSf )        /* its first two bytes (RFC 2784, RFC 2890) */                   \
   FIELD( L3_LENGTH_ADJUSTf ) /* IP length field less the bytes of the mirrored frame */

namespace Shim {

#define SHIM_ENUMERATOR( name ) name,
// Unscoped: calls name them as the chip's documentation does.
enum Memory : uint8_t { SHIM_MEMORIES( SHIM_ENUMERATOR ) memoryCount };
enum MemField : uint8_t { SHIM_MEMORY_FIELDS( SHIM_ENUMERATOR ) memFieldCount };
#undef SHIM_ENUMERATOR

#define SHIM_NAME( name ) #name,
inline constexpr std::array< std::string_view, memoryCount > memoryNames{ SHIM_MEMORIES(
      SHIM_NAME ) };
inline constexpr std::array< std::string_view, memFieldCount > memFieldNames{
   SHIM_MEMORY_FIELDS( SHIM_NAME )
};
#undef SHIM_NAME

// Which copies of a memory a call means: a chip keeps one in each of its blocks.
enum MemBlock : int8_t { MEM_BLOCK_ANY = -1, MEM_BLOCK_ALL = -2 };

// One entry as it lies in the chip. What its bits mean is the SDK's business.
struct MemEntry {
   std::array< uint32_t, 4 > words{};

   bool operator==( const MemEntry& ) const = default;
};

// Chip-wide settings.
enum SwitchControl : uint8_t {
   bcmSwitchMirrorUnicastCosq,   // the CoS queue of copies of unicast frames: 0 to 7;
                                 // -1 (at reset): the queue of the frame
   bcmSwitchMirrorMulticastCosq, // the same of flooded frames
   switchControlCount,
};
inline constexpr std::array< std::string_view, switchControlCount > switchControlNames{
   "bcmSwitchMirrorUnicastCosq", "bcmSwitchMirrorMulticastCosq"
};

// CoS queues of a port.
inline constexpr int cosQueues = 8;

// Logical tables: entries are described field by field, by name, and take effect when they are
// committed. The index of an entry of a physical table is the field BCMLT_PT_INDEX.
using bcmlt_entry_handle_t = uint32_t; // 0: none
enum PtOpcode : uint8_t { BCMLT_PT_OPCODE_SET };
enum LtPriority : uint8_t { BCMLT_PRIORITY_NORMAL };

} // namespace Shim
