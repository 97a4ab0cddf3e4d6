// What is programmed chip-wide: switch controls, memories, header-insertion profiles, each field by
// name, and who wrote it when.

#include "Agent/Reports/AgentReports.h"

namespace Agent {

namespace {

using ChipModel::ChipState;

Cell writer( const ChipModel::WriteStamp& stamp ) {
   return stamp.writer.empty() ? Cell( Value(), "(reset)" ) : Cell( stamp.writer );
}

Cell time( const ChipModel::WriteStamp& stamp ) {
   return stamp.writer.empty() ? Cell() : secondsCell( stamp.seconds );
}

bool isTrunkMap( Shim::Memory memory ) {
   return memory == Shim::SOURCE_TRUNK_MAP_MODBASEm ||
         memory == Shim::SOURCE_TRUNK_MAP_TABLEm || memory == Shim::ING_DEVICE_PORTm;
}

void addMemories( const ChipState& chip, Report& memories, Report& trunkMap ) {
   for ( const ChipModel::MemoryEntryView& entry : chip.memories ) {
      Report& report = isTrunkMap( entry.memory ) ? trunkMap : memories;
      for ( const auto& [ field, value ] : entry.fields ) {
         report.rows.push_back(
               { int64_t( chip.unit ), std::string( Shim::memoryNames[ entry.memory ] ),
                     int64_t( entry.index ), std::string( Shim::memFieldNames[ field ] ),
                     int64_t( value ), writer( entry.stamp ), time( entry.stamp ) } );
      }
   }
}

// An entry that inserts nothing takes one line.
void addProfiles( const ChipState& chip, Report& report ) {
   for ( const ChipModel::LogicalEntryView& entry : chip.insertProfiles ) {
      auto add = [ & ]( const Cell& field, uint64_t value ) {
         report.rows.push_back(
               { int64_t( chip.unit ), std::string( ChipModel::LogicalTables::insertProfiles ),
                     int64_t( entry.index ), field, static_cast< int64_t >( value ),
                     writer( entry.stamp ), time( entry.stamp ) } );
      };
      if ( entry.isReset() ) {
         add( { Value(), "(all)" }, 0 );
         continue;
      }
      for ( const auto& [ field, value ] : entry.fields ) {
         add( std::string( field ), value );
      }
   }
}

} // namespace

std::vector< Report > settingReports( Runtime& runtime ) {
   Report controls{ "switch controls", { "chip", "control", "value", "writer", "time" }, {},
      "no chip has any" };
   const std::vector< std::string > columns{ "chip", "memory", "entry", "field", "value",
      "writer", "time" };
   Report memories{ "encapsulation memories", columns, {}, "none is written" };
   Report profiles{ "header insertion", columns, {}, "no profile is written" };
   Report trunkMap{ "source-trunk map", columns, {}, "nothing is written" };
   for ( int unit : runtime.units() ) {
      const ChipState chip = runtime.chips().control().state( unit );
      for ( size_t i = 0; i < chip.switchControls.size(); ++i ) {
         const auto& setting = chip.switchControls[ i ];
         controls.rows.push_back( { int64_t( unit ),
               std::string( Shim::switchControlNames[ i ] ), int64_t( setting.value ),
               writer( setting.stamp ), time( setting.stamp ) } );
      }
      addMemories( chip, memories, trunkMap );
      addProfiles( chip, profiles );
   }
   return { controls, memories, profiles, trunkMap };
}

Report queuesReport( Runtime& runtime ) {
   Report report{ "queues", { "chip", "port", "queue", "packets", "bytes" }, {},
      "nothing was sent" };
   for ( int unit : runtime.units() ) {
      const ChipState chip = runtime.chips().control().state( unit );
      for ( const ChipModel::PortState& port : chip.ports ) {
         for ( size_t queue = 0; queue < port.counters.queues.size(); ++queue ) {
            const ChipModel::FrameCount& count = port.counters.queues[ queue ];
            if ( count.packets != 0 ) {
               report.rows.push_back( { int64_t( unit ), runtime.portName( unit, port.port ),
                     static_cast< int64_t >( queue ), static_cast< int64_t >( count.packets ),
                     static_cast< int64_t >( count.bytes ) } );
            }
         }
      }
   }
   return report;
}

} // namespace Agent
