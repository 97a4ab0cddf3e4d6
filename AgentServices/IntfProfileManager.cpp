#include "AgentServices/IntfProfileManager.h"

namespace AgentServices {

using KarvelTcam::IntfMatch;
using KarvelTcam::IntfProfile;

namespace {

// Any order will do.
int compare( const Shim::PortBitmap& left, const Shim::PortBitmap& right ) {
   for ( size_t port = 0; port < left.size(); ++port ) {
      if ( left[ port ] != right[ port ] ) {
         return left[ port ] ? 1 : -1;
      }
   }
   return 0;
}

} // namespace

bool IntfProfileManager::ByContents::operator()(
      const IntfProfile* left, const IntfProfile* right ) const {
   if ( left->match() != right->match() ) {
      return left->match() < right->match();
   }
   const int ports = compare( left->ports(), right->ports() );
   return ports != 0 ? ports < 0 : compare( left->mask(), right->mask() ) < 0;
}

class IntfProfileManager::Listed : public IntfProfile {
 public:
   Listed( const IntfProfile& contents, std::shared_ptr< Table > table )
         : IntfProfile( contents.match(), contents.ports(), contents.mask() ),
           table_( std::move( table ) ) {
      table_->insert( this );
   }

 private:
   void lastRelease() override { table_->erase( this ); }

   const std::shared_ptr< Table > table_;
};

IntfProfileManager::IntfProfileManager() : table_( std::make_shared< Table >() ) {}

Zol::Ptr< const IntfProfile > IntfProfileManager::intfProfile(
      IntfMatch match, const Shim::PortBitmap& ports, const Shim::PortBitmap& mask ) {
   const IntfProfile wanted( match, ports, mask );
   const auto present = table_->find( &wanted );
   if ( present != table_->end() ) {
      return *present;
   }
   return Zol::make< Listed >( wanted, table_ );
}

ZOL_DEFINE_ENTITY( IntfProfileManager );

} // namespace AgentServices
