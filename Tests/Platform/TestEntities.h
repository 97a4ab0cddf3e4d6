#pragma once

// Entities and a watching machine for the framework's tests.

#include <functional>
#include <string>
#include <vector>

#include "Platform/Karvel/SysPort.h"
#include "Platform/KarvelMirror/ProgramInfo.h"
#include "Platform/Zol/Sm.h"
#include "Platform/Zol/Value.h"

namespace Sample {

using Log = std::vector< std::string >;

class Labels : public Zol::Value {
   ZOL_VALUE( Sample, Labels, ( SET, Zol::String, label ) );
};

class Port : public Zol::Entity {
   ZOL_ENTITY( Sample, Port, Zol::Entity, ( CONST, Zol::String, name ),
         ( VAL, uint32_t, speed, 10 ) );

 public:
   explicit Port( const Zol::String& name, uint32_t speed = 10 )
         : name_( name ), speed_( speed ) {
      ++alive;
   }
   ~Port() override { --alive; }
   static inline int alive = 0;
};

class Config : public Zol::Entity {
   ZOL_ENTITY( Sample, Config, Zol::Entity, ( VAL, int32_t, number, 7 ),
         ( VAL, Zol::String, text ), ( VAL, KarvelMirror::Direction, direction ),
         ( VAL, Karvel::SysPort, sysPort ), ( VAL, Labels, labels ),
         ( VAL, Zol::Ptr< Port >, favourite ), ( SET, int32_t, member ),
         ( MAP, Zol::String, uint32_t, counter ), ( COLL, Zol::String, Port, port ),
         ( OWN, Port, uplink ) );

 public:
   Config() { ++alive; }
   ~Config() override { --alive; }
   static inline int alive = 0;
};

// Logs every change of a configuration as "NAME:ATTRIBUTE", with the key if there is one,
// and then does what the test wants of it.
class Watcher : public Zol::EntitySm {
   ZOL_ENTITY( Sample, Watcher, Zol::EntitySm );

 public:
   using Hook = std::function< void() >;

   Watcher( Zol::Ptr< Config > config, const std::string& name, Log& log, Hook hook = {} )
         : config_( config ), name_( name ), log_( log ), hook_( hook ) {
      ++alive;
   }
   ~Watcher() override { --alive; }
   static Zol::Ptr< Watcher > started(
         Zol::Ptr< Config > config, const std::string& name, Log& log, Hook hook = {} ) {
      auto watcher = Zol::make< Watcher >( config, name, log, hook );
      watcher->zolStart();
      return watcher;
   }

   void watch( Zol::Ptr< Config > config ) {
      using A = Config::Attr;
      react< &Watcher::handleNumber, A::number >( config );
      react< &Watcher::handleText, A::text >( config );
      react< &Watcher::handleMember, A::member >( config );
      react< &Watcher::handleCounter, A::counter >( config );
      react< &Watcher::handlePort, A::port >( config );
      react< &Watcher::handleUplink, A::uplink >( config );
   }
   void stopWatching( const Config& config ) { ignore( config ); }
   const std::string& name() const { return name_; }

   static inline int alive = 0;

 private:
   void doInit() override { watch( config_ ); }
   void doCleanup() override { log_.push_back( name_ + ":cleanup" ); }

   void handleNumber() { note( "number" ); }
   void handleText() { note( "text" ); }
   void handleMember( int32_t member ) { note( "member " + std::to_string( member ) ); }
   void handleCounter( const Zol::String& key ) { note( "counter " + key ); }
   void handlePort( const Zol::String& key ) { note( "port " + key ); }
   void handleUplink() { note( "uplink" ); }
   void note( const std::string& what ) {
      log_.push_back( name_ + ":" + what );
      if ( hook_ ) {
         hook_();
         // What a hook does, it must leave the machine whole until its handler has ended.
         EXPECT_FALSE( name_.empty() );
      }
   }

   Zol::Ptr< Config > config_;
   std::string name_;
   Log& log_;
   Hook hook_;
};

// What was logged since the last call.
inline Log taken( Log& log ) { return std::exchange( log, {} ); }

} // namespace Sample
