#pragma once

// The tables of a config_db.json in one form, whichever of three forms the file has:
//
//    { "PORT": { "Ethernet0": { "lanes": "1" } } }                nested
//    { "ANY_NAME": { "PORT": { "Ethernet0": { ... } } } }         nested under one more
//    name { "PORT|Ethernet0": { "lanes": "1" } }                       flat
//
// A list is an array or text with commas and becomes text with commas; "field@", the mark
// of a list in flat files, is "field". Numbers and booleans become their text. An entry may
// also be wrapped as dumps of the database have it, { "type": "hash", "value": { ... } }. Only
// the tables that the agent reads are looked into.

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Agent/Configuration/Configuration.h"

namespace Agent {

struct Field {
   std::string name;
   std::string text;
   Place place;
};

struct Entry {
   std::vector< Field > fields; // as written; no name twice
   Place place;

   const Field* find( std::string_view name ) const;     // null if there is none
   std::string_view text( std::string_view name ) const; // empty if there is none
};

using Table = std::map< std::string, Entry >;

struct Tables {
   std::map< std::string, Table > tables; // those that the agent reads
   std::set< std::string > ignored;       // the names of the others, but for:
   std::vector< Diagnostic > warnings{};  // tables whose names are nearly those of ours
   bool isIncomplete = false; // a table could not be read, so references into it mean nothing
   // Duplicate rules. In tables of the kinds that the agent leaves alone nothing is
   // an error, and which these are is not known before ACL_TABLE is read.
   struct RepeatedRule {
      std::string key;
      Diagnostic error;
   };
   std::vector< RepeatedRule > repeatedRules{};
};

// Where an entry is named: "PORT|Ethernet0".
struct EntryName {
   std::string table;
   std::string key;
   std::string toString() const { return table + "|" + key; }
};

// "PORT|Ethernet0" in its two parts; the key is empty if there is no '|'.
EntryName entryName( const std::string& tableAndKey );

// The tables of a whole file. What is wrong is appended to `errors`.
Tables parseTables(
      const std::string& text, const std::string& file, std::vector< Diagnostic >& errors );

// The file's text; errors as above.
std::string readConfigFile(
      const std::string& path, size_t mostBytes, std::vector< Diagnostic >& errors );

// One entry from a JSON object; all of it stands at `place`.
Entry parseEntry( const EntryName& name, const std::string& json, const Place& place,
      std::vector< Diagnostic >& errors );

} // namespace Agent
