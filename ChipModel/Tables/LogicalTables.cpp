#include "ChipModel/Tables/LogicalTables.h"

#include <algorithm>

namespace ChipModel {

using Shim::Rc;
using Shim::Sdk;

namespace {

constexpr LogicalField profileFields[] = {
   { "INSERT_0_VALID", 1 },
   { "INSERT_1_VALID", 1 },
   { "INSERT_0_NUM_INS_HDR_ID", 2 },
   { "INSERT_1_NUM_INS_HDR_ID", 2 },
   { "HDR_ID_LIST_0_HDR_ID", 4 },
   { "HDR_ID_LIST_1_HDR_ID", 4 },
   { "HDR_ID_LIST_0_HDR_SIZE", 7 },
   { "HDR_ID_LIST_1_HDR_SIZE", 7 },
   { "HDR_ID_LIST_0_INS_COMMAND_NUM", 2 },
   { "HDR_ID_LIST_1_INS_COMMAND_NUM", 2 },
   { "INSERT_0_ENGINE_ID", 5 },
};
constexpr uint64_t encapsulationHeader = 1; // HDR_ID: what lies in the encapsulation buffer
constexpr uint64_t mirrorEngine = 13;       // ENGINE_ID: the one that knows that buffer

} // namespace

std::span< const LogicalField > LogicalTables::fields() { return profileFields; }

Rc LogicalTables::find( std::string_view table ) const {
   if ( !profile_.logicalTables ) {
      return Sdk::QX_BCM_E_UNAVAIL();
   }
   return table == insertProfiles ? Sdk::QX_BCM_E_NONE() : Sdk::QX_BCM_E_NOT_FOUND();
}

Rc LogicalTables::check( std::string_view field, uint64_t value ) {
   if ( field == indexField ) {
      return value < entries ? Sdk::QX_BCM_E_NONE() : Sdk::QX_BCM_E_PARAM();
   }
   const auto found = std::ranges::find( profileFields, field, &LogicalField::name );
   if ( found == std::end( profileFields ) ) {
      return Sdk::QX_BCM_E_NOT_FOUND();
   }
   return value >> found->width == 0 ? Sdk::QX_BCM_E_NONE() : Sdk::QX_BCM_E_PARAM();
}

Rc LogicalTables::commit( const Fields& fields ) {
   const auto index = std::ranges::find(
         fields.rbegin(), fields.rend(), indexField, &Fields::value_type::first );
   if ( index == fields.rend() ) {
      return Sdk::QX_BCM_E_PARAM();
   }
   Row& row = rows_[ static_cast< int >( index->second ) ];
   for ( const auto& [ name, value ] : fields ) {
      if ( name != indexField ) {
         row.values[ name ] = value;
      }
   }
   row.stamp = context_.stamp();
   ++version_;
   return Sdk::QX_BCM_E_NONE();
}

uint64_t LogicalTables::valueOf( const Row& row, std::string_view field ) {
   const auto found = row.values.find( field );
   return found == row.values.end() ? 0 : found->second;
}

HeaderInsertion LogicalTables::insertion( int profile ) const {
   HeaderInsertion result;
   const auto found = rows_.find( profile );
   if ( found == rows_.end() ||
         valueOf( found->second, "INSERT_0_ENGINE_ID" ) != mirrorEngine ) {
      return result;
   }
   for ( size_t i = 0; i < result.pieces.size(); ++i ) {
      const std::string number = std::to_string( i );
      const auto value = [ & ]( const std::string& before, const std::string& after ) {
         return valueOf( found->second, before + number + after );
      };
      if ( value( "INSERT_", "_VALID" ) == 1 && value( "INSERT_", "_NUM_INS_HDR_ID" ) == 1 &&
            value( "HDR_ID_LIST_", "_HDR_ID" ) == encapsulationHeader ) {
         const uint64_t bytes = std::min< uint64_t >(
               value( "HDR_ID_LIST_", "_HDR_SIZE" ), HeaderInsertion::pieceBytes );
         result.pieces[ i ] = { static_cast< uint32_t >(
                                      value( "HDR_ID_LIST_", "_INS_COMMAND_NUM" ) ),
            static_cast< uint32_t >( bytes ) };
      }
   }
   return result;
}

std::vector< LogicalEntryView > LogicalTables::view() const {
   std::vector< LogicalEntryView > views;
   for ( const auto& [ index, row ] : rows_ ) {
      LogicalEntryView view{ index, {}, row.stamp };
      for ( const LogicalField& field : profileFields ) {
         view.fields.emplace_back( field.name, valueOf( row, field.name ) );
      }
      views.push_back( std::move( view ) );
   }
   return views;
}

} // namespace ChipModel
