#include "PluginMounters/Slice/ChipWide/GreKeyTables.h"

#include "Platform/Shim/Sdk.h"

namespace KarvelMirror::Slice {

using namespace Shim; // the names of memories and fields

namespace {

// Lengths of GRE headers (RFC 2784). The total length of IPv4 (RFC 791) also counts the IPv4
// header; the payload length of IPv6 counts no IP header.
constexpr uint32_t plainBytes = 4;
constexpr uint32_t keyBytes = 8;
constexpr uint32_t ip4Bytes = 20;
constexpr uint32_t noFlags = 0;
constexpr uint32_t keyPresent = 0x2000;
constexpr uint32_t zeros = 0;
constexpr uint32_t keyOfTunnel = 1;

} // namespace

GreTable tomahawkGreKeyCfg() {
   return { { EGR_MIRROR_PROFILEm,
         { { 4,
                 { { GRE_HEADER_BYTESf, keyBytes }, { GRE_KEY_SELECTf, keyOfTunnel },
                       { GRE_FLAGSf, keyPresent },
                       { L3_LENGTH_ADJUSTf, ip4Bytes + keyBytes } } },
               { 6,
                     { { GRE_HEADER_BYTESf, keyBytes }, { GRE_KEY_SELECTf, keyOfTunnel },
                           { GRE_FLAGSf, keyPresent },
                           { L3_LENGTH_ADJUSTf, keyBytes } } } } } };
}

GreTable tomahawkGreCfg() {
   return { { EGR_MIRROR_PROFILEm,
         { { 4,
                 { { GRE_HEADER_BYTESf, plainBytes }, { GRE_KEY_SELECTf, zeros },
                       { GRE_FLAGSf, noFlags },
                       { L3_LENGTH_ADJUSTf, ip4Bytes + plainBytes } } },
               { 6,
                     { { GRE_HEADER_BYTESf, plainBytes }, { GRE_KEY_SELECTf, zeros },
                           { GRE_FLAGSf, noFlags }, { L3_LENGTH_ADJUSTf, plainBytes } } } } } };
}

GreTable t3x4GreKeyCfg() {
   return {
      { EGR_MIRROR_ENCAP_CONTROLm,
            { { 8, { { GRE_HEADER_BYTESf, keyBytes }, { GRE_KEY_SELECTf, keyOfTunnel } } },
                  { 9,
                        { { GRE_HEADER_BYTESf, keyBytes },
                              { GRE_KEY_SELECTf, keyOfTunnel } } } } },
      { EGR_GRE_HEADER_FORMATm, { { 2, { { GRE_FLAGSf, keyPresent } } } } },
      { EGR_TUNNEL_LENGTH_ADJUSTm,
            { { 8, { { L3_LENGTH_ADJUSTf, ip4Bytes + keyBytes } } },
                  { 9, { { L3_LENGTH_ADJUSTf, keyBytes } } } } }
   };
}

GreTable t3x4GreCfg() {
   return {
      { EGR_MIRROR_ENCAP_CONTROLm,
            { { 8, { { GRE_HEADER_BYTESf, plainBytes }, { GRE_KEY_SELECTf, zeros } } },
                  { 9, { { GRE_HEADER_BYTESf, plainBytes }, { GRE_KEY_SELECTf, zeros } } } } },
      { EGR_GRE_HEADER_FORMATm, { { 2, { { GRE_FLAGSf, noFlags } } } } },
      { EGR_TUNNEL_LENGTH_ADJUSTm,
            { { 8, { { L3_LENGTH_ADJUSTf, ip4Bytes + plainBytes } } },
                  { 9, { { L3_LENGTH_ADJUSTf, plainBytes } } } } }
   };
}

GreTable t3x1x2XgsApiV6GreKeyCfg() {
   return { { EGR_MIRROR_PROFILEm,
         { { 0,
                 { { GRE_HEADER_BYTESf, keyBytes }, { GRE_KEY_SELECTf, keyOfTunnel },
                       { GRE_FLAGSf, keyPresent },
                       { L3_LENGTH_ADJUSTf, ip4Bytes + keyBytes } } },
               { 1,
                     { { GRE_HEADER_BYTESf, keyBytes }, { GRE_KEY_SELECTf, keyOfTunnel },
                           { GRE_FLAGSf, keyPresent },
                           { L3_LENGTH_ADJUSTf, keyBytes } } } } } };
}

GreTable t3x1x2XgsApiV6GreCfg() {
   return { { EGR_MIRROR_PROFILEm,
         { { 0,
                 { { GRE_HEADER_BYTESf, plainBytes }, { GRE_KEY_SELECTf, zeros },
                       { GRE_FLAGSf, noFlags },
                       { L3_LENGTH_ADJUSTf, ip4Bytes + plainBytes } } },
               { 1,
                     { { GRE_HEADER_BYTESf, plainBytes }, { GRE_KEY_SELECTf, zeros },
                           { GRE_FLAGSf, noFlags }, { L3_LENGTH_ADJUSTf, plainBytes } } } } } };
}

GreTable t3x5x7GreKeyCfg() {
   return {
      { EGR_MIRROR_ENCAP_CONTROLm,
            { { 2,
                    { { GRE_HEADER_BYTESf, keyBytes }, { GRE_KEY_SELECTf, keyOfTunnel },
                          { GRE_FLAGSf, keyPresent } } },
                  { 3,
                        { { GRE_HEADER_BYTESf, keyBytes }, { GRE_KEY_SELECTf, keyOfTunnel },
                              { GRE_FLAGSf, keyPresent } } } } },
      { EGR_TUNNEL_LENGTH_ADJUSTm,
            { { 2, { { L3_LENGTH_ADJUSTf, ip4Bytes + keyBytes } } },
                  { 3, { { L3_LENGTH_ADJUSTf, keyBytes } } } } }
   };
}

GreTable t3x5x7GreCfg() {
   return { { EGR_MIRROR_ENCAP_CONTROLm,
                  { { 2,
                          { { GRE_HEADER_BYTESf, plainBytes }, { GRE_KEY_SELECTf, zeros },
                                { GRE_FLAGSf, noFlags } } },
                        { 3,
                              { { GRE_HEADER_BYTESf, plainBytes }, { GRE_KEY_SELECTf, zeros },
                                    { GRE_FLAGSf, noFlags } } } } },
      { EGR_TUNNEL_LENGTH_ADJUSTm,
            { { 2, { { L3_LENGTH_ADJUSTf, ip4Bytes + plainBytes } } },
                  { 3, { { L3_LENGTH_ADJUSTf, plainBytes } } } } } };
}

GreTable t3x3GreKeyCfg() {
   return {
      { EGR_MIRROR_ENCAP_CONTROLm,
            { { 4, { { GRE_HEADER_BYTESf, keyBytes }, { GRE_KEY_SELECTf, keyOfTunnel } } },
                  { 5,
                        { { GRE_HEADER_BYTESf, keyBytes },
                              { GRE_KEY_SELECTf, keyOfTunnel } } } } },
      { EGR_GRE_HEADER_FORMATm,
            { { 4, { { GRE_FLAGSf, keyPresent } } }, { 5, { { GRE_FLAGSf, keyPresent } } } } },
      { EGR_TUNNEL_LENGTH_ADJUSTm,
            { { 4, { { L3_LENGTH_ADJUSTf, ip4Bytes + keyBytes } } },
                  { 5, { { L3_LENGTH_ADJUSTf, keyBytes } } } } }
   };
}

GreTable t3x3GreCfg() {
   return {
      { EGR_MIRROR_ENCAP_CONTROLm,
            { { 4, { { GRE_HEADER_BYTESf, plainBytes }, { GRE_KEY_SELECTf, zeros } } },
                  { 5, { { GRE_HEADER_BYTESf, plainBytes }, { GRE_KEY_SELECTf, zeros } } } } },
      { EGR_GRE_HEADER_FORMATm,
            { { 4, { { GRE_FLAGSf, noFlags } } }, { 5, { { GRE_FLAGSf, noFlags } } } } },
      { EGR_TUNNEL_LENGTH_ADJUSTm,
            { { 4, { { L3_LENGTH_ADJUSTf, ip4Bytes + plainBytes } } },
                  { 5, { { L3_LENGTH_ADJUSTf, plainBytes } } } } }
   };
}

GreTable greTable( int unit, bool apply ) {
   const Sdk& sdk = *::Shim::sdk_;
   if ( sdk.QX_SOC_IS_TOMAHAWKX( unit ) ) {
      return apply ? tomahawkGreKeyCfg() : tomahawkGreCfg();
   }
   if ( sdk.QX_SOC_IS_T3X4( unit ) ) {
      return apply ? t3x4GreKeyCfg() : t3x4GreCfg();
   }
   if ( sdk.QX_SOC_IS_T3X1X2( unit ) ) {
      return apply ? t3x1x2XgsApiV6GreKeyCfg() : t3x1x2XgsApiV6GreCfg();
   }
   if ( sdk.QX_SOC_IS_T3X5X7( unit ) ) {
      return apply ? t3x5x7GreKeyCfg() : t3x5x7GreCfg();
   }
   if ( sdk.QX_SOC_IS_T3X3( unit ) ) {
      return apply ? t3x3GreKeyCfg() : t3x3GreCfg();
   }
   return {};
}

} // namespace KarvelMirror::Slice
