#pragma once

// Names that tests of several folders make and collect.

#include <algorithm>
#include <string>
#include <vector>

#include "Platform/Flitlog/Flitlog.h"

// A chip profile's name as a part of a test's, which has no hyphens.
inline std::string testName( std::string profile ) {
   std::ranges::replace( profile, '-', '_' );
   return profile;
}

// Of the messages in the log.
inline std::vector< std::string > loggedIds() {
   std::vector< std::string > ids;
   for ( const Flitlog::Record& record : Flitlog::records() ) {
      ids.push_back( record.id );
   }
   return ids;
}
