#pragma once

// Which change leads to which handler, and who owns which machine, for every type that the
// program and its plug-ins are built of, whether it is in use or not. EntitySm::react() and
// ZOL_DEFINE_ENTITY put the rows here when their library is loaded; delivering a change does
// not look at them.
//
//    for ( const Zol::Reaction& edge : Zol::reactions() ) {
//       out << edge.machine << " watches " << edge.entity << '.' << edge.attribute;
//    }

#include <compare>
#include <cstdint>
#include <string_view>
#include <vector>

namespace Zol {

// A machine calls its handler at every change of the attribute.
struct Reaction {
   std::string_view machine;
   std::string_view entity;
   std::string_view attribute;
   std::string_view handler;

   auto operator<=>( const Reaction& ) const = default;
};

// An entity makes a machine and owns it, or one for each key of a collection.
struct Ownership {
   enum class Count : uint8_t { one, perKey };

   std::string_view owner;
   std::string_view attribute;
   Count count{};
   std::string_view machine;
   // What the machine may be: the types that are derived from it.
   std::vector< std::string_view > kinds;

   auto operator<=>( const Ownership& ) const = default;
};

// Both are sorted, each row once.
std::vector< Reaction > reactions();
std::vector< Ownership > ownerships();

// --- For the framework ----------------------------------------------------------------------

class ReactionRow {
 public:
   explicit ReactionRow( const Reaction& row );
   ~ReactionRow();
   ReactionRow( const ReactionRow& ) = delete;
   ReactionRow& operator=( const ReactionRow& ) = delete;
};

// An entity type, what it is derived from, and the machines that it owns (without kinds).
class EntityTypeRow {
 public:
   using Machines = std::vector< Ownership > ( * )(); // called when somebody asks for them

   EntityTypeRow( std::string_view type, std::string_view base, Machines machines );
   ~EntityTypeRow();
   EntityTypeRow( const EntityTypeRow& ) = delete;
   EntityTypeRow& operator=( const EntityTypeRow& ) = delete;
};

// "handleReview" of &SliceMtpSm::handleReview, as the compiler spells its template argument.
template < auto handler >
constexpr std::string_view handlerName() {
   std::string_view text = __PRETTY_FUNCTION__;
   text.remove_prefix( text.find( "handler = " ) );
   text = text.substr( 0, text.find_first_of( ";]" ) );
   text.remove_prefix( text.rfind( "::" ) + 2 );
   return text.substr( 0, text.find( ')' ) ); // follows the name of an overloaded function
}

} // namespace Zol
