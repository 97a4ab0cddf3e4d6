#pragma once

// From JSON files and script steps to a Configuration.
//
//    ConfigSource source;
//    LoadResult result = source.load( "config_db.json", defaultProfile );
//    if ( !result.errors.empty() ) { print them, apply nothing }
//
// The source keeps the tables as they were written, so that single entries can be set and
// deleted later; every change is validated with all the rest before it takes effect.
// What is numbered (ports, port channels) keeps its number from one configuration to the next,
// and a list of ACL rules that says the same stays the same object.

#include <memory>

#include "Agent/Configuration/Configuration.h"

namespace Agent {

struct LoadResult {
   Configuration configuration;      // not to be used if there are errors
   std::vector< Diagnostic > errors; // in the order of their places
   // What is not served as written, sessions that are refused above all; after a step, only
   // what has not been said before.
   std::vector< Diagnostic > warnings;
   // Tables that the agent does not read, by name.
   std::vector< std::string > ignoredTables;
};

constexpr size_t defaultConfigLimitMb = 256;

class ConfigSource {
 public:
   ConfigSource();
   ~ConfigSource();
   ConfigSource( ConfigSource&& ) noexcept;
   ConfigSource& operator=( ConfigSource&& ) noexcept;

   // The profile of chips that do not name one ("--chip"); a name that ChipModel knows.
   void defaultProfileIs( const std::string& profile );

   // The most that is read of a file.
   void mostBytesIs( size_t bytes );

   // Reads a file in any of the three shapes of the convention. With errors, what was
   // loaded before stays.
   LoadResult load( const std::string& path );
   // The same for a running agent, whose chips are fixed: an error if they would be others.
   LoadResult reload( const std::string& path );
   // Sets one entry ("PORT|Ethernet0", "VLAN_MEMBER|Vlan10|Ethernet0") to the fields of a
   // JSON object. With errors, nothing has changed.
   LoadResult set(
         const std::string& tableAndKey, const std::string& json, const Place& place );
   // Deletes one entry; an error if there is none, or if others need it.
   LoadResult del( const std::string& tableAndKey, const Place& place );

 private:
   struct State;
   std::unique_ptr< State > state_;
};

} // namespace Agent
