// Qualifiers, actions and what frames offer, for programs: objects of typed values.

#include <algorithm>

#include "Agent/Reports/FieldText.h"
#include "Agent/Reports/FieldWords.h"
#include "ChipModel/Fields/FieldNames.h"

namespace Agent {

namespace {

using ChipModel::ChipState;
using ChipModel::FieldRow;
using ChipModel::QualifierValue;
using ChipModel::TextStyle;

Value rangesValue( const ChipState& chip, uint32_t bits ) {
   Value::List list;
   for ( const ChipModel::RangeView& range : chip.ranges ) {
      if ( range.bit & bits ) {
         list.emplace_back(
               Value::Object{ { "of", std::string( ChipModel::rangeName( range.what ) ) },
                     { "min", range.min }, { "max", range.max } } );
      }
   }
   return list;
}

Value qualifierValue(
      const Runtime& runtime, const ChipState& chip, const QualifierValue& value ) {
   const FieldRow& row = ChipModel::fieldRow( value.qualifier );
   Value::Object object{ { "qualifier", std::string( row.name ) } };
   auto add = [ & ]( const char* key, Value member ) {
      object.emplace_back( key, std::move( member ) );
   };
   auto addMasked = [ & ]( Value data, Value mask ) {
      add( "value", std::move( data ) );
      add( "mask", std::move( mask ) );
   };
   auto names = [ & ]( const Shim::PortBitmap& ports ) {
      return portNames( runtime, chip.unit, ports );
   };
   switch ( row.style ) {
   case TextStyle::ports:
      add( "ports", names( value.ports ) );
      break;
   case TextStyle::portClass:
      addMasked( value.data[ 0 ], value.mask[ 0 ] );
      add( "ports",
            names( FieldWords::portsOfClass( chip, value.data[ 0 ], value.mask[ 0 ] ) ) );
      break;
   case TextStyle::port: // behind its module, if the qualifier has that too
      add( "ports",
            std::vector< std::string >{
                  runtime.portName( chip.unit, static_cast< int >( value.data.back() ) ) } );
      break;
   case TextStyle::trunk:
      add( "trunk", trunkName( runtime, chip.unit, static_cast< int >( value.data[ 0 ] ) ) );
      break;
   case TextStyle::ipType:
      add( "value",
            std::string( ChipModel::ipTypeName( { value.data[ 0 ], value.mask[ 0 ] } ) ) );
      break;
   case TextStyle::fragment:
      add( "value",
            std::string( ChipModel::ipFragName( { value.data[ 0 ], value.mask[ 0 ] } ) ) );
      break;
   case TextStyle::ip4:
   case TextStyle::ip6:
   case TextStyle::mac:
      addMasked( FieldWords::address( value.data ), FieldWords::address( value.mask ) );
      break;
   case TextStyle::ranges:
      add( "ranges", rangesValue( chip, value.data[ 0 ] ) );
      break;
   case TextStyle::mirrorCopy:
      add( "value", value.data[ 0 ] != 0 );
      break;
   case TextStyle::decimal:
   case TextStyle::hex:
   case TextStyle::dscp:
   case TextStyle::protocol:
   case TextStyle::icmp:
      addMasked( value.data[ 0 ], value.mask[ 0 ] );
      break;
   }
   return object;
}

Value actionValue(
      const Runtime& runtime, const ChipState& chip, const ChipModel::ActionValue& action ) {
   auto copy = [ & ]( const char* name, uint32_t mirror ) {
      return Value::Object{ { "action", name }, { "mirror", mirror },
         { "target", mirrorTarget( runtime, chip, mirror ) } };
   };
   switch ( action.action ) {
   case Shim::FieldAction::mirrorIngress:
      return copy( "copy as received", action.param1 );
   case Shim::FieldAction::mirrorIngressTo:
      return copy( "copy as received", action.param0 );
   case Shim::FieldAction::mirrorEgress:
      return copy( "copy as sent", action.param1 );
   default:
      return Value::Object{ { "action", std::string( ChipModel::actionName( action.action ) ) },
         { "value", action.param0 } };
   }
}

} // namespace

Cell qualifierCell(
      const Runtime& runtime, const ChipState& chip, const QualifierValue& value ) {
   return { qualifierValue( runtime, chip, value ), qualifierText( runtime, chip, value ) };
}

Cell matchCell(
      const Runtime& runtime, const ChipState& chip, const ChipModel::EntryView& entry ) {
   Value::List list;
   for ( const QualifierValue& value : entry.qualifiers ) {
      if ( !FieldWords::isAny( value ) ) {
         list.push_back( qualifierValue( runtime, chip, value ) );
      }
   }
   return { list, matchText( runtime, chip, entry ) };
}

Cell actionsCell( const Runtime& runtime, const ChipState& chip,
      const std::vector< ChipModel::ActionValue >& actions ) {
   Value::List list;
   for ( const ChipModel::ActionValue& action : actions ) {
      list.push_back( actionValue( runtime, chip, action ) );
   }
   return { list, actionsText( runtime, chip, actions ) };
}

Cell frameCell( const Runtime& runtime, const ChipState& chip, Shim::Qualifier qualifier,
      const ChipModel::LookupKey& key ) {
   const FieldRow& row = ChipModel::fieldRow( qualifier );
   return { FieldWords::isOffered( row, key )
            ? qualifierValue( runtime, chip, FieldWords::frameValue( row, key ) )
            : Value(),
      frameText( runtime, chip, qualifier, key ) };
}

Value headersValue(
      const Runtime& runtime, const ChipState& chip, const ChipModel::LookupKey& key ) {
   Value::List list;
   for ( const FieldRow& row : ChipModel::fieldCatalogue ) {
      if ( row.place.isParsed && row.style != TextStyle::ranges &&
            FieldWords::isOffered( row, key ) ) {
         list.push_back( qualifierValue( runtime, chip, FieldWords::frameValue( row, key ) ) );
      }
   }
   return list;
}

} // namespace Agent
