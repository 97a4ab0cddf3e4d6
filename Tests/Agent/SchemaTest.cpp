// The rows of the configuration's fields, against those who read them and what documents them.

#include <set>
#include <sstream>

#include "Agent/Configuration/Fields.h"
#include "Agent/Configuration/Schema.h"
#include "Agent/Slices/SessionOutcome.h"
#include "Tests/Agent/ConfigurationBed.h"

namespace Agent {
namespace {

using Texts = std::vector< std::string >;

class SchemaTest : public ConfigurationBed {
 protected:
   // Of each table with fields that are checked one by one, an entry that is read as a whole.
   struct Sample {
      std::string key;
      std::map< std::string, std::string > fields{};
   };
   static const Sample& sample( const std::string& table ) {
      static const std::map< std::string, Sample > samples{
         { "CHIP", { "0" } },
         { "PORT", { "E24" } },
         { "PORTCHANNEL", { "PortChannel2" } },
         { "VLAN", { "Vlan30" } },
         { "VLAN_MEMBER", { "Vlan10|E4" } },
         { "FDB", { "Vlan10|02:00:00:00:00:0a", { { "port", "E0" } } } },
         { "STATIC_ROUTE", { "10.2.0.0/16", { { "ifname", "E16" } } } },
         { "NEIGH", { "E16|10.0.0.9" } },
         { "DEVICE_METADATA", { "localhost" } },
         { "POLICER", { "p", { { "meter_type", "bytes" }, { "mode", "sr_tcm" } } } },
         { "ACL_TABLE", { "T", { { "type", "L3" } } } },
         { "ACL_RULE", { "T|R", { { "PRIORITY", "1" } } } },
         { "MIRROR_SESSION",
               { "m",
                     { { "src_ip", "10.0.0.1" }, { "dst_ip", "10.0.0.2" },
                           { "src_port", "E0" } } } },
      };
      return samples.at( table );
   }
   // What is said about the table's sample with this field.
   Texts errorsWith(
         const TableSchema& table, const FieldSchema& field, const std::string& value ) {
      const Sample& entry = sample( table.name );
      std::string text = "\"" + std::string( field.name ) + "\": \"" + value + "\"";
      for ( const auto& [ name, other ] : entry.fields ) {
         text += name == field.name ? "" : ", \"" + name + "\": \"" + other + "\"";
      }
      std::string beside; // the table of an ACL's rule
      if ( &table == &schema().aclRule ) {
         const auto types = splitList( field.onlyFor );
         beside =
               R"("ACL_TABLE|T": {"type": ")" + ( types.empty() ? "L3" : types[ 0 ] ) + "\"}, ";
      }
      Texts errors;
      for ( const Diagnostic& error :
            load( with( beside + "\"" + table.name + "|" + entry.key + "\": {" + text + "}" ) )
                  .errors ) {
         errors.push_back( error.text );
      }
      return errors;
   }
};

TEST_F( SchemaTest, EveryFieldIsReadWithinItsLimitsAndRefusedBeyondThem ) {
   int count = 0;
   for ( const TableSchema* table : schema().tables ) {
      for ( const FieldSchema* field : table->fields ) {
         if ( field->allowed.empty() ) {
            continue;
         }
         ++count;
         Texts wrong{ "no such thing", "" };
         if ( field->range ) {
            const auto above = static_cast< uint64_t >( field->range->high ) + 1;
            wrong.push_back( std::to_string( field->range->low - 1 ) );
            wrong.push_back( std::to_string( above ) );
            for ( int64_t limit : { field->range->low, field->range->high } ) {
               for ( const std::string& error :
                     errorsWith( *table, *field, std::to_string( limit ) ) ) {
                  EXPECT_EQ( error.find( field->allowed ), std::string::npos ) << error;
               }
            }
         }
         for ( const std::string& value : wrong ) {
            if ( table->name == "STATIC_ROUTE" && value.empty() ) {
               continue; // the place of a next hop that has the default
            }
            const std::string expected = table->name + "|" + sample( table->name ).key + ": " +
                  std::string( field->name ) + ": '" + value + "'; allowed: " + field->allowed;
            const Texts errors = errorsWith( *table, *field, value );
            EXPECT_EQ( errors.size(), 1u ) << expected;
            EXPECT_TRUE( !errors.empty() && errors[ 0 ].starts_with( expected ) ) << expected;
         }
      }
   }
   EXPECT_GT( count, 65 );
}

TEST_F( SchemaTest, TheDocumentationHasARowForEveryFieldAndNoOther ) {
   std::set< std::string > missing;
   for ( const TableSchema* table : schema().tables ) {
      const bool isRule = table == &schema().aclRule;
      const bool isSession = table == &schema().session;
      for ( const FieldSchema* field : table->fields ) {
         const std::string scope( !field->onlyFor.empty() ? field->onlyFor
                     : isRule                             ? "all"
                                                          : "both" );
         missing.insert( "| `" + std::string( field->name ) + "` | " + field->allowed +
               std::string( field->doc ) + " | " + std::string( field->byDefault ) + " |" +
               ( isRule || isSession ? " " + scope + " |" : "" ) );
      }
   }
   std::istringstream lines( contentOf( KARVEL_SOURCE_DIR "/Docs/configuration.md" ) );
   for ( std::string line; std::getline( lines, line ); ) {
      if ( !line.starts_with( "| `" ) || line.starts_with( "| `KarvelMirror" ) ) {
         continue;
      }
      const size_t end = line.find( " |", 2 ); // of the names: fields that differ in no more
      for ( const std::string& name : splitList( line.substr( 2, end - 2 ) ) ) {
         EXPECT_EQ( missing.erase( "| " + name + line.substr( end ) ), 1u ) << name << line;
      }
   }
   EXPECT_EQ( missing, std::set< std::string >() );
}

} // namespace
TEST( SessionCauses, AreAllExplainedInTheDocumentation ) {
   const std::string page = contentOf( KARVEL_SOURCE_DIR "/Docs/diagnostics.md" );
   for ( const SessionCauseRow& row : sessionCauses() ) {
      EXPECT_EQ( &rowOf( row.cause ), &row );
      const size_t at = page.find( "| `" + std::string( row.name ) + "` | " );
      ASSERT_NE( at, std::string::npos ) << row.name;
      const std::string line = page.substr( at, page.find( '\n', at ) - at );
      EXPECT_NE( line.find( row.text ), std::string::npos ) << line;
   }
}

} // namespace Agent
