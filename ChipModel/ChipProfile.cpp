#include "ChipModel/ChipProfile.h"

#include <algorithm>

namespace ChipModel {

namespace {

constexpr ChipProfile profiles[] = {
   {
         .name = "trident3",
         .description = "top-of-rack switch, port classes",
         .tomahawkFamily = false,
         .aclGroup = true,
         .tcamHelpers = true,
         .tcamInterface = TcamInterface::direct,
         .ports = 128,
         .ingressEntries = 18432,
         .egressEntries = 2048,
         .groupsPerStage = 12,
         .portClassBits = 32,
         .rangeCheckers = 32,
         .policers = 1024,
         .mirrorDestinations = 4,
         .trunks = 128,
         .trunkMembers = 64,
         .l2Addresses = 98304,
   },
   {
         .name = "trident2",
         .description = "top-of-rack switch, no port classes",
         .tomahawkFamily = false,
         .aclGroup = false,
         .tcamHelpers = true,
         .tcamInterface = TcamInterface::direct,
         .ports = 104,
         .ingressEntries = 4096,
         .egressEntries = 1024,
         .groupsPerStage = 10,
         .portClassBits = 0,
         .rangeCheckers = 24,
         .policers = 512,
         .mirrorDestinations = 4,
         .trunks = 128,
         .trunkMembers = 32,
         .l2Addresses = 65536,
   },
   {
         .name = "tomahawk",
         .description = "spine switch, no port classes",
         .tomahawkFamily = true,
         .aclGroup = false,
         .tcamHelpers = true,
         .tcamInterface = TcamInterface::direct,
         .ports = 128,
         .ingressEntries = 3072,
         .egressEntries = 1024,
         .groupsPerStage = 12,
         .portClassBits = 0,
         .rangeCheckers = 16,
         .policers = 512,
         .mirrorDestinations = 4,
         .trunks = 256,
         .trunkMembers = 64,
         .l2Addresses = 8192,
   },
   {
         .name = "tomahawk3",
         .description = "large spine switch, port classes, TCAM by request",
         .tomahawkFamily = true,
         .aclGroup = true,
         .tcamHelpers = true,
         .tcamInterface = TcamInterface::request,
         .ports = 160,
         .ingressEntries = 6144,
         .egressEntries = 2048,
         .groupsPerStage = 12,
         .portClassBits = 32,
         .rangeCheckers = 16,
         .policers = 1024,
         .mirrorDestinations = 4,
         .trunks = 256,
         .trunkMembers = 64,
         .l2Addresses = 8192,
   },
   {
         .name = "helix5",
         .description = "access switch, port classes, TCAM by request",
         .tomahawkFamily = false,
         .aclGroup = true,
         .tcamHelpers = true,
         .tcamInterface = TcamInterface::request,
         .ports = 64,
         .ingressEntries = 2048,
         .egressEntries = 512,
         .groupsPerStage = 8,
         .portClassBits = 32,
         .rangeCheckers = 24,
         .policers = 256,
         .mirrorDestinations = 4,
         .trunks = 128,
         .trunkMembers = 8,
         .l2Addresses = 32768,
   },
   {
         .name = "helix4",
         .description = "small access switch without TCAM helpers: it mirrors nothing",
         .tomahawkFamily = false,
         .aclGroup = false,
         .tcamHelpers = false,
         .tcamInterface = TcamInterface::direct,
         .ports = 52,
         .ingressEntries = 1024,
         .egressEntries = 256,
         .groupsPerStage = 4,
         .portClassBits = 0,
         .rangeCheckers = 16,
         .policers = 0,
         .mirrorDestinations = 4,
         .trunks = 64,
         .trunkMembers = 8,
         .l2Addresses = 16384,
   },
};

} // namespace

std::span< const ChipProfile > chipProfiles() { return profiles; }

const ChipProfile* chipProfile( std::string_view name ) {
   auto found = std::find_if( std::begin( profiles ), std::end( profiles ),
         [ name ]( const ChipProfile& profile ) { return profile.name == name; } );
   return found == std::end( profiles ) ? nullptr : found;
}

} // namespace ChipModel
