#pragma once

#include <string>

// What an exception says that is raised by doing something; empty: none was.
template < typename Error, typename Act >
std::string raised( Act act ) {
   try {
      act();
   } catch ( const Error& error ) {
      return error.what();
   }
   return "";
}
