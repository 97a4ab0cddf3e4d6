#include <gtest/gtest.h>

#include "Platform/Zol/TypeRegistry.h"
#include "Tests/Platform/TestEntities.h"

namespace Sample {
namespace {

class WideConfig : public Config {
   ZOL_ENTITY( Sample, WideConfig, Config, ( VAL, uint8_t, width, 4 ),
         ( CONST, Zol::String, origin ), ( VAL, int32_t, depth ) );
};
ZOL_DEFINE_ENTITY( WideConfig );

class WideWatcher : public Zol::EntitySm {
   ZOL_ENTITY( Sample, WideWatcher, Zol::EntitySm );

 public:
   WideWatcher( Zol::Ptr< const WideConfig > config, Log& log )
         : config_( config ), log_( log ) {}

 private:
   void doInit() override {
      react< &WideWatcher::handleDepth, WideConfig::Attr::depth >( config_ );
      react< &WideWatcher::handleNumber, Config::Attr::number >( config_ );
   }
   void handleDepth() { log_.push_back( "depth" ); }
   void handleNumber() { log_.push_back( "number" ); }

   Zol::Ptr< const WideConfig > config_;
   Log& log_;
};
ZOL_DEFINE_ENTITY( WideWatcher );

class ZolEntity : public ::testing::Test {
 protected:
   void TearDown() override {
      watcher_ = nullptr;
      config_ = nullptr;
      EXPECT_EQ( Config::alive, 0 );
      EXPECT_EQ( Port::alive, 0 );
   }

   Log log_;
   Zol::Ptr< Config > config_ = Zol::make< Config >();
   Zol::Ptr< Watcher > watcher_ = Watcher::started( config_, "w", log_ );
};

TEST_F( ZolEntity, NotifiesOfChangesOnlyWithTheirKey ) {
   config_->numberIs( 7 ); // the default
   config_->numberIs( 8 );
   config_->numberIs( 8 );
   config_->numberDel();
   EXPECT_EQ( taken( log_ ), ( Log{ "w:number", "w:number" } ) );

   config_->memberIs( 3 );
   config_->memberIs( 3 );
   config_->memberDel( 4 );
   config_->memberIs( -1 );
   config_->memberDel( 3 );
   EXPECT_EQ( taken( log_ ), ( Log{ "w:member 3", "w:member -1", "w:member 3" } ) );

   config_->counterIs( "a", 0 ); // new, though of the default value
   config_->counterIs( "a", 0 );
   config_->counterIs( "a", 1 );
   config_->counterDel( "b" );
   EXPECT_EQ( config_->counter( "b" ), 0u );
   EXPECT_EQ( config_->counters(), 1u );
   config_->counterDel( "a" );
   EXPECT_EQ( taken( log_ ), ( Log{ "w:counter a", "w:counter a", "w:counter a" } ) );

   Zol::Ptr< Port > port = config_->portIs( "p", 40u );
   EXPECT_EQ( config_->portIs( "p", 50u ), port );
   EXPECT_EQ( port->speed(), 40u );
   config_->portIs( "p", port );
   config_->portIs( "p", Zol::make< Port >( "p" ) );
   EXPECT_EQ( config_->port( "p" )->speed(), 10u );
   config_->portDel( "p" );
   config_->portDel( "p" );
   EXPECT_EQ( config_->port( "p" ), nullptr );
   EXPECT_EQ( taken( log_ ), ( Log{ "w:port p", "w:port p", "w:port p" } ) );

   auto uplink = config_->uplinkIs( "u" );
   EXPECT_EQ( config_->uplinkIs( "v" ), uplink );
   config_->uplinkDel();
   config_->uplinkDel();
   EXPECT_EQ( taken( log_ ), ( Log{ "w:uplink", "w:uplink" } ) );
}

TEST_F( ZolEntity, DelAllNotifiesOfEachAndKeepsWhatAHandlerPutsBack ) {
   for ( int32_t i : { 2, 1 } ) {
      config_->memberIs( i );
      config_->counterIs( std::to_string( i ), 5 );
      config_->portIs( std::to_string( i ) );
   }
   log_.clear();
   bool once = true;
   auto second = Watcher::started( config_, "x", log_, [ & ] {
      if ( std::exchange( once, false ) ) {
         config_->memberIs( 9 );
         config_->counterIs( "9", 1 );
         config_->portIs( "9" );
         log_.clear();
      }
   } );
   config_->memberDelAll();
   EXPECT_EQ( taken( log_ ), ( Log{ "w:member 2", "x:member 2" } ) );
   EXPECT_EQ( Zol::toString( config_->member() ), "{9}" );
   second = nullptr;
   log_.clear();
   config_->counterDelAll();
   config_->portDelAll();
   EXPECT_EQ( taken( log_ ),
         ( Log{ "w:counter 1", "w:counter 2", "w:counter 9", "w:port 1", "w:port 2",
               "w:port 9" } ) );
   EXPECT_EQ( config_->ports() + config_->counters(), 0u );
   EXPECT_EQ( Port::alive, 0 );
}

TEST_F( ZolEntity, CreationSurvivesHandlersThatCreateAndDelete ) {
   // A handler that asks for the element again gets the same one; one that deletes it does
   // not leave the creator with nothing.
   auto other = Watcher::started( config_, "x", log_, [ & ] {
      if ( config_->port( "p" ) ) {
         Zol::Ptr< Port > same = config_->portIs( "p" );
         EXPECT_EQ( same, config_->port( "p" ) );
         config_->portIs( "a" );
         config_->portIs( "z" );
         config_->portDel( "p" );
      }
      config_->uplinkDel();
   } );
   Zol::Ptr< Port > made = config_->portIs( "p" );
   ASSERT_TRUE( !!made );
   EXPECT_EQ( made->name(), "p" );
   EXPECT_FALSE( config_->portHas( "p" ) );
   EXPECT_EQ( config_->ports(), 2u );
   Zol::Ptr< Port > uplink = config_->uplinkIs( "u" );
   ASSERT_TRUE( !!uplink );
   EXPECT_EQ( config_->uplink(), nullptr );
   EXPECT_DEATH( config_->portIs( "q", Zol::Ptr< Port >() ), "!!ready" );
}

TEST_F( ZolEntity, IsWrittenByNameLikeByItsOperations ) {
   Zol::Entity& entity = *config_;
   using Zol::AttributeWrite;
   for ( const auto& [ name, text ] : { std::pair( "number", "-12" ), { "number", "-12" },
               { "text", "any text, {as} it 'is'" }, { "direction", "egress" },
               { "sysPort", "Value('Karvel::SysPort', ** {'unit': 1, 'port': -2})" } } ) {
      EXPECT_EQ( entity.attributeIs( name, text ), AttributeWrite::done ) << name;
   }
   EXPECT_EQ( taken( log_ ), ( Log{ "w:number", "w:text" } ) );
   EXPECT_EQ( config_->number(), -12 );
   EXPECT_EQ( config_->text(), "any text, {as} it 'is'" );
   EXPECT_EQ( config_->direction(), KarvelMirror::Direction::egress );
   EXPECT_EQ( config_->sysPort(), Karvel::SysPort( 1, -2 ) );

   for ( const char* name : { "labels", "favourite", "member", "counter", "port", "uplink" } ) {
      EXPECT_EQ( entity.attributeIs( name, "" ), AttributeWrite::notWritable ) << name;
   }
   EXPECT_EQ( entity.attributeIs( "numbers", "1" ), AttributeWrite::noSuchAttribute );
   for ( const char* text : { "", "1x", " 1", "2147483648", "true" } ) {
      EXPECT_THROW( entity.attributeIs( "number", text ), Zol::ParseError ) << text;
   }
   EXPECT_THROW( entity.attributeIs( "direction", "sideways" ), Zol::ParseError );
   EXPECT_EQ( config_->number(), -12 );
   EXPECT_EQ( taken( log_ ), Log{} );
}

TEST_F( ZolEntity, AttributesOfBasesAreWrittenWatchedAndShown ) {
   auto wide = Zol::make< WideConfig >();
   auto watcher = Zol::make< WideWatcher >( wide, log_ );
   watcher->zolStart();
   // In one type each attribute has its own number, so that no change is taken for
   // another's.
   for ( const char* name : { "width", "number", "depth" } ) {
      EXPECT_EQ( wide->attributeIs( name, "5" ), Zol::AttributeWrite::done );
   }
   EXPECT_EQ( wide->attributeIs( "origin", "x" ), Zol::AttributeWrite::notWritable );
   wide->textIs( "t" );
   EXPECT_EQ( taken( log_ ), ( Log{ "number", "depth" } ) );
   EXPECT_EQ( wide->typeName(), "Sample::WideConfig" );

   struct Shown : Zol::AttributeVisitor {
      void value( std::string_view name, const std::string& text ) override {
         log.push_back( std::string( name ) + "=" + text );
      }
      void entity(
            std::string_view name, const std::string& key, const Zol::Entity& ) override {
         log.push_back( std::string( name ) + "[" + key + "]" );
         config->portDelAll(); // a browser may act on what it sees
      }
      Log log;
      Zol::Ptr< Config > config;
   } shown;
   wide->memberIs( 3 );
   wide->portIs( "p" );
   wide->portIs( "q" );
   wide->uplinkIs( "u" );
   shown.config = wide;
   wide->visitAttributes( shown );
   EXPECT_EQ( shown.log,
         ( Log{ "number=5", "text=t", "direction=none",
               "sysPort=Value('Karvel::SysPort', ** {'unit': 0, 'port': 0})",
               "labels=Value('Sample::Labels', ** {'label': {}})", "favourite=none",
               "member={3}", "counter={}", "port[p]", "uplink[]", "width=5",
               "origin=", "depth=5" } ) );
}

TEST( ZolTypeRegistry, MakesTypesByNameWhileTheyAreRegistered ) {
   {
      Zol::TypeRegistration< Port > registration;
      auto port = Zol::dynamicCast< Port >( Zol::TypeRegistry::make( "Sample::Port", "eth1" ) );
      ASSERT_TRUE( !!port );
      EXPECT_EQ( port->name(), "eth1" );
      EXPECT_DEATH( Zol::TypeRegistration< Port >(), "a type is registered once" );
   }
   EXPECT_EQ( Zol::TypeRegistry::make( "Sample::Port", "eth1" ), nullptr );
   EXPECT_FALSE( Zol::TypeRegistry::has( "Sample::Port" ) );
   EXPECT_TRUE( Zol::TypeRegistry::has( "Zol::Dir" ) );
}

} // namespace
} // namespace Sample
