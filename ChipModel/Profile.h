#pragma once

// What distinguishes one chip from another, as data. Families differ here, in the shim's query
// methods, and in how their memories describe GRE headers with keys (Tables/GreFormats.h).

#include <cstdint>
#include <span>
#include <string_view>

namespace ChipModel {

enum class TcamInterface : uint8_t { direct, request };

// Which chips send GRE keys, and how.
enum class GreKeys : uint8_t {
   none,     // not at all
   inserted, // headers are inserted as they are, keys with them
   // Headers are built field by field; see GreFormats.h. One for each layout of the memories.
   t3x4,     // trident3-x4
   t3x1x2,   // trident3-x2
   t3x5x7,   // trident3
   t3x3,     // helix5
   tomahawk, // all that are called so
};

struct Profile {
   std::string_view name;        // what a user writes: "tomahawk3"
   std::string_view description; // one line
   bool tomahawkFamily = false;
   bool aclGroup = false;    // ingress ports carry class bits that entries can match
   bool tcamHelpers = false; // mirroring uses TCAM helpers; without them it mirrors nothing
   TcamInterface tcamInterface = TcamInterface::direct;
   int ports = 0;          // front-panel ports, numbered from 1; 0 is the CPU; below 256
   int ingressEntries = 0; // TCAM entries of the ingress stage, all groups together
   int egressEntries = 0;
   int groupsPerStage = 0;
   int portClassBits = 0; // 0 without aclGroup
   int rangeCheckers = 0; // of layer-4 ports; at most 32
   int policers = 0;
   int mirrorDestinations = 0;
   int trunks = 0;       // trunk ids 0 to trunks - 1
   int trunkMembers = 0; // members of one trunk at the most
   int l2Addresses = 0;
   GreKeys greKeys = GreKeys::none;
   bool flexEditor = false;    // where editing begins is programmed
   bool logicalTables = false; // headers are inserted by profiles of a logical table
   int mirrorEditIdBase = 0;   // the first profile that is mirroring's, 1 to 48
   int loopbackPort = 0;       // of the chip itself, in the source-trunk map; 0: none
};

// All profiles, in the order in which they are shown.
std::span< const Profile > chipProfiles();
// By name; none if there is no such profile.
const Profile* chipProfile( std::string_view name );

} // namespace ChipModel
