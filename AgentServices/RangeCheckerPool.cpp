#include "AgentServices/RangeCheckerPool.h"

#include <algorithm>

#include "Platform/Karvel/SdkCall.h"
#include "Platform/Zol/Assert.h"

namespace AgentServices {

using Karvel::RangeCheckerDesc;
using Shim::Rc;
using Shim::Sdk;

namespace {

Duolog::Handle trace( "RangeCheckerPool" );

constexpr Zol::Seconds tidyInterval = 1; // until a refused destroy is tried again

} // namespace

RangeCheckerPool::RangeCheckerPool( uint32_t unit )
      : unit_( static_cast< int >( unit ) ), tidyClock_( *this, [ this ] { tidy(); } ) {}

std::optional< int > RangeCheckerPool::acquire( const RangeCheckerDesc& range ) {
   const auto present = checkers_.find( range );
   if ( present != checkers_.end() ) {
      ++present->second.users;
      return present->second.id;
   }
   if ( isFull_ ) {
      return {};
   }
   const auto what = static_cast< Shim::FieldRange >( range.rangeFlags() );
   int id = 0;
   // Having none left is an answer and no error, and so is having none at all.
   const Rc rc = KARVEL_SDK_CALL_AS(
         quiet, trace, bcm_field_range_create, ( unit_, what, range.min(), range.max(), &id ) );
   if ( rc != Sdk::QX_BCM_E_NONE() ) {
      isFull_ = rc == Sdk::QX_BCM_E_RESOURCE() || rc == Sdk::QX_BCM_E_FULL() ||
            rc == Sdk::QX_BCM_E_UNAVAIL();
      return {};
   }
   checkers_.emplace( range, Checker{ id, 1 } );
   return id;
}

void RangeCheckerPool::release( const RangeCheckerDesc& range ) {
   const auto present = checkers_.find( range );
   ZOL_ASSERT( present != checkers_.end() && present->second.users > 0 );
   if ( --present->second.users == 0 ) {
      tidy();
   }
}

void RangeCheckerPool::tidy() {
   tidyClock_.timeMinIs( Zol::never );
   std::erase_if( checkers_, [ this ]( const auto& each ) {
      const Checker& checker = each.second;
      if ( checker.users > 0 ) {
         return false;
      }
      const int id = checker.id;
      const Rc rc = KARVEL_SDK_CALL( trace, bcm_field_range_destroy, ( unit_, id ) );
      if ( rc != Sdk::QX_BCM_E_NONE() && rc != Sdk::QX_BCM_E_NOT_FOUND() ) {
         tidyClock_.timeMinIs( Zol::activityManager().now() + tidyInterval );
         return false;
      }
      isFull_ = false;
      return true;
   } );
}

std::optional< int > HeldCheckers::acquire( const RangeCheckerDesc& range ) {
   for ( const auto& [ held, id ] : held_ ) {
      if ( held == range ) {
         return id;
      }
   }
   const std::optional< int > id = checkers_.acquire( range );
   if ( id ) {
      held_.emplace_back( range, *id );
   }
   return id;
}

void HeldCheckers::releaseDownTo( size_t count ) {
   while ( held_.size() > count ) {
      checkers_.release( held_.back().first );
      held_.pop_back();
   }
}

} // namespace AgentServices
