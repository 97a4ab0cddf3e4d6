#pragma once

#include <algorithm>
#include <string>

// A chip profile's name as a part of a test's, which has no hyphens.
inline std::string testName( std::string profile ) {
   std::ranges::replace( profile, '-', '_' );
   return profile;
}
