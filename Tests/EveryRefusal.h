#pragma once

// Does something once for each SDK call that it makes, with that call refused, and looks at what
// is left when it has been undone:
//
//    EveryRefusal every;
//    every.setUp = [ & ] { return acl = build(), &gate(); };
//    every.act = [ & ]( const auto& ) { withdraw( acl ); };
//    every.left = [ & ] { return remains(); };
//    every.ofItsCalls();

#include <gtest/gtest.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "ChipModel/Sdk/Gate.h"

struct EveryRefusal {
   using Fault = ChipModel::Fault;
   using Gate = ChipModel::Gate;
   using Refused = std::optional< Fault >; // none: everything is done
   using SdkCall = ChipModel::SdkCall;

   std::function< Gate*() > setUp; // and whose calls are refused
   std::function< void( const Refused& ) > act;
   std::function< void() > undo = [] {}; // nothing is refused any more
   std::function< std::vector< std::string >() > left;
   std::function< bool( const Fault& ) > spares = []( const Fault& ) { return false; };

   // Without effect, and done all the same. Says how many calls there are.
   size_t ofItsCalls() const {
      std::vector< Fault > faults;
      play( {}, [ &, seen = std::map< SdkCall, uint64_t >() ]( const auto& info ) mutable {
         const uint64_t nth = ++seen[ info.call ];
         faults.push_back( { .call = info.call, .first = nth, .last = nth } );
      } );
      for ( const Fault::Effect effect : { Fault::Effect::notDone, Fault::Effect::done } ) {
         for ( Fault& fault : faults ) {
            fault.effect = effect;
            if ( !spares( fault ) ) {
               play( fault );
            }
         }
      }
      return faults.size();
   }
   // The first calls of these kinds.
   void ofTheFirst( uint64_t count, const std::vector< SdkCall >& calls ) const {
      for ( const SdkCall call : calls ) {
         play( Fault{ .call = call, .last = count } );
      }
   }

 private:
   void play( const Refused& refused, const Gate::Observer& observer = {} ) const {
      SCOPED_TRACE( !refused ? "nothing refused"
                             : std::string( sdkCallName( *refused->call ) ) + " " +
                        std::to_string( refused->first ) +
                        ( refused->effect == Fault::Effect::done ? ", done" : "" ) );
      Gate& gate = *setUp();
      gate.observerIs( observer );
      if ( refused ) {
         gate.faultAdd( *refused );
      }
      act( refused );
      gate.observerIs( {} );
      gate.faultsDelAll();
      undo();
      EXPECT_EQ( left(), std::vector< std::string >() );
   }
};
