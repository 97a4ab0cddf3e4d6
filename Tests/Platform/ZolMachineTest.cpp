#include <stdexcept>

#include <gtest/gtest.h>

#include "Tests/Platform/TestEntities.h"

namespace Sample {
namespace {

class ZolMachine : public ::testing::Test {
 protected:
   Zol::Ptr< Watcher > watcher( const std::string& name, Watcher::Hook hook = {} ) {
      return Watcher::started( config_, name, log_, hook );
   }
   void TearDown() override {
      a_ = b_ = c_ = nullptr;
      config_ = nullptr;
      EXPECT_EQ( Config::alive, 0 );
      EXPECT_EQ( Watcher::alive, 0 );
   }

   Log log_;
   Zol::Ptr< Config > config_ = Zol::make< Config >();
   Zol::Ptr< Watcher > a_, b_, c_;
};

// --- Delivery ------------------------------------------------------------------------------

TEST_F( ZolMachine, DeliversInOrderOfAttachmentToThoseAttachedBefore ) {
   std::vector< Zol::Ptr< Watcher > > more;
   a_ = watcher( "a", [ &, once = true ]() mutable {
      while ( once && more.size() < 50 ) {
         more.push_back( watcher( "m" ) );
      }
      once = false;
   } );
   b_ = watcher( "b" );
   config_->numberIs( 1 );
   EXPECT_EQ( taken( log_ ), ( Log{ "a:number", "b:number" } ) );
   more.erase( more.begin() );
   log_.clear();
   config_->numberIs( 2 );
   ASSERT_EQ( log_.size(), 51u );
   EXPECT_EQ( log_[ 1 ] + " " + log_[ 2 ], "b:number m:number" );
   more.clear();
}

TEST_F( ZolMachine, OneThatGoesDuringDeliveryIsNotCalledAgain ) {
   struct Case {
      const char* what;
      std::function< void() > hook; // of the second of three
      Log first, second;
   };
   const std::vector< Case > cases = {
      { "itself", [ & ] { b_ = nullptr; }, { "a:number", "b:number", "b:cleanup", "c:number" },
            { "a:number", "c:number" } },
      { "the one before", [ & ] { a_ = nullptr; },
            { "a:number", "b:number", "a:cleanup", "c:number" }, { "b:number", "c:number" } },
      { "the one after", [ & ] { c_ = nullptr; }, { "a:number", "b:number", "c:cleanup" },
            { "a:number", "b:number" } },
      { "all", [ & ] { a_ = b_ = c_ = nullptr; },
            { "a:number", "b:number", "c:cleanup", "b:cleanup", "a:cleanup" }, {} },
      { "itself, by detaching", [ & ] { b_->stopWatching( *config_ ); },
            { "a:number", "b:number", "c:number" }, { "a:number", "c:number" } },
      { "the one after, by detaching", [ & ] { c_->stopWatching( *config_ ); },
            { "a:number", "b:number" }, { "a:number", "b:number" } },
   };
   for ( const Case& c : cases ) {
      SCOPED_TRACE( c.what );
      a_ = watcher( "a" );
      b_ = watcher( "b", [ &, first = true ]() mutable {
         if ( std::exchange( first, false ) ) {
            c.hook();
         }
      } );
      c_ = watcher( "c" );
      log_.clear();
      config_->numberIs( config_->number() + 1 );
      EXPECT_EQ( taken( log_ ), c.first );
      config_->numberIs( config_->number() + 1 );
      EXPECT_EQ( taken( log_ ), c.second );
      a_ = b_ = c_ = nullptr;
   }
}

TEST_F( ZolMachine, OneThatDroppedItselfCanAttachNothingMore ) {
   auto other = Zol::make< Config >();
   a_ = watcher( "a", [ & ] {
      Watcher* self = a_.get();
      a_ = nullptr;
      self->watch( other );
      self->watch( config_ );
   } );
   config_->numberIs( 1 );
   EXPECT_EQ( taken( log_ ), ( Log{ "a:number", "a:cleanup" } ) );
   other->numberIs( 1 );
   config_->numberIs( 2 );
   EXPECT_EQ( taken( log_ ), Log{} );
   EXPECT_EQ( Watcher::alive, 0 );
}

TEST_F( ZolMachine, EntityMayGoWhileItNotifies ) {
   // Nobody else holds it: what watches it here owns no pointer to it.
   auto lonely = Zol::make< Config >();
   a_ = watcher( "a", [ & ] { lonely = nullptr; } );
   b_ = watcher( "b" );
   for ( auto write : { +[]( Config& config ) { config.numberIs( 1 ); },
               +[]( Config& config ) { config.memberDelAll(); },
               +[]( Config& config ) { config.counterDelAll(); },
               +[]( Config& config ) { config.portDelAll(); },
               +[]( Config& config ) { config.portIs( "r" ); },
               +[]( Config& config ) { config.uplinkIs( "u" ); } } ) {
      lonely = Zol::make< Config >();
      lonely->memberIs( 1 );
      lonely->memberIs( 2 );
      lonely->counterIs( "1", 1 );
      lonely->counterIs( "2", 1 );
      lonely->portIs( "p" );
      lonely->portIs( "q" );
      a_->watch( lonely );
      b_->watch( lonely );
      write( *lonely );
      EXPECT_EQ( lonely, nullptr );
      EXPECT_EQ( Config::alive, 1 );
      EXPECT_GE( log_.size(), 2u ); // both were told of the change that was under way
      log_.clear();
   }
   EXPECT_EQ( Port::alive, 0 );
}

TEST_F( ZolMachine, LastPointerToAnEntityMayGoWithTheMachineThatItCalls ) {
   for ( bool throws : { false, true } ) {
      auto owned = Zol::make< Config >();
      Config* config = owned.get();
      a_ = Watcher::started( std::exchange( owned, nullptr ), "a", log_, [ & ] {
         a_ = nullptr;
         if ( throws ) {
            throw std::runtime_error( "refused" );
         }
      } );
      EXPECT_EQ( Config::alive, 2 );
      try {
         config->numberIs( 1 );
         EXPECT_FALSE( throws );
      } catch ( const std::runtime_error& ) {
         EXPECT_TRUE( throws );
      }
      EXPECT_EQ( Config::alive, 1 ); // the fixture's
      EXPECT_EQ( Watcher::alive, 0 );
   }
}

TEST_F( ZolMachine, WritesInsideHandlersAreDeliveredAtOnce ) {
   a_ = watcher( "a", [ & ] { config_->numberIs( std::min( config_->number() + 1, 3 ) ); } );
   b_ = watcher( "b", [ & ] { log_.back() += " " + std::to_string( config_->number() ); } );
   config_->numberIs( 1 );
   EXPECT_EQ( taken( log_ ),
         ( Log{ "a:number", "a:number", "a:number", "b:number 3", "b:number 3",
               "b:number 3" } ) );
}

TEST_F( ZolMachine, ExceptionOfAHandlerReachesTheWriterAndBreaksNothing ) {
   a_ = watcher( "a", [ & ] {
      if ( config_->number() == 1 ) {
         a_ = nullptr;
         throw std::runtime_error( "refused" );
      }
   } );
   b_ = watcher( "b" );
   EXPECT_THROW( config_->numberIs( 1 ), std::runtime_error );
   EXPECT_EQ( config_->number(), 1 );
   EXPECT_EQ( taken( log_ ), ( Log{ "a:number", "a:cleanup" } ) );
   config_->numberIs( 2 );
   EXPECT_EQ( taken( log_ ), ( Log{ "b:number" } ) );
}

// --- Lifetime ------------------------------------------------------------------------------

TEST_F( ZolMachine, OutlivesItsEntitiesAndMayNeverHaveBeenHeld ) {
   auto brief = Zol::make< Config >();
   a_ = watcher( "a" );
   a_->watch( brief );
   brief->numberIs( 1 );
   brief = nullptr;
   {
      Watcher onStack( config_, "s", log_ );
      onStack.zolStart();
      onStack.zolStart(); // starts once
      config_->numberIs( 1 );
   }
   EXPECT_EQ( taken( log_ ), ( Log{ "a:number", "a:number", "s:number" } ) );
   config_->numberIs( 2 );
   EXPECT_EQ( taken( log_ ), ( Log{ "a:number" } ) );
}

// A tree: each machine owns others, watches the entity that owns it, and in its tear-down
// makes pointers to itself and to its owner, looks at its siblings and writes to its owner.
class Tree;

class Branch : public Zol::EntitySm {
   ZOL_ENTITY( Sample, Branch, Zol::EntitySm, ( CONST, Zol::String, name ),
         ( COLL, Zol::String, Branch, branch ) );

 public:
   Branch( const Zol::String& name, Tree& tree ) : name_( name ), tree_( tree ) {}

 private:
   void doInit() override;
   void doCleanup() override;
   void handleCount();

   Tree& tree_;
};
ZOL_DEFINE_ENTITY( Branch );

class Tree : public Zol::Entity {
   ZOL_ENTITY( Sample, Tree, Zol::Entity, ( VAL, int32_t, count ),
         ( COLL, Zol::String, Branch, branch ), ( OWN, Branch, top ) );

 public:
   explicit Tree( Log& treeLog ) : log( treeLog ) {}
   Log& log;
   std::function< void() > onCount;
};
ZOL_DEFINE_ENTITY( Tree );

void Branch::doInit() {
   react< &Branch::handleCount, Tree::Attr::count >( Zol::Ptr< Tree >( &tree_ ) );
   EXPECT_TRUE( tree_.branchHas( name_ ) || tree_.top().get() == this || name_.size() > 1 );
}

void Branch::handleCount() {
   if ( tree_.onCount ) {
      std::exchange( tree_.onCount, {} )();
   }
   tree_.log.push_back( name_ + ":count" );
}

void Branch::doCleanup() {
   Zol::Ptr< Branch > self( this );
   Zol::Ptr< Tree > tree( &tree_ );
   tree->countIs( tree->count() + 1 );
   tree->log.push_back( name_ + ":cleanup with " + std::to_string( branchs() ) + " among " +
         std::to_string( tree->branchs() ) );
}

TEST( ZolOwnership, DelTearsDownTheWholeBranchBeforeItReturns ) {
   Log log;
   auto tree = Zol::make< Tree >( log );
   auto a = tree->branchIs( "a", *tree );
   a->branchIs( "a2", *tree );
   a->branchIs( "a1", *tree );
   a = nullptr;
   tree->branchIs( "b", *tree );
   log.clear();
   tree->branchDel( "a" );
   EXPECT_EQ( taken( log ),
         ( Log{ "a2:count", "a1:count", "b:count", "a:cleanup with 2 among 1", "a2:count",
               "b:count", "a1:cleanup with 0 among 1", "b:count",
               "a2:cleanup with 0 among 1" } ) );
   tree->branchDelAll();
   EXPECT_EQ( taken( log ), ( Log{ "b:cleanup with 0 among 0" } ) );
}

TEST( ZolOwnership, OwnerIsWholeWhileWhatItOwnsGoes ) {
   Log log;
   auto tree = Zol::make< Tree >( log );
   tree->topIs( "t", *tree );
   tree->branchIs( "a", *tree );
   tree->branchIs( "b", *tree );
   log.clear();
   tree = nullptr;
   EXPECT_EQ( log,
         ( Log{ "a:count", "b:count", "t:cleanup with 0 among 2", "b:count",
               "a:cleanup with 0 among 1", "b:cleanup with 0 among 0" } ) );
}

TEST( ZolOwnership, MachineThatGoesInItsHandlerLosesItsBranchesAtOnce ) {
   Log log;
   auto tree = Zol::make< Tree >( log );
   auto dropper = Zol::make< Branch >( "dropper", *tree );
   dropper->zolStart();
   dropper->branchIs( "sub", *tree );
   tree->onCount = [ & ] { dropper = nullptr; };
   tree->countIs( 1 );
   // Its handler ends, with the machine still in memory.
   EXPECT_EQ( log,
         ( Log{ "sub:count", "dropper:cleanup with 1 among 0", "sub:cleanup with 0 among 0",
               "dropper:count" } ) );
}

// --- Batches -------------------------------------------------------------------------------

TEST_F( ZolMachine, BatchDeliversEachOnceInOrderOfFirstWrite ) {
   a_ = watcher( "a" );
   b_ = watcher( "b" );
   {
      Zol::Batch batch;
      config_->memberIs( 2 );
      config_->numberIs( 1 );
      {
         Zol::Batch inner;
         config_->counterIs( "k", 1 );
         config_->memberIs( 1 );
         config_->memberDel( 2 );
      }
      config_->numberIs( 2 );
      config_->counterIs( "k", 2 );
      EXPECT_EQ( taken( log_ ), Log{} );
      EXPECT_EQ( config_->number(), 2 );
   }
   EXPECT_EQ( taken( log_ ),
         ( Log{ "a:member 2", "b:member 2", "a:number", "b:number", "a:counter k",
               "b:counter k", "a:member 1", "b:member 1" } ) );
   config_->numberIs( 3 );
   EXPECT_EQ( log_.size(), 2u );
}

TEST_F( ZolMachine, BatchSkipsWhatHasGoneOrCameLater ) {
   a_ = watcher( "a" );
   b_ = watcher( "b" );
   auto brief = Zol::make< Config >();
   {
      Zol::Batch batch;
      b_->watch( brief );
      brief->memberIs( 8 );
      brief = nullptr; // gone, but its watcher is told
      config_->numberIs( 1 );
      a_ = nullptr;
      c_ = watcher( "c" );
   }
   EXPECT_EQ( taken( log_ ), ( Log{ "a:cleanup", "b:member 8", "b:number" } ) );
   {
      Zol::Batch batch;
      config_->numberIs( 2 );
      b_->stopWatching( *config_ );
   }
   EXPECT_EQ( taken( log_ ), ( Log{ "c:number" } ) );
}

TEST_F( ZolMachine, WritesWhileABatchDeliversAreDeliveredAtOnce ) {
   a_ = watcher( "a", [ &, once = true ]() mutable {
      if ( std::exchange( once, false ) ) {
         config_->textIs( "x" );
         Zol::Batch nested;
         config_->counterIs( "n", 1 );
         config_->counterIs( "n", 2 );
         log_.push_back( "nested ends" );
      }
      if ( log_.back() == "a:counter n" ) {
         b_ = nullptr;
      }
   } );
   b_ = watcher( "b" );
   {
      Zol::Batch batch;
      config_->numberIs( 1 );
      config_->memberIs( 5 );
   }
   EXPECT_EQ( taken( log_ ),
         ( Log{ "a:number", "a:text", "b:text", "nested ends", "a:counter n", "b:cleanup",
               "a:member 5" } ) );
}

TEST_F( ZolMachine, BatchThatAnExceptionEndsStillTells ) {
   a_ = watcher( "a", [ & ] {
      if ( config_->number() == 2 ) {
         throw std::runtime_error( "refused" );
      }
   } );
   auto publish = [ & ]( int32_t number ) {
      Zol::Batch batch;
      config_->numberIs( number );
      config_->memberIs( number );
      if ( number == 1 ) {
         throw std::logic_error( "half-way" );
      }
   };
   EXPECT_THROW( publish( 1 ), std::logic_error );
   EXPECT_EQ( taken( log_ ), ( Log{ "a:number", "a:member 1" } ) );
   EXPECT_THROW( publish( 2 ), std::runtime_error ); // the handler's own
   EXPECT_EQ( taken( log_ ), ( Log{ "a:number" } ) );
   EXPECT_EQ( Zol::Batch::current(), nullptr );
   publish( 3 );
   EXPECT_EQ( taken( log_ ), ( Log{ "a:number", "a:member 3" } ) );
}

} // namespace
} // namespace Sample
