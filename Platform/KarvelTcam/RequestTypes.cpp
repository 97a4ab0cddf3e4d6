#include "Platform/KarvelTcam/RequestTypes.h"

#include <ostream>

namespace KarvelTcam {

Zol::String RuleId::toString() const {
   char request[ 9 ] = {};
   const auto end =
         std::to_chars( request, request + 8, static_cast< uint32_t >( value() >> 32 ), 16 )
               .ptr;
   Zol::String text( request, end );
   Zol::appendText( text += '.', sequence() );
   return text;
}

std::ostream& operator<<( std::ostream& out, RuleId id ) { return out << id.toString(); }

} // namespace KarvelTcam
