#pragma once

// Writers of physical tables.

#include <deque>

#include "Platform/Zol/Entity.h"
#include "Platform/Zol/Value.h"

namespace KarvelMirror::Slice {

// The fields of one table entry, by name. Its index is the field "BCMLT_PT_INDEX".
class TableValues : public Zol::Value {
   ZOL_VALUE( KarvelMirror::Slice, TableValues, ( MAP, Zol::String, uint64_t, fields ) );
};

class PtHelper : public Zol::Entity {
   ZOL_ENTITY( KarvelMirror::Slice, PtHelper, Zol::Entity );

 public:
   // Writes one entry.
   virtual void write( uint32_t unit, const Zol::String& table, const TableValues& values ) = 0;
};

// Writes to the chip, by the SDK's logical tables. What the SDK refuses stops the process: half a
// table is worse.
class BcmPtHelper : public PtHelper {
   ZOL_ENTITY( KarvelMirror::Slice, BcmPtHelper, PtHelper );

 public:
   void write( uint32_t unit, const Zol::String& table, const TableValues& values ) override;
};

// For chips without such tables: queues the writes instead, oldest first. The queue holds the
// last `mostKept` writes.
class MockPtHelper : public PtHelper {
   ZOL_ENTITY( KarvelMirror::Slice, MockPtHelper, PtHelper,
         ( MAP, uint32_t, TableValues, data ) ); // written last, by unit

 public:
   static constexpr size_t mostKept = 1024;

   void write( uint32_t unit, const Zol::String& table, const TableValues& values ) override;

   void dataEnq( const TableValues& values );
   // The oldest; there must be one.
   TableValues dataDeq();
   size_t queued() const { return queue_.size(); }

 private:
   std::deque< TableValues > queue_;
};

} // namespace KarvelMirror::Slice
