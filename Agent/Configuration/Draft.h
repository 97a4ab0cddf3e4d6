#pragma once

// A configuration in the making: one step for each subject, in this order, since each looks
// up what the ones before have found. Steps say what is wrong and go on; what they could
// not make sense of is left out of the configuration.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "Agent/Configuration/Acls.h"
#include "Agent/Configuration/ConfigTables.h"
#include "Agent/Configuration/Configuration.h"
#include "Agent/Configuration/Fields.h"
#include "Agent/Configuration/Schema.h"
#include "ChipModel/Profile.h"

namespace Agent {

// An interface as it is written: "Ethernet0", "PortChannel1", "Ethernet0.10".
struct NamedInterface {
   std::string base;    // a port or a port channel
   uint16_t vlanId = 0; // the outer VLAN of a sub-interface; 0: all of it
};

// What a POLICER asks for, as far as the chip's policers can do it.
struct PolicerDraft {
   uint32_t rateKbps = 0;               // 0: it limits nothing
   std::optional< std::string > beyond; // why the chip cannot do it
   std::string note;                    // what is worth knowing; empty: nothing
};

struct Draft {
   const Tables& tables;
   const std::string& defaultProfile;
   Findings& findings;
   // What is in force so far: what is numbered and stays keeps its number.
   const Configuration& previous;

   Configuration configuration{};
   // What the steps look up and the configuration does not say as directly.
   std::map< std::string, int > unitByPort{};            // named in a CHIP's list
   std::map< std::string, std::string > channelByPort{}; // of the members
   std::map< std::string, uint16_t > vlanByInterface{};  // one of those it is in
   AclTableDrafts acls{};
   std::map< std::string, PolicerDraft > policers{};
   // The sessions that an ACL mirrors to at egress, and a rule that asks for it.
   std::map< std::string, std::string > egressRuleBySession{};

   const ChipModel::Profile& profileOf( int unit ) const;
   bool isInterface( const std::string& name ) const;
   // Of an interface that is there; none if there is no such port, or no VLAN behind the dot.
   std::optional< NamedInterface > find( const std::string& name ) const;
   // The ports and sub-interfaces of interfaces that are there, port channels as their members;
   // none within another.
   std::vector< Plix::IntfId > interfacesOf( const std::vector< std::string >& names ) const;
   // The names in a field's list that are there; the others are errors.
   std::vector< std::string > interfaceList( EntryReader& entry, std::string_view field );
   // The entries of a table; none if there is no table.
   const Table& table( const std::string& name ) const;
   // The same in the natural order of their keys.
   std::vector< const Table::value_type* > entries( const std::string& name ) const;
   // What is said where an interface is named that is not there.
   static std::string unknownInterface( const std::string& name );
};

void readChips( Draft& draft );        // CHIP
void readPorts( Draft& draft );        // PORT
void readPortChannels( Draft& draft ); // PORTCHANNEL, PORTCHANNEL_MEMBER
void readVlans( Draft& draft );        // VLAN, VLAN_MEMBER
void readFdb( Draft& draft );          // FDB
void readAcls( Draft& draft );         // ACL_TABLE, and by the next one:
void readAclRules( Draft& draft );     // ACL_RULE
// INTERFACE, PORTCHANNEL_INTERFACE, VLAN_INTERFACE, STATIC_ROUTE, NEIGH, DEVICE_METADATA
void readRouting( Draft& draft );
void readPolicers( Draft& draft ); // POLICER
void readSessions( Draft& draft ); // MIRROR_SESSION
// What a session mirrors of its sources and of the ACLs that feed it, when its type, sources
// and destination are known. Why it cannot be served is appended to `reasons`.
void readFilters( Draft& draft, EntryReader& reader, SessionConfig& session,
      std::vector< std::string >& reasons );

} // namespace Agent
