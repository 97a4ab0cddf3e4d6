#pragma once

// A configuration in the making: one step for each subject, in this order, since each looks
// up what the ones before have found. Steps say what is wrong and go on; what they could
// not make sense of is left out of the configuration.

#include <map>
#include <string>
#include <vector>

#include "Agent/Configuration/Configuration.h"
#include "Agent/Configuration/Fields.h"
#include "Agent/Configuration/Tables.h"
#include "ChipModel/ChipProfile.h"

namespace Agent {

struct Draft {
   const Tables& tables;
   const std::string& defaultProfile;
   Findings& findings;

   Configuration configuration;
   // What the steps look up and the configuration does not say as directly.
   std::map< std::string, int > unitByPort;            // named in a CHIP's list
   std::map< std::string, std::string > channelByPort; // of the members
   std::map< std::string, uint16_t > vlanByInterface;  // one of those it is in

   const ChipModel::ChipProfile& profileOf( int unit ) const;
   bool isInterface( const std::string& name ) const;
   // The entries of a table in the natural order of their keys; none if there is no table.
   std::vector< const Table::value_type* > entries( const std::string& table ) const;
   // Says it once, at the entry that names the missing one.
   void unknownInterface(
         EntryReader& entry, std::string_view field, const std::string& name );
};

void readChips( Draft& draft );        // CHIP
void readPorts( Draft& draft );        // PORT
void readPortChannels( Draft& draft ); // PORTCHANNEL, PORTCHANNEL_MEMBER
void readVlans( Draft& draft );        // VLAN, VLAN_MEMBER
void readFdb( Draft& draft );          // FDB
void readSessions( Draft& draft );     // MIRROR_SESSION

} // namespace Agent
