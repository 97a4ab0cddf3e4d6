#include "ChipModel/LeftIn.h"

namespace ChipModel {

namespace {

// Set once for the whole chip, whether anything is mirrored or not.
bool isSetAtStart( Shim::Memory memory ) {
   switch ( memory ) {
   case Shim::ING_FLEX_EDITOR_PROFILEm:
   case Shim::EGR_FLEX_EDITOR_PROFILEm:
   case Shim::SOURCE_TRUNK_MAP_MODBASEm:
   case Shim::SOURCE_TRUNK_MAP_TABLEm:
   case Shim::ING_DEVICE_PORTm:
      return true;
   default:
      return false;
   }
}

} // namespace

std::vector< std::string > leftIn( const ChipState& chip ) {
   std::vector< std::string > left;
   auto add = [ & ]( const std::string& what, int64_t number, const std::string& name = "" ) {
      left.push_back( "chip " + std::to_string( chip.unit ) + ": " + what + " " +
            std::to_string( number ) + ( name.empty() ? "" : " '" + name + "'" ) );
   };
   for ( const auto& entry : chip.entries ) {
      add( "TCAM entry", entry.id, entry.name );
   }
   for ( const auto& group : chip.groups ) {
      add( "TCAM group", group.id );
   }
   for ( const auto& policer : chip.policers ) {
      add( "policer", policer.id );
   }
   for ( const auto& range : chip.ranges ) {
      add( "range checker", range.id );
   }
   for ( const auto& mirror : chip.mirrorDestinations ) {
      if ( mirror.value ) {
         add( "mirror destination", mirror.destination );
      }
   }
   for ( const auto& vlan : chip.vlans ) {
      add( "VLAN", vlan.vid );
   }
   for ( const auto& trunk : chip.trunks ) {
      add( "trunk", trunk.trunk );
   }
   for ( const auto& address : chip.l2Addresses ) {
      if ( address.isStatic ) {
         left.push_back(
               "chip " + std::to_string( chip.unit ) + ": address " + address.mac.toString() );
      }
   }
   for ( const auto& entry : chip.memories ) {
      if ( !entry.isReset && !isSetAtStart( entry.memory ) ) {
         add( std::string( Shim::memoryNames[ entry.memory ] ) + " entry", entry.index );
      }
   }
   for ( const auto& entry : chip.insertProfiles ) {
      if ( !entry.isReset() ) {
         add( std::string( LogicalTables::insertProfiles ) + " entry", entry.index );
      }
   }
   return left;
}

} // namespace ChipModel
