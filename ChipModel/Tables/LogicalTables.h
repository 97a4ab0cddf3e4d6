#pragma once

// The logical tables of one chip: here only the one of header-insertion profiles. An entry is
// described field by field and takes effect as a whole, when it is committed.

#include <algorithm>
#include <array>
#include <cstdint>
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "ChipModel/Profile.h"
#include "ChipModel/Tables/SwitchContext.h"
#include "Platform/Shim/Sdk.h"

namespace ChipModel {

struct LogicalField {
   std::string_view name;
   int width; // bits
};

// One entry, to look at.
struct LogicalEntryView {
   int index = 0;
   std::vector< std::pair< std::string_view, uint64_t > > fields; // all of the table
   WriteStamp stamp;

   // Whether all fields are zero, as after reset: the entry then inserts nothing.
   bool isReset() const {
      return std::ranges::all_of(
            fields, []( const auto& field ) { return field.second == 0; } );
   }
};

// What an egress editor inserts in front of a copy: up to two pieces of its header.
struct HeaderInsertion {
   // Headers lie in the encapsulation buffer in pieces of that many bytes.
   static constexpr uint32_t pieceBytes = 64;

   struct Piece {
      uint32_t number = 0; // of the buffer
      uint32_t bytes = 0;  // from its start; at most pieceBytes
   };
   std::array< Piece, 2 > pieces{};
};

class LogicalTables {
 public:
   static constexpr std::string_view insertProfiles = "EGR_HEADER_INSERT_PROFILE";
   static constexpr std::string_view indexField = "BCMLT_PT_INDEX";
   static constexpr int entries = 64;

   using Fields = std::vector< std::pair< std::string, uint64_t > >;

   // References must outlive this.
   LogicalTables( const Profile& profile, const SwitchContext& context )
         : profile_( profile ), context_( context ) {}

   static std::span< const LogicalField > fields();
   // E_UNAVAIL if the chip has no logical tables, E_NOT_FOUND if it does not have this one.
   Shim::Rc find( std::string_view table ) const;
   // E_NOT_FOUND or E_PARAM if an entry of the table does not take this field or value.
   static Shim::Rc check( std::string_view field, uint64_t value );
   // Takes checked fields, all at once; of several with one name the last counts. E_PARAM
   // without an index, or for one that the table does not have.
   Shim::Rc commit( const Fields& fields );

   HeaderInsertion insertion( int profile ) const;

   // Grows with every commit.
   uint64_t version() const { return version_; }
   // What was written, by index.
   std::vector< LogicalEntryView > view() const;

 private:
   struct Row {
      std::map< std::string, uint64_t, std::less<> > values;
      WriteStamp stamp;
   };
   static uint64_t valueOf( const Row& row, std::string_view field );

   const Profile& profile_;
   const SwitchContext& context_;
   std::map< int, Row > rows_;
   uint64_t version_ = 1;
};

} // namespace ChipModel
