#pragma once

// What a chip's egress editor makes of a copy that goes through a tunnel, from what is programmed:
//
//    GRE header        with a key as the family's memories say (GreFormats.h), the key out of the
//                      encapsulation data
//    header insertion  on chips with insertion profiles only as much of the headers as the
//                      tunnel's profile says, from where it says
//    mirrored frame    on chips with a flexible editor from where the editor's profiles say, of
//                      copies as received and as sent
//
// Headers are made anew when any of these has changed since. No allocation.

#include "ChipModel/Egress/Encapsulator.h"
#include "ChipModel/Packets/Frame.h"
#include "ChipModel/Tables/ForwardingTables.h"
#include "ChipModel/Tables/MirrorTable.h"

namespace ChipModel {

// Where the flexible editor of an SDK keeps mirroring's profiles.
struct FlexProfilePlaces {
   int ingress; // of ING_FLEX_EDITOR_PROFILEm, for copies as received
   int egress;  // of EGR_FLEX_EDITOR_PROFILEm, for copies as sent
};
FlexProfilePlaces flexProfilePlaces( uint32_t sdkVersion );

class EgressEditor {
 public:
   // References must outlive this.
   explicit EgressEditor( const ForwardingTables& tables ) : tables_( tables ) {}

   // Of a destination that is set, and has a tunnel.
   TunnelHeader& header( int destination, MirrorTable::Entry& entry );
   // The part of a frame that goes into a tunnel.
   FrameView payload( CopyKind kind, const FrameView& frame );

 private:
   uint64_t version() const { return tables_.memories.version() + tables_.logical.version(); }
   GreFormat greFormat( const Shim::MirrorTunnel& tunnel ) const;
   void readOffsets();

   const ForwardingTables& tables_;
   uint64_t offsetsVersion_ = 0; // that the offsets were read in
   uint32_t ingressOffset_ = 0;
   uint32_t egressOffset_ = 0;
};

} // namespace ChipModel
