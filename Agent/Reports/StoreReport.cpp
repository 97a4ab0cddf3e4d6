#include "Agent/Reports/AgentReports.h"

namespace Agent {

namespace {

// Writes a row for each attribute of an entity, and of the entities that it owns.
class StoreDump : public Zol::AttributeVisitor {
 public:
   StoreDump( Report& report, std::string path )
         : report_( report ), path_( std::move( path ) ) {}

   void value( std::string_view name, const std::string& text ) override { add( name, text ); }
   void entity(
         std::string_view name, const std::string& key, const Zol::Entity& child ) override {
      std::string part( name );
      if ( !key.empty() ) {
         part += "[" + key + "]";
      }
      add( part, std::string( child.typeName() ) );
      const std::string outer = std::exchange( prefix_, prefix_ + part + "." );
      child.visitAttributes( *this );
      prefix_ = outer;
   }

 private:
   void add( std::string_view attribute, const std::string& text ) {
      report_.rows.push_back( { path_, prefix_ + std::string( attribute ), text } );
   }

   Report& report_;
   const std::string path_;
   std::string prefix_; // of the owned entity that is visited, with a dot
};

bool isBelow( std::string_view path, std::string_view root ) {
   if ( root.ends_with( '/' ) ) {
      root.remove_suffix( 1 );
   }
   return root.empty() || path == root ||
         ( path.starts_with( root ) && path[ root.size() ] == '/' );
}

} // namespace

Report storeReport( Runtime& runtime, const std::string& path ) {
   Report report{ "store", { "path", "attribute", "value" }, {},
      "nothing is in the store at " + path };
   for ( const auto& [ place, entity ] : runtime.store().entities() ) {
      if ( isBelow( place.first, path ) ) {
         report.rows.push_back( { place.first, "", place.second } );
         StoreDump dump( report, place.first );
         entity->visitAttributes( dump );
      }
   }
   return report;
}

} // namespace Agent
