#include "ChipModel/Egress/EgressTagger.h"

#include <cstring>

namespace ChipModel {

EgressTagger::EgressTagger() {
   tagged_.buffer = std::make_unique< uint8_t[] >( maxFrameBytes + tagBytes );
   untagged_.buffer = std::make_unique< uint8_t[] >( maxFrameBytes );
}

void EgressTagger::frameIs( const FrameView& frame, const ParsedFrame& parsed, uint16_t vid ) {
   frame_ = &frame;
   parsed_ = &parsed;
   vid_ = vid;
   tagged_.made = false;
   untagged_.made = false;
}

uint8_t* EgressTagger::rewrite( Form& form, uint32_t oldBytes, uint32_t newBytes ) {
   const FrameView& in = *frame_;
   uint8_t* out = form.buffer.get();
   const uint32_t rest = addressBytes + oldBytes;
   std::memcpy( out, in.data, addressBytes );
   std::memcpy( out + addressBytes + newBytes, in.data + rest, in.length - rest );
   form.view = in;
   form.view.data = out;
   form.view.length = in.length - oldBytes + newBytes;
   form.view.wireLength = in.wireLength - oldBytes + newBytes;
   form.made = true;
   return out + addressBytes;
}

const FrameView& EgressTagger::tagged() {
   if ( parsed_->isTagged() && !parsed_->isPriorityTagged() ) {
      return *frame_;
   }
   if ( !tagged_.made ) {
      const VlanTag old =
            parsed_->isTagged() ? parsed_->tag[ 0 ] : VlanTag{ customerTag, uint16_t{ 0 } };
      uint8_t* tag = rewrite( tagged_, parsed_->isTagged() ? tagBytes : 0, tagBytes );
      const auto tci = static_cast< uint16_t >( ( old.tci & 0xf000 ) | vid_ );
      tag[ 0 ] = static_cast< uint8_t >( old.type >> 8 );
      tag[ 1 ] = static_cast< uint8_t >( old.type );
      tag[ 2 ] = static_cast< uint8_t >( tci >> 8 );
      tag[ 3 ] = static_cast< uint8_t >( tci );
   }
   return tagged_.view;
}

const FrameView& EgressTagger::untagged() {
   if ( !parsed_->isTagged() ) {
      return *frame_;
   }
   if ( !untagged_.made ) {
      rewrite( untagged_, tagBytes, 0 );
   }
   return untagged_.view;
}

} // namespace ChipModel
