#pragma once

// Which ports the entries of one ACL on one chip match. Entries with the same sub-rule and the
// same interfaces of their own rule are one scope: its ports are worked out once, and on a chip
// with port classes it takes one class, however many entries it has.
//
//    AclPorts ports( resources );
//    uint32_t scope = ports.scopeOf( subRule, rule.intf() );  // of an entry, when it is made
//    ports.wantedIs( unitData );                              // the ACL's interfaces
//    if ( ports.prepare() == Shim::Sdk::QX_BCM_E_NONE() ) ... qualify( ports[ scope ] ) ...
//
// A class stays held while an entry that is installed may look at it.

#include <cstdint>
#include <map>
#include <set>
#include <utility>
#include <vector>

#include "AgentServices/PortClassManager.h"
#include "Platform/Karvel/KarvelAclData.h"
#include "Platform/KarvelTcam/PortMaps.h"

namespace AgentServices {

struct PortScope {
   uint32_t subRule = 0;
   const Zol::Set< Plix::IntfId >* ruleIntf = nullptr; // null: all of the sub-rule's
   Shim::PortBitmap wanted;
   Shim::PortBitmap ports;     // what entries are to be qualified with; none: not installed
   uint32_t classBit = 0;      // the class of `ports`; 0: none
   uint32_t version = 0;       // counts the changes of `ports`
   Shim::PortBitmap installed; // what its installed entries match
   uint32_t heldBits = 0;      // the classes that count it as a user

   bool gains() const { return ( ports & ~installed ).any(); }
   bool loses() const { return ( installed & ~ports ).any(); }
};

class AclPorts {
 public:
   // `classes` is null on a chip without port classes.
   AclPorts(
         uint32_t unit, KarvelTcam::CommonData common, Zol::Ptr< PortClassManager > classes )
         : unit_( static_cast< int32_t >( unit ) ), common_( std::move( common ) ),
           classes_( std::move( classes ) ) {}

   // The number of the scope; 0 and up.
   uint32_t scopeOf( uint32_t subRule, const Zol::Set< Plix::IntfId >& ruleIntf );
   const PortScope& operator[]( uint32_t scope ) const { return scopes_[ scope ]; }

   // Works out the ports of every scope. An interface without a port on this chip is skipped.
   void wantedIs( const Karvel::KarvelAclUnitData& unitData );
   // Makes the wanted ports those that entries are to be qualified with. On an error some
   // scopes have their new ports already, the others keep theirs.
   Shim::Rc prepare();

   // Tells that all entries are installed with the ports of their scopes.
   void installed();
   // Some entries may be installed, or none is any more.
   void maybeInstalled();
   void notInstalled();
   // Gives the classes back: no entry looks at them any more.
   void release();

 private:
   using VlanPorts = std::map< uint16_t, Shim::PortBitmap >;

   Shim::PortBitmap wantedPorts( const PortScope& scope,
         const Karvel::KarvelAclUnitData& unitData, const Shim::PortBitmap& whole,
         const VlanPorts& byVlan ) const;
   void addPort( const Plix::IntfId& intf, Shim::PortBitmap& ports ) const;
   Shim::Rc prepare( PortScope& scope );
   void releaseAllBut( uint32_t bits, PortScope& scope );

   int32_t unit_;
   KarvelTcam::CommonData common_;
   Zol::Ptr< PortClassManager > classes_;
   std::vector< PortScope > scopes_;
   std::set< Zol::Set< Plix::IntfId > > ruleIntfs_;
   const Zol::Set< Plix::IntfId >* lastRuleIntf_ = nullptr;
   std::map< std::pair< uint32_t, const Zol::Set< Plix::IntfId >* >, uint32_t > numbers_;
};

} // namespace AgentServices
