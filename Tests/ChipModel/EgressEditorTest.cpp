// Chip-wide settings, memories and logical tables: how strict they are, and what each does to the
// copies that leave.

#include "ChipModel/Egress/EgressEditor.h"

#include "Tests/ChipModel/FieldFixture.h"

namespace ChipModel::Test {

namespace {

Profile withKeys( GreKeys family ) {
   return testProfile( [ & ]( Profile& profile ) { profile.greKeys = family; } );
}

class EditorTest : public CopyTest {
 protected:
   explicit EditorTest( const Profile& profile = withKeys( GreKeys::tomahawk ) )
         : CopyTest( profile ) {}

   Rc write( Memory memory, int index, MemField field, uint32_t value ) {
      MemEntry entry;
      Rc rc = sdk().soc_mem_read( 0, memory, MEM_BLOCK_ANY, index, &entry );
      rc = rc != none ? rc : sdk().soc_mem_field32_set( 0, memory, &entry, field, value );
      return rc != none ? rc : sdk().soc_mem_write( 0, memory, MEM_BLOCK_ALL, index, &entry );
   }
   uint32_t read( Memory memory, int index, MemField field ) {
      MemEntry entry;
      uint32_t value = 0;
      ok( sdk().soc_mem_read( 0, memory, MEM_BLOCK_ANY, index, &entry ) );
      ok( sdk().soc_mem_field32_get( 0, memory, &entry, field, &value ) );
      return value;
   }
   MirrorTunnel keyed() {
      MirrorTunnel to = tunnel( "10.1.2.3", "192.0.2.9" );
      to.greKey = 0x12345678;
      return to;
   }
   static Bytes from( const Bytes& bytes, size_t begin, size_t count ) {
      return cut( bytes, begin, begin + count );
   }
   const Bytes in_ = frame( broadcast, mac( 1 ) );
};

class InsertionTest : public EditorTest {
 protected:
   InsertionTest() : EditorTest( testProfile( []( auto& p ) { p.logicalTables = true; } ) ) {}

   // Commits one entry; what is not named stays.
   Rc commit( int index, const LogicalTables::Fields& fields ) {
      bcmlt_entry_handle_t entry = 0;
      ok( sdk().bcmlt_entry_allocate( 0, "EGR_HEADER_INSERT_PROFILE", &entry ) );
      Rc rc = sdk().bcmlt_entry_field_add(
            entry, "BCMLT_PT_INDEX", static_cast< uint64_t >( index ) );
      for ( const auto& [ field, value ] : fields ) {
         rc = rc < 0 ? rc : sdk().bcmlt_entry_field_add( entry, field.c_str(), value );
      }
      rc = rc < 0
            ? rc
            : sdk().bcmlt_pt_entry_commit( entry, BCMLT_PT_OPCODE_SET, BCMLT_PRIORITY_NORMAL );
      ok( sdk().bcmlt_entry_free( entry ) );
      return rc;
   }
   static LogicalTables::Fields pieces( uint64_t first, uint64_t second ) {
      return { { "INSERT_0_VALID", 1 }, { "INSERT_0_NUM_INS_HDR_ID", 1 },
         { "HDR_ID_LIST_0_HDR_ID", 1 }, { "HDR_ID_LIST_0_HDR_SIZE", first },
         { "INSERT_0_ENGINE_ID", 13 }, { "INSERT_1_VALID", second != 0 },
         { "INSERT_1_NUM_INS_HDR_ID", second != 0 }, { "HDR_ID_LIST_1_HDR_ID", second != 0 },
         { "HDR_ID_LIST_1_HDR_SIZE", second }, { "HDR_ID_LIST_1_INS_COMMAND_NUM", 1 } };
   }
};

class FlexTest : public EditorTest {
 protected:
   FlexTest() : EditorTest( testProfile( []( auto& p ) { p.flexEditor = true; } ) ) {}
};

} // namespace

TEST_F( EditorTest, MemoriesTakeWhatFitsAndNothingElse ) {
   EXPECT_EQ( write( EGR_MIRROR_PROFILEm, 4, GRE_HEADER_BYTESf, 31 ), none );
   EXPECT_EQ( write( EGR_MIRROR_PROFILEm, 4, GRE_HEADER_BYTESf, 32 ), param ); // 5 bits
   EXPECT_EQ( read( EGR_MIRROR_PROFILEm, 4, GRE_HEADER_BYTESf ), 31u );
   EXPECT_EQ( read( EGR_MIRROR_PROFILEm, 4, L3_LENGTH_ADJUSTf ), 24u ); // beside it: as it was
   EXPECT_EQ( write( EGR_MIRROR_PROFILEm, 4, GRE_KEYf, 1 ), notFound );
   EXPECT_EQ( write( EGR_MIRROR_PROFILEm, 16, GRE_FLAGSf, 0 ), param );
   EXPECT_EQ( write( EGR_MIRROR_PROFILEm, -1, GRE_FLAGSf, 0 ), param );
   // Of another family's memory, and of an editor that the chip does not have.
   EXPECT_EQ( write( EGR_GRE_HEADER_FORMATm, 0, GRE_FLAGSf, 0 ), unavailable );
   EXPECT_EQ( write( ING_FLEX_EDITOR_PROFILEm, 0, OFFSETf, 0 ), unavailable );
   MemEntry entry;
   EXPECT_EQ( sdk().soc_mem_read( 0, ING_DEVICE_PORTm, MEM_BLOCK_ALL, 1, &entry ), param );
   EXPECT_EQ( sdk().soc_mem_write( 0, ING_DEVICE_PORTm, MEM_BLOCK_ANY, 1, &entry ), param );
   EXPECT_EQ( sdk().soc_mem_read( 0, ING_DEVICE_PORTm, MEM_BLOCK_ANY, 1, nullptr ), param );
   EXPECT_EQ( write( EGR_MIRROR_ENCAP_DATAm, 3, GRE_KEYf, ~0U ), none ); // all of a word
   EXPECT_EQ( read( EGR_MIRROR_ENCAP_DATAm, 3, GRE_KEYf ), ~0U );
   box_.addChip( 1, withKeys( GreKeys::none ) );
   EXPECT_EQ( sdk().bcm_mirror_destination_set( 1, 0, { {}, 7, keyed(), {} } ), unavailable );
}

TEST_F( EditorTest, ThePartsOfAHeaderWithAKeyAreWhatTheMemorySays ) {
   ok( tunnelIs( keyed() ) );
   const size_t gre = 14 + 20;
   const Bytes bare = copyOf( in_ );
   EXPECT_EQ( bare.size(), in_.size() + gre + 4 ) << "a key without its format is not sent";
   EXPECT_EQ( from( bare, gre, 4 ), be16( 0 ) + be16( 0x88be ) );
   ok( write( EGR_MIRROR_PROFILEm, 4, GRE_HEADER_BYTESf, 8 ) );
   // A wrong table is a wrong packet: four bytes more that no flag and no length tells of.
   Bytes copy = copyOf( in_ );
   EXPECT_EQ( from( copy, gre, 8 ), be16( 0 ) + be16( 0x88be ) + be32( 0 ) );
   EXPECT_EQ( from( copy, 16, 2 ), be16( static_cast< uint32_t >( in_.size() ) + 24 ) );
   ok( write( EGR_MIRROR_PROFILEm, 4, GRE_FLAGSf, 0x2000 ) );
   ok( write( EGR_MIRROR_PROFILEm, 4, GRE_KEY_SELECTf, 1 ) );
   ok( write( EGR_MIRROR_PROFILEm, 4, L3_LENGTH_ADJUSTf, 28 ) );
   copy = copyOf( in_ );
   EXPECT_EQ( from( copy, gre, 8 ), be16( 0x2000 ) + be16( 0x88be ) + be32( 0x12345678 ) );
   EXPECT_EQ( from( copy, 16, 2 ), be16( static_cast< uint32_t >( in_.size() ) + 28 ) );
   EXPECT_EQ( from( copy, gre + 8, in_.size() ), in_ );
   ok( write( EGR_MIRROR_ENCAP_DATAm, 0, GRE_KEYf, 7 ) ); // where the key really comes from
   EXPECT_EQ( from( copyOf( in_ ), gre + 4, 4 ), be32( 7 ) );
   // Tunnels without a key, and of the other IP version, are as they were.
   ok( tunnelIs( tunnel( "10.1.2.3", "192.0.2.9" ) ) );
   EXPECT_EQ( read( EGR_MIRROR_ENCAP_DATAm, 0, GRE_KEYf ), 0u );
   EXPECT_EQ( from( copyOf( in_ ), 34, 4 ), be16( 0 ) + be16( 0x88be ) );
   MirrorTunnel six = tunnel( "2001:db8::1", "2001:db8::2" );
   six.greKey = 9;
   ok( tunnelIs( six ) );
   EXPECT_EQ( from( copyOf( in_ ), 54, 4 ), be16( 0 ) + be16( 0x88be ) );
}

TEST_F( EditorTest, CopiesGoToTheQueueThatTheyAreGiven ) {
   const auto isInQueue = [ & ]( size_t queue, const Bytes& bytes ) {
      const auto before = state().ports[ 7 ].counters.queues[ queue ];
      receive( 1, bytes );
      const auto after = state().ports[ 7 ].counters.queues[ queue ];
      return after.packets == before.packets + 1 && after.bytes == before.bytes + bytes.size();
   };
   destination( 0, 7 );
   station( mac( 2 ), 10, 2 );
   const Bytes unicast = frame( mac( 2 ), mac( 1 ), tag( 10, 5 ) );
   const Bytes flooded = frame( broadcast, mac( 1 ), tag( 10, 5 ) );
   EXPECT_TRUE( isInQueue( 5, unicast ) );
   ok( sdk().bcm_switch_control_set( 0, bcmSwitchMirrorUnicastCosq, 2 ) );
   ok( sdk().bcm_switch_control_set( 0, bcmSwitchMirrorMulticastCosq, 3 ) );
   EXPECT_TRUE( isInQueue( 2, unicast ) );
   EXPECT_TRUE( isInQueue( 3, flooded ) );
   ok( sdk().bcm_mirror_destination_set( 0, 0, { {}, 7, {}, 6 } ) );
   EXPECT_TRUE( isInQueue( 6, flooded ) );
   EXPECT_EQ( state().ports[ 2 ].counters.queues[ 5 ].packets, 4u ); // the frames themselves
   EXPECT_EQ( sdk().bcm_switch_control_set( 0, bcmSwitchMirrorUnicastCosq, 8 ), param );
   EXPECT_EQ( sdk().bcm_mirror_destination_set( 0, 0, { {}, 7, {}, 8 } ), param );
   box_.addChip( 1, testProfile( []( auto& p ) { p.tomahawkFamily = false; } ) );
   EXPECT_EQ( sdk().bcm_switch_control_set( 1, bcmSwitchMirrorUnicastCosq, 0 ), unavailable );
}

TEST_F( InsertionTest, AsManyBytesAreInsertedAsTheProfileSays ) {
   MirrorTunnel to = tunnel( "2001:db8::1", "2001:db8::2" );
   to.vid = 0x123;
   to.greKey = 5;
   to.insertProfile = 20;
   ok( tunnelIs( to ) );
   EXPECT_EQ( copyOf( in_ ), in_ ) << "no profile, no header";
   ok( commit( 20, pieces( 64, 2 ) ) );
   const Bytes whole = copyOf( in_ );
   ASSERT_EQ( whole.size(), in_.size() + 66 );
   EXPECT_EQ( from( whole, 62, 4 ), be32( 5 ) ) << "the key ends in the second piece";
   EXPECT_EQ( from( whole, 66, in_.size() ), in_ );
   ok( commit( 20, pieces( 64, 0 ) ) );
   EXPECT_EQ( copyOf( in_ ), from( whole, 0, 64 ) + in_ ) << "cut short";
   ok( commit( 20, pieces( 14, 2 ) ) );
   EXPECT_EQ( copyOf( in_ ), from( whole, 0, 14 ) + from( whole, 64, 2 ) + in_ );
   ok( commit( 20, { { "INSERT_0_ENGINE_ID", 12 } } ) ); // all else stays
   EXPECT_EQ( copyOf( in_ ), in_ );
}

TEST_F( InsertionTest, LogicalEntriesTakeEffectWhenTheyAreCommitted ) {
   bcmlt_entry_handle_t entry = 0;
   const char* table = "EGR_HEADER_INSERT_PROFILE";
   ok( sdk().bcmlt_entry_allocate( 0, table, &entry ) );
   const auto commitIt = [ & ] {
      return sdk().bcmlt_pt_entry_commit( entry, BCMLT_PT_OPCODE_SET, BCMLT_PRIORITY_NORMAL );
   };
   ok( sdk().bcmlt_entry_field_add( entry, "HDR_ID_LIST_0_HDR_SIZE", 50 ) );
   EXPECT_EQ( commitIt(), param ) << "without an index";
   ok( sdk().bcmlt_entry_field_add( entry, "BCMLT_PT_INDEX", 3 ) );
   EXPECT_EQ( state().insertProfiles.size(), 0u );
   EXPECT_EQ( sdk().bcmlt_entry_field_add( entry, "HDR_ID_LIST_0_HDR_SIZE", 128 ), param );
   EXPECT_EQ( sdk().bcmlt_entry_field_add( entry, "NO_SUCH_FIELD", 0 ), notFound );
   EXPECT_EQ( sdk().bcmlt_entry_field_add( entry, "BCMLT_PT_INDEX", 64 ), param );
   ok( commitIt() );
   ASSERT_EQ( state().insertProfiles.size(), 1u );
   EXPECT_EQ( state().insertProfiles[ 0 ].index, 3 );
   EXPECT_EQ( state().insertProfiles[ 0 ].fields[ 6 ],
         ( std::pair< std::string_view, uint64_t >( "HDR_ID_LIST_0_HDR_SIZE", 50 ) ) );
   ok( sdk().bcmlt_entry_free( entry ) );
   EXPECT_EQ( sdk().bcmlt_entry_free( entry ), notFound );
   EXPECT_EQ( commitIt(), notFound );
   EXPECT_EQ( sdk().bcmlt_entry_allocate( 0, "NO_SUCH_TABLE", &entry ), notFound );
   box_.addChip( 1, testProfile() );
   EXPECT_EQ( sdk().bcmlt_entry_allocate( 1, table, &entry ), unavailable );
   Rc rc = none;
   for ( int i = 0; i < 2000 && rc == none; ++i ) {
      rc = sdk().bcmlt_entry_allocate( 0, table, &entry );
   }
   EXPECT_EQ( rc, Sdk::QX_BCM_E_MEMORY() ) << "whoever never frees is stopped";
}

TEST_F( FlexTest, WhatGoesIntoATunnelBeginsWhereTheProfileSays ) {
   ok( tunnelIs( tunnel( "10.1.2.3", "192.0.2.9" ) ) );
   const FlexProfilePlaces places = flexProfilePlaces( box_.control().context().sdkVersion );
   EXPECT_EQ( copyOf( in_ ).size(), in_.size() + 38 - 14 ) << "as of routed tunnels";
   ok( write( EGR_FLEX_EDITOR_PROFILEm, places.egress, OFFSETf, 0 ) );
   EXPECT_EQ( copyOf( in_ ).size(), in_.size() + 38 - 14 ) << "that is of copies as sent";
   ok( write( ING_FLEX_EDITOR_PROFILEm, places.ingress, OFFSETf, 0 ) );
   EXPECT_EQ( from( copyOf( in_ ), 38, in_.size() ), in_ );
   ok( write( ING_FLEX_EDITOR_PROFILEm, places.ingress, OFFSETf, 255 ) );
   EXPECT_EQ( copyOf( in_ ).size(), 38u ) << "nothing of the frame is left";
   ok( write( ING_FLEX_EDITOR_PROFILEm, places.ingress, OFFSETf, 14 ) );
   EXPECT_EQ( from( copyOf( in_ ), 16, 2 ),
         be16( static_cast< uint32_t >( in_.size() ) + 24 - 14 ) );
}

} // namespace ChipModel::Test
